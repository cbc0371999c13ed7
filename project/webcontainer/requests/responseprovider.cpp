#include "requests/responseprovider.h"

#include <charconv>

#include "base/monotonicclock.h"
#include "http/reasonphrase.h"
#include "log/containerlog.h"

namespace webcontainer {

namespace {

constexpr std::string_view s_ksChunkEnd = "\r\n";
constexpr std::string_view s_ksLastChunk = "0\r\n\r\n";
constexpr std::string_view s_ksChunkEndAndLastChunk = "\r\n0\r\n\r\n";

/// To copy so many bytes is cheaper than to have the kernel gather them.
constexpr std::size_t s_knMostCopied = 4096;

void appendChunkSize(NarrowStringBufferBase& rBuffer, std::size_t nSize) {
    char tDigits[16];
    const auto tResult = std::to_chars(std::begin(tDigits), std::end(tDigits), nSize, 16);
    rBuffer.append(tDigits, static_cast<std::size_t>(tResult.ptr - tDigits));
    rBuffer.append(s_ksChunkEnd);
}

iovec piece(std::string_view s) {
    return {const_cast<char*>(s.data()), s.size()};
}

}  // namespace

ResponseProvider::ResponseProvider(RequestContext& rContext, BodyReader& rBody)
    : m_rContext(rContext),
      m_rBody(rBody) {
    m_rContext.rBuffers.tHead.clear();
}

void ResponseProvider::setStatusCode(unsigned int nStatus) {
    m_tLine.nStatus = nStatus;
    if (nStatus >= 200 && nStatus <= 599) return;
    log(kSevError, "the application set a status outside 200 to 599; 500 is sent");
    m_tLine.nStatus = 500;
}

void ResponseProvider::setErrorStatusCode(unsigned int nStatus) {
    setStatusCode(nStatus);
    m_bError = true;
}

void ResponseProvider::setContentLength(std::size_t nLength) {
    m_tLine.nLength = nLength;
    m_bLengthKnown = true;
}

void ResponseProvider::addHeader(const char* pName, std::size_t nNameLength, const char* pValue,
                                 std::size_t nValueLength) {
    const std::string_view sName(pName, nNameLength);
    switch (m_rContext.rBuffers.tHead.addField(sName, {pValue, nValueLength})) {
        case ResponseHead::EAdded::kAdded:
            return;
        case ResponseHead::EAdded::kCleaned:
            return log(kSevWarning,
                       std::string("control characters were taken out of the header ").append(sName));
        case ResponseHead::EAdded::kDropped:
            return log(kSevWarning, std::string("the front end does not send the header ").append(sName));
    }
}

void ResponseProvider::clearHeaders() {
    if (m_eState == EState::kOpen) m_rContext.rBuffers.tHead.clear();
}

ResponseProvider::EResponseCode ResponseProvider::commitHeaders() {
    if (m_eFailure != kRCOK) return m_eFailure;
    if (m_eState != EState::kOpen) return fail(kRCError, kSevError, "the headers were committed twice");
    if (isOverdue()) return fail(kRCResponseTimeout, kSevWarning, "the response ran too long");
    m_eState = EState::kHeld;
    return kRCOK;
}

ResponseProvider::EResponseCode ResponseProvider::writeToBody(const void* pData, std::size_t nLength) {
    return transmit({static_cast<const char*>(pData), nLength}, false);
}

ResponseProvider::EResponseCode ResponseProvider::endResponse(const void* pData, std::size_t nLength) {
    if (m_eState == EState::kEnded && nLength == 0) return kRCOK;
    const std::string_view sBytes(static_cast<const char*>(pData), nLength);
    if (m_eState != EState::kHeld || !needsErrorPage(nLength)) return transmit(sBytes, true);
    NarrowStringBuffer tPage;
    m_rContext.rBuffers.tHead.removeBodyFields();
    const std::string_view sPage = m_rContext.tellError(tPage, m_tLine.nStatus, {});
    setContentLength(sPage.size());
    return transmit(sPage, true);
}

ResponseProvider::EResponseCode ResponseProvider::transmit(std::string_view sBytes, bool bFinal) {
    if (m_eFailure != kRCOK) return m_eFailure;
    if (m_eState != EState::kHeld && m_eState != EState::kSending)
        return fail(kRCError, kSevError, "body bytes came before the headers or after the end");
    if (sBytes.empty() && !bFinal) return kRCOK;
    if (isOverdue()) return fail(kRCResponseTimeout, kSevWarning, "the response ran too long");
    if (breaksLength(sBytes.size(), bFinal))
        return fail(kRCError, kSevError, "the body is not as long as announced");
    m_rContext.rBuffers.tWire.clear();
    if (m_eState == EState::kHeld) beginHead(sBytes.size(), bFinal);
    const EResponseCode eCode = send(isBodySent() ? sBytes : std::string_view(), bFinal);
    m_nWritten += sBytes.size();  // not before: what ran out of memory may be tried again
    return eCode;
}

/// Sends what stands in the wire buffer, then the bytes with their framing.
ResponseProvider::EResponseCode ResponseProvider::send(std::string_view sBytes, bool bFinal) {
    NarrowStringBufferBase& rWire = m_rContext.rBuffers.tWire;
    std::string_view sTail;
    if (m_tLine.eFraming == EResponseFraming::kChunked && isBodySent()) {
        if (!sBytes.empty()) appendChunkSize(rWire, sBytes.size());
        sTail = !bFinal ? s_ksChunkEnd : sBytes.empty() ? s_ksLastChunk : s_ksChunkEndAndLastChunk;
    }
    if (sBytes.size() <= s_knMostCopied) {
        rWire.append(sBytes);
        rWire.append(sTail);
        sBytes = sTail = {};
    }
    iovec tPieces[] = {piece(rWire.view()), piece(sBytes), piece(sTail)};
    Patience tPatience = m_rContext.patience();
    m_bHeadOut = true;
    const ClientSocket::ESent eSent = m_rContext.send(tPieces, tPatience, m_tLine.nStatus);
    if (eSent != ClientSocket::ESent::kSent) return failSending(eSent);
    m_eState = bFinal ? EState::kEnded : EState::kSending;
    m_bHeadIsAll = !bFinal && m_rContext.rInput.getHead().bHead;
    return m_bHeadIsAll ? fail(kRCClientDead, kSevInfoMinor, "the head was all that the client asked for")
                        : kRCOK;
}

ResponseProvider::EResponseCode ResponseProvider::failSending(ClientSocket::ESent eSent) {
    switch (eSent) {
        case ClientSocket::ESent::kTooSlow:
            return fail(kRCClientDead, kSevInfo, "the client takes the response too slowly");
        case ClientSocket::ESent::kOverdue:
            return fail(kRCResponseTimeout, kSevWarning, "the response ran too long");
        case ClientSocket::ESent::kStopping:
            return fail(kRCError, kSevWarning, "the server stops before the response has ended");
        default:
            return fail(kRCClientDead, kSevInfoMinor, "the client went away during the response");
    }
}

ResponseProvider::EResponseCode ResponseProvider::fail(EResponseCode eCode, ELogSeverity eSeverity,
                                                       std::string_view sWhy) {
    m_eState = EState::kFailed;
    m_eFailure = eCode;
    log(eSeverity, sWhy);
    return eCode;
}

bool ResponseProvider::isOverdue() const noexcept {
    return monotonicMs() > m_rContext.nDeadline;
}

bool ResponseProvider::breaksLength(std::size_t nBytes, bool bFinal) const noexcept {
    if (!m_bLengthKnown || isBodyless(m_tLine.nStatus)) return false;
    const std::size_t nLeft = m_tLine.nLength - m_nWritten;
    return bFinal ? nBytes != nLeft : nBytes > nLeft;
}

bool ResponseProvider::needsErrorPage(std::size_t nBytes) const noexcept {
    return m_bError && m_tLine.nStatus >= 400 && nBytes == 0 && m_eFailure == kRCOK;
}

void ResponseProvider::beginHead(std::size_t nBytes, bool bFinal) {
    if (bFinal && !m_bLengthKnown) setContentLength(nBytes);
    if (isBodyless(m_tLine.nStatus)) m_tLine.nLength = 0;
    m_tLine.eFraming = chooseFraming(m_bLengthKnown);
    // What is left of the body may be dropped only when the application cannot ask for it any more.
    const bool bBodyReceived = bFinal ? m_rBody.finish() : m_rContext.rInput.isBodyReceived();
    m_tLine.bKeepAlive =
        bBodyReceived && m_tLine.eFraming != EResponseFraming::kUntilClose && m_rContext.keepsConnection();
    m_tLine.bSayKeepAlive = m_rContext.rInput.getHead().eVersion == EVersion::k10;
    m_rContext.rBuffers.tHead.append(m_rContext.rBuffers.tWire, m_tLine, m_rContext.rBuffers.tDate.now(),
                                     m_rContext.rRules.sServerField);
}

EResponseFraming ResponseProvider::chooseFraming(bool bLengthKnown) const noexcept {
    if (m_tLine.nStatus == 205) return EResponseFraming::kLength;
    if (isBodyless(m_tLine.nStatus)) return EResponseFraming::kNone;
    if (bLengthKnown) return EResponseFraming::kLength;
    return m_rContext.rInput.getHead().eVersion == EVersion::k11 ? EResponseFraming::kChunked
                                                                 : EResponseFraming::kUntilClose;
}

bool ResponseProvider::isBodySent() const noexcept {
    return !m_rContext.rInput.getHead().bHead && !isBodyless(m_tLine.nStatus);
}

void ResponseProvider::log(ELogSeverity eSeverity, std::string_view sWhat) const {
    if (isLogged(eSeverity, s_lsRequest))
        logText(eSeverity, s_lsRequest, m_rContext.describe().append(": ").append(sWhat));
}

}  // namespace webcontainer
