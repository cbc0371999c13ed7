#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "zq/foundation/characterset.h"
#include "zq/foundation/handle.h"
#include "zq/foundation/inputstream.h"
#include "zq/foundation/tl.h"
#include "zq/foundation/utf8text.h"  // toUtf8() and fromUtf8(), for applications
#include "zq/foundation/zqstring.h"
#include "zq/httpstream/hrefstring.h"
#include "zq/httpstream/httpstreaminternals.h"

/// One HTTP request and its response, as an application sees them.
///
///     the application is called with the stream
///        |  reads:   request headers, server variables, method; the body as bytes or part by part
///        |  says:    status, content type, charset, caching, download name, further headers
///        |  writes:  addChars() (text), writeBinary() (bytes) ............ buffered
///        |  Flush(), as often as it likes: the first one sends the headers, every one the buffer
///     the application returns
///        |  what is left is sent; a response that was never flushed goes out whole, with its length
///
/// The stream belongs to the thread that the application was called on, and ends when that call returns.
/// Status and headers can change until the first Flush(); IsCommitted() tells. Text is wide, one code point
/// in each character; header text is cut to the low byte of each character, so it should be ASCII. A client
/// that goes away, or a response that runs too long, ends the request with an exception out of Flush(): let
/// it pass, and release what you hold in destructors.
class ZQ_EXPORT ZQHttpStream {
public:
    /// What Reset() takes back.
    enum EResetFlag {
        kClearBuffer = 1,        ///< text and bytes not sent yet
        kClearResourceRefs = 2,  ///< the list ResourceRefs()
        kClearHeader = 4,        ///< headers added, and everything said about the response below
        kClearStatusCode = 8,    ///< the status: 200 again
        kClearOnLoadFunc = 16,   ///< the list WindowOnLoadFunctions()
        kClearAll = 255,
    };

    /// One part of a multipart body (RFC 7578): a form field or a file. A call that fills it leaves the
    /// members alone that it has nothing for.
    struct ZQ_EXPORT Param {
        enum Value {
            kUseString = 0,  ///< a form field: its value is in sParamValue
            kUseStream = 1,  ///< a file: its bytes come from hStream
        };

        ZQWString sParamName;
        ZQWString sParamValue;
        ZQWString sParamContentType;  ///< the part's own Content-Type, or empty
        Handle<InputStream> hStream;  ///< the current part's bytes; readable until the next getFirstParam()
        ZQWString sFileName;          ///< without any directory; set for files only
        Value eValue = kUseString;
    };

    ZQHttpStream() = default;
    ZQHttpStream(const ZQHttpStream&) = delete;
    ZQHttpStream& operator=(const ZQHttpStream&) = delete;
    virtual ~ZQHttpStream();

    // The order of the virtual operations is part of the contract with extensions built separately.

    /// Appends nLength characters of text to the response.
    virtual void addChars(const wchar_t* pText, std::size_t nLength) = 0;
    /// Sets the kind of document, and the content type that stands for it.
    virtual void SetFormat(WebContentFormat::EFormat eFormat);
    virtual WebContentFormat::EFormat GetFormat() const;
    /// Sends what is buffered, and before the first time status and headers. When it throws, each byte has
    /// either been sent or is still buffered for the next call.
    virtual void Flush() = 0;
    /// Takes back what the flags name. After the first Flush() only kClearBuffer is legitimate.
    virtual void Reset(EResetFlag eResetFlag) = 0;
    /// Whether status and headers have been sent.
    virtual bool IsCommitted() const = 0;
    /// Adds a header field to the response; every addition is kept.
    virtual void AddHeader(const ZQWString& sName, const ZQWString& sValue) = 0;
    /// The server variable of a name (see servervariables.h). False, and rValue untouched, when there is
    /// none.
    virtual bool GetServerVariable(const char* pName, ZQWString& rValue) = 0;
    /// Appends the values of every request header of that name (case aside), in the order they came. False,
    /// and nothing appended, when there is none.
    virtual bool getRequestHeaders(const ZQWString& sName, tl::vector<ZQWString>& rValues) = 0;
    /// Appends the names of all request headers in alphabetical order, case aside; of neighbours that
    /// are exactly alike one.
    virtual void getRequestHeaderNames(tl::vector<ZQWString>& rNames) = 0;
    virtual ZQWString getRequestMethod() const = 0;
    /// Copies at most nSize bytes of the request body; 0 is its end.
    virtual std::size_t ReadBinary(void* pBuffer, std::size_t nSize) = 0;
    /// Appends bytes to the response.
    virtual void writeBinary(const void* pData, std::size_t nLength) = 0;
    /// Makes the response "304 Not Modified", "404 Not Found" (as an error), "302 Found" with a Location. All
    /// three drop expiry and last-modified time, send nothing yet, and must come before the first Flush().
    virtual void SendNotModified() = 0;
    virtual void SendNotFound() = 0;
    virtual void SendRedirect(const HREFString& sURL) = 0;
    /// Sets the status of an error response: the front end may give it a body when it has none.
    virtual void setErrorStatusCode(unsigned int nCode) = 0;
    virtual void setStatusCode(unsigned int nCode) = 0;
    /// Starts to enumerate the parts of a multipart body and fills rParam with the first one; hCharset is the
    /// character set of field values, null for UTF-8. -1: there is no part, or it has no name. A body that
    /// cannot be read, and a request that names no boundary, raise a MultipartError.
    virtual int getFirstParam(Param& rParam, const Handle<const CharacterSet>& hCharset) = 0;
    /// Fills the same rParam with the next part; what was not read of the current one is skipped. -1 as
    /// above.
    virtual int getNextParam(Param& rParam, const Handle<const CharacterSet>& hCharset) = 0;
    /// All that has been said about the response.
    virtual HttpStreamInternals& GetInternals();
    virtual const HttpStreamInternals& GetInternals() const;
    /// Called with every content type that is set; does nothing here.
    virtual void setContentTypeHook(const ZQWString& sContentType);
    /// The value of the first request header of that name, case aside. False, and rValue untouched, when
    /// there is none.
    virtual bool getRequestHeader(const ZQWString& sName, ZQWString& rValue) = 0;

