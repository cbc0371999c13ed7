#include "requests/bodyreader.h"

#include <algorithm>
#include <limits>

#include "zq/services/timeoutconfig.h"

namespace webcontainer {

namespace {

/// Logged once, by whoever answers the request, not here as well.
[[noreturn]] void throwBodyError(const Refusal& rAnswer) {
    ZQTHROW_prethrowProcessException(BodyError(rAnswer), false, ZQ_WFILE, __LINE__);
}

}  // namespace

BodyReader::BodyReader(RequestInput& rInput, ClientSocket& rSocket, const Limits& rLimits)
    : m_rInput(rInput),
      m_rSocket(rSocket),
      m_rLimits(rLimits),
      m_tPatience{{rLimits.nMinimumBytesPerSecond, rLimits.nRateGraceMs}, 0} {}

std::size_t BodyReader::read(void* pBuffer, std::size_t nSize) {
    for (;;) {
        if (const std::size_t nTaken = m_rInput.takeBody(pBuffer, nSize); nTaken != 0) return nTaken;
        if (nSize == 0 || m_rInput.isBodyReceived()) return 0;
        if (const std::size_t nUnreceived = m_rInput.getUnreceived(); nUnreceived != 0) {
            // Nothing to decode, so the bytes need not pass through the input.
            const Received tReceived = m_rSocket.receive(pBuffer, std::min(nSize, nUnreceived));
            if (tReceived.eKind == EReceived::kBytes) {
                m_rInput.countPastInput(tReceived.nBytes);
                m_tPatience.tRate.countBytes(tReceived.nBytes);
                return tReceived.nBytes;
            }
            if (tReceived.eKind == EReceived::kEnd) throwBodyError(s_tBodyTruncated);
            wait();
        } else if (fill() == 0) {
            wait();
        }
    }
}

void BodyReader::wait() {
    const unsigned nTimeoutMs = TimeoutConfig::getDefaultTimeout();
    m_tPatience.nTimeoutMs = nTimeoutMs != 0 ? nTimeoutMs : std::numeric_limits<unsigned>::max();
    switch (m_rSocket.waitForInput(m_tPatience)) {
        case EWaited::kReady:
            return;
        case EWaited::kStopping:
            throwBodyError({503, "the server stops"});
        default:
            throwBodyError(s_tBodyTooSlow);
    }
}

/// Takes what the client has sent into the input, and returns how much that was.
std::size_t BodyReader::fill() {
    const std::span<char> tRoom = m_rInput.room();
    const Received tReceived = m_rSocket.receive(tRoom.data(), tRoom.size());
    if (tReceived.eKind == EReceived::kEnd) throwBodyError(s_tBodyTruncated);
    m_tPatience.tRate.countBytes(tReceived.nBytes);
    m_rInput.commit(tReceived.nBytes);
    const Parsed tParsed = m_rInput.advance();
    if (tParsed == Parsed::kRefused) throwBodyError(tParsed.getRefusal());
    return tReceived.nBytes;
}

bool BodyReader::finish() {
    m_rInput.dropBody();
    if (m_rInput.getUnreceived() > m_rLimits.nDiscardBytes) return m_rInput.isBodyReceived();
    try {
        for (std::size_t nDropped = 0; !m_rInput.isBodyReceived() && nDropped <= m_rLimits.nDiscardBytes;) {
            const std::size_t nFilled = fill();
            if (nFilled == 0) return false;
            nDropped += nFilled;
            m_rInput.dropBody();
        }
    } catch (const BodyError&) {
        return false;
    }
    return m_rInput.isBodyReceived();
}

}  // namespace webcontainer
