#pragma once

#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "http/requesthead.h"
#include "requests/requestcontext.h"
#include "zq/webhttpserverproxy/httprequestprovider.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

namespace webcontainer {

/// The recording of one request, from the moment at which it runs. Nothing here fails a request: a recording
/// that memory does not suffice for is lost and counted.
class RequestRecord {
public:
    using ECall = Recording::ECall;

    /// The context's share says that it is to be recorded; rRequest is not asked later.
    RequestRecord(RequestContext& rContext, kiv::HttpRequestProvider& rRequest) noexcept;

    void add(ECall eCall, std::size_t nNumber = 0, int nResult = 0, std::string_view sName = {},
             std::string_view sBytes = {}) noexcept;
    void addException(ECall eCall) noexcept;  ///< the one that is being handled
    void addAsked(const char* pVariable) noexcept;
    /// The response has ended; bWhole: the client got all of it.
    void end(bool bWhole) noexcept;

private:
    template <class F>
    void attempt(F f) noexcept;
    void fill(bool bWhole);

    RequestContext& m_rContext;
    Recorder& m_rRecorder;
    const timespec m_tBegin;
    const std::int64_t m_nBeginUs;
    std::unique_ptr<RecordingDraft> m_pDraft;  ///< null: it is lost
    std::vector<std::string> m_tAsked;         ///< variables that are made of fields
    std::size_t m_nBytes = 0;
    bool m_bFailed = false;
};

/// Records a request that was refused before it ran.
void recordRefusal(RequestContext& rContext, const Refusal& rRefusal) noexcept;

/// Hands every call on, and records it. All three must outlive the provider.
class RecordedRequest final : public kiv::HttpRequestProvider {
public:
    RecordedRequest(kiv::HttpRequestProvider& rRequest, RequestRecord& rRecord) noexcept
        : m_rRequest(rRequest),
          m_rRecord(rRecord) {}

    NarrowRefString getMethod() override { return m_rRequest.getMethod(); }
    SizedBuffer getQueryString() override { return m_rRequest.getQueryString(); }
    std::size_t getContentLength() override { return m_rRequest.getContentLength(); }
    int getServerVariable(const char* pName, char* pBuffer, std::size_t& rSize) override;
    int getFirstHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                       std::size_t& rValueSize) override {
        return m_rRequest.getFirstHeader(rCursor, pName, rNameSize, pValue, rValueSize);
    }
    int getNextHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                      std::size_t& rValueSize) override {
        return m_rRequest.getNextHeader(rCursor, pName, rNameSize, pValue, rValueSize);
    }
    void closeHeaderEnum(hdrenum_t& rCursor) override { m_rRequest.closeHeaderEnum(rCursor); }
    std::size_t readFromBody(void* pBuffer, std::size_t nSize) override;

private:
    kiv::HttpRequestProvider& m_rRequest;
    RequestRecord& m_rRecord;
};

class RecordedResponse final : public kiv::HttpResponseProvider {
public:
    RecordedResponse(kiv::HttpResponseProvider& rResponse, RequestRecord& rRecord) noexcept
        : m_rResponse(rResponse),
          m_rRecord(rRecord) {}
    virtual ~RecordedResponse() = default;

    void setStatusCode(unsigned int nStatus) override;
    void setErrorStatusCode(unsigned int nStatus) override;
    void setContentLength(std::size_t nLength) override;
    void addHeader(const char* pName, std::size_t nNameLength, const char* pValue,
                   std::size_t nValueLength) override;
    void clearHeaders() override;
    EResponseCode commitHeaders() override;
    EResponseCode writeToBody(const void* pData, std::size_t nLength) override;
    EResponseCode endResponse(const void* pData, std::size_t nLength) override;

private:
    kiv::HttpResponseProvider& m_rResponse;
    RequestRecord& m_rRecord;
};

}  // namespace webcontainer
