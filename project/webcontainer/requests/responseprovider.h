#pragma once

#include <string_view>

#include "requests/requestcontext.h"
#include "zq/services/logger.h"
#include "zq/webhttpserverproxy/httpresponseprovider.h"

namespace webcontainer {

/// A response on its way to the client.
///
///     kOpen -- commitHeaders() --> kHeld -- first bytes --> kSending -- endResponse() --> kEnded
///       |                            |  `--------- endResponse() ----------------------->/
///       `----------------------------+--------- any failure ---------> kFailed
///
/// The head is held back until the first body bytes or the end, so that a response that fits goes out with
/// one system call, and so that the length is known whenever the whole body is at hand. The front end alone
/// frames the body; fields of the application that would are dropped. An announced length that the body does
/// not keep fails the response: the client never gets a frame that lies.
class ResponseProvider final : public kiv::HttpResponseProvider {
public:
    /// Both must outlive the provider.
    ResponseProvider(RequestContext& rContext, BodyReader& rBody);
    virtual ~ResponseProvider() = default;

    /// A status that is no final one (200 to 599) becomes 500.
    void setStatusCode(unsigned int nStatus) override;
    /// As above; from 400 on the response gets an error page when it has no body.
    void setErrorStatusCode(unsigned int nStatus) override;
    void setContentLength(std::size_t nLength) override;
    void addHeader(const char* pName, std::size_t nNameLength, const char* pValue,
                   std::size_t nValueLength) override;
    void clearHeaders() override;
    EResponseCode commitHeaders() override;
    /// A client that takes nothing for too long counts as gone, and so does that of a HEAD as soon as it has
    /// the head: what follows would be made for nobody.
    EResponseCode writeToBody(const void* pData, std::size_t nLength) override;
    EResponseCode endResponse(const void* pData, std::size_t nLength) override;

    /// The client may have seen bytes of the response.
    bool isHeadOut() const noexcept { return m_bHeadOut; }
    /// The client has got all that it asked for.
    bool isWhole() const noexcept { return m_eState == EState::kEnded || m_bHeadIsAll; }
    bool isEnded() const noexcept { return m_eState == EState::kEnded; }
    /// Of a whole response: whether the connection can serve another request.
    bool keepsConnection() const noexcept { return m_tLine.bKeepAlive; }
    /// The first result that was not kRCOK.
    EResponseCode getFailure() const noexcept { return m_eFailure; }

private:
    enum class EState { kOpen, kHeld, kSending, kEnded, kFailed };

    EResponseCode transmit(std::string_view sBytes, bool bFinal);
    EResponseCode send(std::string_view sBytes, bool bFinal);
    EResponseCode fail(EResponseCode eCode, ELogSeverity eSeverity, std::string_view sWhy);
    EResponseCode failSending(ClientSocket::ESent eSent);
    bool isOverdue() const noexcept;
    bool breaksLength(std::size_t nBytes, bool bFinal) const noexcept;
    bool needsErrorPage(std::size_t nBytes) const noexcept;
    void beginHead(std::size_t nBytes, bool bFinal);
    EResponseFraming chooseFraming(bool bLengthKnown) const noexcept;
    bool isBodySent() const noexcept;
    void log(ELogSeverity eSeverity, std::string_view sWhat) const;

    RequestContext& m_rContext;
    BodyReader& m_rBody;
    ResponseLine m_tLine;
    EState m_eState = EState::kOpen;
    EResponseCode m_eFailure = kRCOK;
    bool m_bError = false;
    bool m_bHeadOut = false;
    bool m_bHeadIsAll = false;  ///< that is sent of a response that has not ended
    bool m_bLengthKnown = false;
    std::size_t m_nWritten = 0;  ///< body bytes that the application has written
};

}  // namespace webcontainer