    /// As getRequestHeader(), but an absent header leaves an empty value.
    bool GetRequestHeader(const ZQWString& sName, ZQWString& rValue);

    /// Appends a whole text. When there is no content type yet, it becomes that of kText, text/plain: without
    /// one, browsers guess.
    void addText(std::wstring_view s) {
        if (m_tInternals.sContentType.empty()) SetFormat(WebContentFormat::kText);
        addChars(s.data(), s.size());
    }

    /// The media type (RFC 9110 section 8.3.1), with parameters if it has any. Of these, charset sets the
    /// output character set as SetOutputCharset() does, and is taken out, because the response names that one
    /// anyway; it throws CharacterSet::UnknownCharset when nobody knows it. Empty, as at first: the response
    /// has no Content-Type.
    void SetContentType(const ZQWString& sContentType);
    const ZQWString& GetContentType() const noexcept { return m_tInternals.sContentType; }
    /// The character set that text is sent in, at first UTF-8. It stands in every Content-Type, that of bytes
    /// too. nullptr: the Content-Type names none, and only bytes can be written.
    void SetOutputCharset(const Handle<const CharacterSet>& hCharset) {
        m_tInternals.hOutputCharset = hCharset;
    }
    Handle<const CharacterSet> GetOutputCharsetHandle() const { return m_tInternals.hOutputCharset; }
    /// Raises InvalidHandleException when there is none.
    const CharacterSet& GetOutputCharset() const { return *m_tInternals.hOutputCharset; }
    /// Seconds since 1970-01-01 UTC; 0: not set, which sends the current time.
    void SetLastModified(std::time_t nTime) noexcept { m_tInternals.nLastModified = nTime; }
    std::time_t GetLastModified() const noexcept { return m_tInternals.nLastModified; }
    void clearLastModified() noexcept { m_tInternals.nLastModified = 0; }
    /// For how many seconds the response stays fresh; 0: it must not be reused.
    void setExpireSeconds(std::uint32_t nSeconds) noexcept { m_tInternals.nExpireSeconds = nSeconds; }
    std::uint32_t getExpireSeconds() const noexcept { return m_tInternals.nExpireSeconds; }
    void clearExpireSeconds() noexcept { m_tInternals.nExpireSeconds = HttpStreamInternals::knExpireNotSet; }
    void setContentDisposition(const ContentDisposition& r) { m_tInternals.tContentDisposition = r; }
    const ContentDisposition& getContentDisposition() const noexcept {
        return m_tInternals.tContentDisposition;
    }
    /// Hints for whoever handles the response on its way, a proxy for instance. They go to the client as they
    /// are, as one X-ZUBRE-Response-Hints header.
    void addResponseHint(const ZQWString& sHint) { m_tInternals.tResponseHints.insert(sHint); }
    bool responseHints_empty() const noexcept { return m_tInternals.tResponseHints.empty(); }
    ResponseHints::const_iterator responseHints_begin() const { return m_tInternals.tResponseHints.begin(); }
    ResponseHints::const_iterator responseHints_end() const { return m_tInternals.tResponseHints.end(); }
    /// The switches of this request; the global table unless one was set.
    void setFeatureTable(const Handle<const FeatureTable>& hTable) { m_tInternals.hFeatureTable = hTable; }
    const Handle<const FeatureTable>& getFeatureTable() const noexcept;
    /// Functions that the page is to call when it has loaded, and resources that it refers to: kept here for
    /// the parts of an application that build a page together; nothing of it is sent by the stream.
    tl::vector<ZQWString>& WindowOnLoadFunctions() noexcept { return m_tInternals.tOnLoadFunctions; }
    tl::vector<ZQWString>& ResourceRefs() noexcept { return m_tInternals.tResourceRefs; }

private:
    void setContentType(const ZQWString& sContentType, WebContentFormat::EFormat eFormat);

    HttpStreamInternals m_tInternals;
};
