#pragma once

#include <string_view>

#include "requests/bodyreader.h"
#include "requests/requestcontext.h"
#include "zq/webhttpserverproxy/httprequestprovider.h"

namespace webcontainer {

/// A request as it was received: copies nothing before it is asked. Method and query are handed out where
/// they were received; header names keep their letter case. Only the method HEAD can turn into GET, see
/// MethodRules: what makes the response need not know that its body stays here (RFC 9110 section 9.3.2).
class RequestProvider final : public kiv::HttpRequestProvider {
public:
    /// The context's input must be settled; both must outlive the provider.
    RequestProvider(RequestContext& rContext, BodyReader& rBody);

    /// The server variable REQUEST_METHOD is the client's in any case.
    NarrowRefString getMethod() override;
    SizedBuffer getQueryString() override;
    /// 0 for a request with neither Content-Length nor Transfer-Encoding, which has no body (RFC 9112 section
    /// 6.3); all bits set for a chunked body.
    std::size_t getContentLength() override;
    int getServerVariable(const char* pName, char* pBuffer, std::size_t& rSize) override;
    int getFirstHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                       std::size_t& rValueSize) override;
    int getNextHeader(hdrenum_t& rCursor, char* pName, std::size_t& rNameSize, char* pValue,
                      std::size_t& rValueSize) override;
    void closeHeaderEnum(hdrenum_t&) override {}
    std::size_t readFromBody(void* pBuffer, std::size_t nSize) override;

private:
    RequestInput& m_rInput;
    BodyReader& m_rBody;
    ServerVariables m_tVariables;
    const bool m_bHeadIsGet;  ///< see MethodRules
    char m_cNoQuery = '\0';
};

}  // namespace webcontainer
