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
        m_pDraft = std::make_unique<RecordingDraft>();
        Recording& r = m_pDraft->tRecording;
        r.sMethod = m_rContext.rInput.text(rHead.tMethod);
        // Now: an application may decode the query where it stands.
        r.sTarget = m_rContext.rInput.text(rHead.tTarget);
        r.sVersion = webcontainer::toText(rHead.eVersion);
        r.sSeenMethod = rRequest.getMethod().view();
        r.nLength = rRequest.getContentLength();
        if (rHead.eFraming == EBodyFraming::kChunked) r.nLength.reset();
    });
}

template <class F>
void RequestRecord::attempt(F f) noexcept {
    try {
        f();
    } catch (const std::exception&) {
        m_pDraft.reset();
        m_rRecorder.countLost();
    }
}

void RequestRecord::add(ECall eCall, std::size_t nNumber, int nResult, std::string_view sName,
                        std::string_view sBytes) noexcept {
    if (!m_pDraft) return;
    attempt([&] {
        const std::size_t nMost = m_rRecorder.getSettings().nMaxRequestBytes;
        const std::size_t nCallBytes = m_pDraft->noted() - m_nBytes;
        const bool bOfBody = eCall == ECall::kBody || eCall == ECall::kWrite || eCall == ECall::kEnd;
        const bool bFull =
            sBytes.size() > nMost - std::min(m_nBytes, nMost) || nCallBytes > nMost + s_knCallBytes / 2;
        const bool bOmitted = bOfBody && !sBytes.empty() && bFull;
        if (!bOmitted) m_nBytes += sName.size() + sBytes.size();
        if (m_nBytes + nCallBytes > 2 * nMost + s_knCallBytes) throw std::bad_alloc();
        m_pDraft->addCall({eCall, monotonicUs() - m_nBeginUs, nNumber, nResult, bOmitted}, sName,
                          bOmitted ? std::string_view() : sBytes);
    });
}

void RequestRecord::addException(ECall eCall) noexcept {
    m_bFailed = m_bFailed || eCall == ECall::kException;
    if (m_pDraft) attempt([&] { add(eCall, 0, 0, {}, messageOf(std::current_exception())); });
}

void RequestRecord::addAsked(const char* pVariable) noexcept {
    if (!m_pDraft) return;
    attempt([&] {
        if (std::ranges::find(m_tAsked, pVariable) == m_tAsked.end()) m_tAsked.emplace_back(pVariable);
    });
}

void RequestRecord::end(bool bWhole) noexcept {
    m_bFailed = m_bFailed || !bWhole || m_rContext.nStatus >= 500;
    if (!m_pDraft || (m_rRecorder.getSettings().bFailedOnly && !m_bFailed)) return;
    attempt([&] { fill(bWhole); });
    if (m_pDraft) m_rRecorder.take(std::move(m_pDraft));
}

void RequestRecord::fill(bool bWhole) {
    Recording& r = m_pDraft->tRecording;
    fillHead(r, m_rContext, m_tBegin);
    r.nTotalUs = monotonicUs() - m_nBeginUs;
    r.nStatus = m_rContext.nStatus;
    r.bWhole = bWhole;
    for (const HeaderField& rField : m_rContext.rInput.getHead().tFields)
        m_pDraft->addHeader(m_rContext.rInput.text(rField.tName), m_rContext.rInput.text(rField.tValue));
    const ServerVariables tVariables = m_rContext.variables();
    const auto fAdd = [&](std::string_view sName) {
        NarrowStringBuffer tStorage;
        std::string_view sValue;
        if (!tVariables.find(sName, sValue, tStorage)) return;
        const std::string_view sTarget = r.sTarget;
        if (sName == "QUERY_STRING")
            sValue = sTarget.substr(std::min(sTarget.find('?'), sTarget.size() - 1) + 1);
        m_pDraft->addVariable(sName, sValue);
    };
    ServerVariables::forEachName(fAdd);
    for (const std::string& s : m_tAsked)
        fAdd(s);
}

void recordRefusal(RequestContext& rContext, const Refusal& rRefusal) noexcept {
    Recorder& rRecorder = rContext.rBuffers.tRecords.getRecorder();
    if (rRecorder.getSettings().bFailedOnly && rRefusal.nStatus < 400) return;
    try {
        auto p = std::make_unique<RecordingDraft>();
        Recording& r = p->tRecording;
        fillHead(r, rContext, now());
        r.sRaw = rContext.rInput.getRaw();
        r.tRefusal = {rRefusal.nStatus, rRefusal.pReason};
        if (r.sRaw.size() <= rRecorder.getSettings().nMaxRequestBytes) return rRecorder.take(std::move(p));
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
