#include "requests/requestrecord.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "base/monotonicclock.h"

namespace webcontainer {

namespace {

using ECall = Recording::ECall;

/// So much more than its bytes the calls of a request may take, which could go on for ever.
constexpr std::size_t s_knCallBytes = 65536;
constexpr std::size_t s_knUsualCalls = 16, s_knUsualVariables = 16;

timespec now() noexcept {
    timespec tNow{};
    ::clock_gettime(CLOCK_REALTIME, &tNow);
    return tNow;
}

std::string toText(const timespec& rTime) {
    static thread_local std::time_t t_nSecond = -1;
    static thread_local char t_tSecond[32];
    if (std::exchange(t_nSecond, rTime.tv_sec) != rTime.tv_sec) {
        tm tDate{};
        ::gmtime_r(&rTime.tv_sec, &tDate);
        (void)std::strftime(t_tSecond, sizeof t_tSecond, "%FT%T", &tDate);
    }
    const std::string sMicroseconds = std::to_string(1000000 + rTime.tv_nsec / 1000).substr(1);
    return std::string(t_tSecond).append(".").append(sMicroseconds).append("Z");
}

/// What recordings of either kind begin with.
void fillHead(Recording& r, RequestContext& rContext, const timespec& rTime) {
    r.sTime = toText(rTime);
    r.sId = rContext.tId.get(rContext.rInput);
    r.sClient = rContext.tOrigin.get(rContext.rInput, rContext.rEnds).describeClient();
}

}  // namespace

RequestRecord::RequestRecord(RequestContext& rContext, kiv::HttpRequestProvider& rRequest) noexcept
    : m_rContext(rContext),
      m_rRecorder(rContext.rBuffers.tRecords.getRecorder()),
      m_tBegin(now()),
      m_nBeginUs(monotonicUs()) {
    attempt([&] {
        const RequestHead& rHead = m_rContext.rInput.getHead();
        m_pRecording = std::make_unique<Recording>();
        m_pRecording->tEvents.reserve(s_knUsualCalls);
        m_pRecording->sMethod = m_rContext.rInput.text(rHead.tMethod);
        // Now: an application may decode the query where it stands.
        m_pRecording->sTarget = m_rContext.rInput.text(rHead.tTarget);
        m_pRecording->sVersion = webcontainer::toText(rHead.eVersion);
        m_pRecording->sSeenMethod = rRequest.getMethod().view();
        m_pRecording->nLength = rRequest.getContentLength();
        if (rHead.eFraming == EBodyFraming::kChunked) m_pRecording->nLength.reset();
    });
}

template <class F>
void RequestRecord::attempt(F f) noexcept {
    try {
        f();
    } catch (const std::exception&) {
        m_pRecording.reset();
        m_rRecorder.countLost();
    }
}

void RequestRecord::add(ECall eCall, std::size_t nNumber, int nResult, std::string_view sName,
                        std::string_view sBytes) noexcept {
    if (!m_pRecording) return;
    attempt([&] {
        const std::size_t nMost = m_rRecorder.getSettings().nMaxRequestBytes;
        std::vector<Recording::Event>& rEvents = m_pRecording->tEvents;
        const std::size_t nCallBytes = rEvents.size() * sizeof rEvents[0];
        const bool bOfBody = eCall == ECall::kBody || eCall == ECall::kWrite || eCall == ECall::kEnd;
        const bool bFull =
            sBytes.size() > nMost - std::min(m_nBytes, nMost) || nCallBytes > nMost + s_knCallBytes / 2;
        const bool bOmitted = bOfBody && !sBytes.empty() && bFull;
        if (bOmitted && !rEvents.empty() && rEvents.back().bOmitted && rEvents.back().eCall == eCall &&
            rEvents.back().nResult == nResult) {
            rEvents.back().nNumber += nNumber;
            ++rEvents.back().nCalls;
            return;
        }
        if (!bOmitted) m_nBytes += sName.size() + sBytes.size();
        if (m_nBytes + nCallBytes > 2 * nMost + s_knCallBytes) throw std::bad_alloc();
        rEvents.push_back({eCall, monotonicUs() - m_nBeginUs, nNumber, nResult, std::string(sName),
                           std::string(bOmitted ? std::string_view() : sBytes), bOmitted});
    });
}

void RequestRecord::addException(ECall eCall) noexcept {
    m_bFailed = m_bFailed || eCall == ECall::kException;
    if (m_pRecording) attempt([&] { add(eCall, 0, 0, {}, messageOf(std::current_exception())); });
}

void RequestRecord::addAsked(const char* pVariable) noexcept {
    if (!m_pRecording) return;
    attempt([&] {
        if (std::ranges::find(m_tAsked, pVariable) == m_tAsked.end()) m_tAsked.emplace_back(pVariable);
    });
}

void RequestRecord::end(bool bWhole) noexcept {
    m_bFailed = m_bFailed || !bWhole || m_rContext.nStatus >= 500;
    if (!m_pRecording || (m_rRecorder.getSettings().bFailedOnly && !m_bFailed)) return;
    attempt([&] { fill(bWhole); });
    if (m_pRecording) m_rRecorder.take(std::move(m_pRecording));
}

void RequestRecord::fill(bool bWhole) {
    fillHead(*m_pRecording, m_rContext, m_tBegin);
    m_pRecording->nTotalUs = monotonicUs() - m_nBeginUs;
    m_pRecording->nStatus = m_rContext.nStatus;
    m_pRecording->bWhole = bWhole;
    const auto& rFields = m_rContext.rInput.getHead().tFields;
    m_pRecording->tHeaders.reserve(rFields.size());
    m_pRecording->tVariables.reserve(s_knUsualVariables);
    for (const HeaderField& r : rFields)
        m_pRecording->tHeaders.emplace_back(m_rContext.rInput.text(r.tName),
                                            m_rContext.rInput.text(r.tValue));
    fillVariables();
}

void RequestRecord::fillVariables() {
    const ServerVariables tVariables = m_rContext.variables();
    const auto fAdd = [&](std::string_view sName) {
        NarrowStringBuffer tStorage;
        std::string_view sValue;
        if (tVariables.find(sName, sValue, tStorage)) m_pRecording->tVariables.emplace_back(sName, sValue);
    };
    ServerVariables::forEachName(fAdd);
    for (const std::string& s : m_tAsked)
        fAdd(s);
    const std::string& sTarget = m_pRecording->sTarget;
    for (auto& [sName, sValue] : m_pRecording->tVariables)
        if (sName == "QUERY_STRING")
            sValue = sTarget.substr(std::min(sTarget.find('?'), sTarget.size() - 1) + 1);
}

void recordRefusal(RequestContext& rContext, const Refusal& rRefusal) noexcept {
    Recorder& rRecorder = rContext.rBuffers.tRecords.getRecorder();
    if (rRecorder.getSettings().bFailedOnly && rRefusal.nStatus < 400) return;
    try {
        auto p = std::make_unique<Recording>();
        fillHead(*p, rContext, now());
        p->sRaw = rContext.rInput.getRaw();
        p->tRefusal = {rRefusal.nStatus, rRefusal.pReason};
        if (p->sRaw.size() <= rRecorder.getSettings().nMaxRequestBytes) return rRecorder.take(std::move(p));
    } catch (const std::exception&) {
        // Then it is lost.
    }
    rRecorder.countLost();
}

int RecordedRequest::getServerVariable(const char* pName, char* pBuffer, std::size_t& rSize) {
    const int nResult = m_rRequest.getServerVariable(pName, pBuffer, rSize);
    if (nResult > 0 && std::string_view(pName).starts_with(ServerVariables::s_ksHeaderPrefix))
        m_rRecord.addAsked(pName);
    return nResult;
}

std::size_t RecordedRequest::readFromBody(void* pBuffer, std::size_t nSize) {
    try {
        const std::size_t nRead = m_rRequest.readFromBody(pBuffer, nSize);
        m_rRecord.add(ECall::kBody, nRead, 0, {}, {static_cast<const char*>(pBuffer), nRead});
        return nRead;
    } catch (...) {
        m_rRecord.addException(ECall::kBodyFailed);
        throw;
    }
}

void RecordedResponse::setStatusCode(unsigned int nStatus) {
    m_rRecord.add(ECall::kStatus, nStatus);
    m_rResponse.setStatusCode(nStatus);
}

void RecordedResponse::setErrorStatusCode(unsigned int nStatus) {
    m_rRecord.add(ECall::kErrorStatus, nStatus);
    m_rResponse.setErrorStatusCode(nStatus);
}

void RecordedResponse::setContentLength(std::size_t nLength) {
    m_rRecord.add(ECall::kAnnounce, nLength);
    m_rResponse.setContentLength(nLength);
}

void RecordedResponse::addHeader(const char* pName, std::size_t nNameLength, const char* pValue,
                                 std::size_t nValueLength) {
    m_rRecord.add(ECall::kAdd, 0, 0, {pName, nNameLength}, {pValue, nValueLength});
    m_rResponse.addHeader(pName, nNameLength, pValue, nValueLength);
}

void RecordedResponse::clearHeaders() {
    m_rRecord.add(ECall::kClear);
    m_rResponse.clearHeaders();
}

RecordedResponse::EResponseCode RecordedResponse::commitHeaders() {
    const EResponseCode eResult = m_rResponse.commitHeaders();
    m_rRecord.add(ECall::kCommit, 0, eResult);
    return eResult;
}

RecordedResponse::EResponseCode RecordedResponse::writeToBody(const void* pData, std::size_t nLength) {
    const EResponseCode eResult = m_rResponse.writeToBody(pData, nLength);
    m_rRecord.add(ECall::kWrite, nLength, eResult, {}, {static_cast<const char*>(pData), nLength});
    return eResult;
}

RecordedResponse::EResponseCode RecordedResponse::endResponse(const void* pData, std::size_t nLength) {
    const EResponseCode eResult = m_rResponse.endResponse(pData, nLength);
    m_rRecord.add(ECall::kEnd, nLength, eResult, {}, {static_cast<const char*>(pData), nLength});
    return eResult;
}

}  // namespace webcontainer
