#include "requests/requestwatch.h"

#include <algorithm>
#include <exception>

#include "base/monotonicclock.h"

namespace webcontainer {

namespace {

thread_local RequestContext* t_pCurrent = nullptr;

std::int64_t nowMs() {
    timespec tNow{};
    clock_gettime(CLOCK_REALTIME, &tNow);
    return std::int64_t{tNow.tv_sec} * 1000 + tNow.tv_nsec / 1000000;
}

/// Method and target, and what stands between them.
std::string_view getLine(const RequestInput& rInput) noexcept {
    const std::string_view sMethod = rInput.text(rInput.getHead().tMethod);
    const std::string_view sTarget = rInput.text(rInput.getHead().tTarget);
    if (sTarget.empty()) return sMethod;
    return {sMethod.data(), static_cast<std::size_t>(sTarget.data() + sTarget.size() - sMethod.data())};
}

}  // namespace

RequestWatch::RequestWatch(RequestContext& rContext) noexcept
    : m_rContext(rContext),
      m_nSentBefore(rContext.rStatistics.getSent()),
      m_nBeginUs(rContext.nNowUs) {
    m_rContext.rSocket.takeWaits();
    m_rContext.nStatus = 0;
    m_rContext.tOrigin.reset();
    m_rContext.tId.reset();
    m_rContext.rStatistics.beginRequest();
}

void RequestWatch::show() noexcept {
    m_rContext.rStatistics.activity().begin(getLine(m_rContext.rInput), m_rContext.tId.data(),
                                            m_rContext.rArrival.nFirstByteUs);
    t_pCurrent = &m_rContext;
    m_bShown = true;
    // Which costs nothing: the line in the access log needs it too.
    if (m_rContext.rBuffers.tAccess.isWanted()) m_rContext.tId.get(m_rContext.rInput);
}

RequestWatch::~RequestWatch() {
    m_rContext.nNowUs = monotonicUs();
    const RequestTimes tTimes = readTimes(m_rContext.nNowUs);
    // A request that is here already has waited only for this one.
    m_rContext.rArrival = {m_rContext.nNowUs, 0};
    hide();
    m_rContext.rStatistics.endRequest(m_rContext.nStatus, tTimes);
    if (!m_rContext.rBuffers.tAccess.isWanted()) return;
    try {
        writeLine(tTimes);
    } catch (const std::exception&) {
        m_rContext.rBuffers.tAccess.countLost();
    }
}

void RequestWatch::hide() noexcept {
    if (!m_bShown) return;
    t_pCurrent = nullptr;
    m_rContext.rStatistics.activity().end();
}

RequestContext* RequestWatch::getCurrent() noexcept {
    return t_pCurrent;
}

RequestTimes RequestWatch::readTimes(std::int64_t nNowUs) const noexcept {
    const RequestArrival& rArrival = m_rContext.rArrival;
    const ClientSocket::Waits tWaits = m_rContext.rSocket.takeWaits();
    RequestTimes tTimes;
    // A piece that came while others waited has waited at the same time as they did.
    tTimes.nWaitingUs = std::min(rArrival.nWaitingUs, m_nBeginUs - rArrival.nFirstByteUs);
    tTimes.nReceivingUs = m_nBeginUs - rArrival.nFirstByteUs - tTimes.nWaitingUs + tWaits.nForInputUs;
    tTimes.nSendingUs = tWaits.nForRoomUs;
    tTimes.nRunningUs = nNowUs - m_nBeginUs - tWaits.nForInputUs - tWaits.nForRoomUs;
    return tTimes;
}

void RequestWatch::writeLine(const RequestTimes& rTimes) const {
    RequestContext& r = m_rContext;
    const ServerVariables tVariables = r.variables();
    NarrowStringBuffer tStorage[3];
    AccessRecord tRecord;
    tVariables.find("REMOTE_ADDR", tRecord.sClient, tStorage[0]);
    tVariables.find("HTTP_REFERER", tRecord.sReferer, tStorage[1]);
    tVariables.find("HTTP_USER_AGENT", tRecord.sUserAgent, tStorage[2]);
    const RequestHead& rHead = r.rInput.getHead();
    tRecord.sMethod = r.rInput.text(rHead.tMethod);
    tRecord.sTarget = r.rInput.text(rHead.tTarget);
    if (!tRecord.sMethod.empty()) tRecord.sProtocol = toText(rHead.eVersion);
    tRecord.nTimeMs = nowMs() - rTimes.sum() / 1000;
    tRecord.nStatus = r.nStatus;
    tRecord.nReceivedBytes = r.rInput.getBodyReceived();
    tRecord.nSentBytes = r.rStatistics.getSent() - m_nSentBefore;
    tRecord.tTimes = rTimes;
    tRecord.sRequestId = r.tId.get(r.rInput);
    tRecord.bCut = m_bCut;
    r.rBuffers.tAccess.add(tRecord);
}

}  // namespace webcontainer
