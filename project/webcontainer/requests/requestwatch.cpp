#include "requests/requestwatch.h"

#include <exception>

#include "base/monotonicclock.h"

namespace webcontainer {

namespace {

std::int64_t nowMs() {
    timespec tNow{};
    clock_gettime(CLOCK_REALTIME, &tNow);
    return std::int64_t{tNow.tv_sec} * 1000 + tNow.tv_nsec / 1000000;
}

}  // namespace

RequestWatch::RequestWatch(RequestContext& rContext) noexcept
    : m_rContext(rContext),
      m_nSentBefore(rContext.rStatistics.getSent()) {
    m_rContext.nStatus = 0;
    m_rContext.tOrigin.reset();
    m_rContext.tId.reset();
    m_rContext.rStatistics.beginRequest();
}

RequestWatch::~RequestWatch() {
    const std::int64_t nNow = monotonicUs();
    const std::int64_t nDuration = nNow - m_rContext.rnArrivedUs;
    // A request that is here already has waited only for this one.
    m_rContext.rnArrivedUs = nNow;
    m_rContext.rStatistics.endRequest(m_rContext.nStatus, nDuration);
    if (!m_rContext.rBuffers.tAccess.isWanted()) return;
    try {
        writeLine(nDuration);
    } catch (const std::exception&) {
        m_rContext.rBuffers.tAccess.countLost();
    }
}

void RequestWatch::writeLine(std::int64_t nDurationUs) const {
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
    tRecord.nTimeMs = nowMs() - nDurationUs / 1000;
    tRecord.nStatus = r.nStatus;
    tRecord.nReceivedBytes = r.rInput.getBodyReceived();
    tRecord.nSentBytes = r.rStatistics.getSent() - m_nSentBefore;
    tRecord.nDurationUs = nDurationUs;
    tRecord.sRequestId = r.tId.get(r.rInput);
    tRecord.bCut = m_bCut;
    r.rBuffers.tAccess.add(tRecord);
}

}  // namespace webcontainer
