#pragma once

#include <map>

#include "zq/foundation/nocasecompareless.h"
#include "zq/foundation/nodestorage.h"
#include "zq/foundation/stringbuffer.h"
#include "zq/httpstream/multipartreader.h"
#include "zq/httpstream/unicodehttpstream.h"
#include "zq/services/logger.h"
#include "zq/webhttpserverproxy/httprequestprovider.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

namespace kiv {

/// The log sources of the stream: chunks sent, headers sent, and the reading of multipart parts.
ZQ_EXPORT extern const LogSourceHandle s_lsHttpServerResponse;
ZQ_EXPORT extern const LogSourceHandle s_lsHttpServerResponseHeaders;
ZQ_EXPORT extern const LogSourceHandle kPopulateParam;

/// The stream of one request: reads from the request provider, and turns what the application says and
/// writes into calls on the response provider. Built on the stack of the request's thread, for one request.
///
///     open ------ first flush ------> committed ------ endResponse() ------> committed, buffers empty
///       \                                 |
///        `------ a provider call fails ---+--> failed: no further response call is made
///
/// The first failed commit or write leaves as an exception (ClientDead, ResponseTimeout,
/// HttpResponseProviderError, all derived from Exception); a failed endResponse() is only remembered. The
/// destructor sends nothing.
class ZQ_EXPORT KIVServerHttpStream : public UnicodeHttpStream {
public:
    /// Keeps references to both providers and calls neither.
    KIVServerHttpStream(HttpRequestProvider& rRequest, HttpResponseProvider& rResponse,
                        const Handle<GDExpressionEvaluator>& hExpressionEvaluator);
    ~KIVServerHttpStream() override;

    void Flush() override;
    void Reset(EResetFlag eResetFlag) override;
    bool IsCommitted() const override;
    void AddHeader(const ZQWString& sName, const ZQWString& sValue) override;
    bool GetServerVariable(const char* pName, ZQWString& rValue) override;
    bool getRequestHeaders(const ZQWString& sName, tl::vector<ZQWString>& rValues) override;
    void getRequestHeaderNames(tl::vector<ZQWString>& rNames) override;
    ZQWString getRequestMethod() const override;
    std::size_t ReadBinary(void* pBuffer, std::size_t nSize) override;
    void SendNotModified() override;
    void SendNotFound() override;
    void SendRedirect(const HREFString& sURL) override;
    void setErrorStatusCode(unsigned int nCode) override;
    void setStatusCode(unsigned int nCode) override;
    int getFirstParam(Param& rParam, const Handle<const CharacterSet>& hCharset) override;
    int getNextParam(Param& rParam, const Handle<const CharacterSet>& hCharset) override;
    bool getRequestHeader(const ZQWString& sName, ZQWString& rValue) override;

    unsigned int getStatusCode() const;
    /// The longest encoded file name, in bytes, that a Content-Disposition header may carry.
    void setMaxContentDispFilenameLen(unsigned int n);
    /// Ends the response with what is still buffered; the last call of a request.
    void endResponse();

private:
    /// Room for the headers that browsers send: 20 pairs in a tree's nodes, each of three links and a colour.
    using HeaderStorage = NodeStorage<20 * 6 * sizeof(void*)>;
    using HeaderAllocator = NodeAllocator<std::pair<const ZQWString, ZQWString>, HeaderStorage>;
    /// Names in any letter case are equal; every value is kept, in insertion order.
    class HttpHeadersMap : private HeaderStorage,
                           public std::multimap<ZQWString, ZQWString, NoCaseCompareLess, HeaderAllocator> {
    public:
        HttpHeadersMap() : multimap(HeaderAllocator(*this)) {}
        void clear() noexcept {
            multimap::clear();
            reuse();
        }
    };
    using FetchHeader = int (HttpRequestProvider::*)(HttpRequestProvider::hdrenum_t&, char*, std::size_t&,
                                                     char*, std::size_t&);

    void ensureHeadersRead();
    bool fetchHeader(FetchHeader pFetch, HttpRequestProvider::hdrenum_t& rCursor);
    HttpResponseProvider::EResponseCode commitHeadersToResponse(bool bFlush);
    void flushImpl(bool bFinal);
    void appendUnicodeBuffer();
    void sendBytes(bool bFinal);
    void logChunk();
    void endFlush();

    unsigned int m_nMaxContentDispFilenameLen = 120;
    HttpResponseProvider::EResponseCode m_eLastRC = HttpResponseProvider::kRCOK;
    HttpHeadersMap m_tReqHeaders;
    HttpHeadersMap m_tRespHeadersForLog;
    NarrowStringBuffer m_tWorkBuffer1;
    NarrowStringBuffer m_tWorkBuffer2;
    StringBuffer m_tWorkBuffer3;
    HttpRequestProvider& m_rHttpRequest;
    HttpResponseProvider& m_rHttpResponse;
    Handle<MultipartReader, MultipartReader> m_hMultipartReader;
    unsigned int m_nCode = 200;
    bool m_bError = false;
    bool m_bFlushed = false;
    bool m_bReqHeadersRead = false;
};

}  // namespace kiv
