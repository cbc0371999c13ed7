#include "log/recordingdraft.h"

#include <cstring>
#include <utility>

namespace webcontainer {

namespace {

/// As most requests of a browser have no more.
constexpr std::size_t s_knUsualBytes = 4096, s_knUsualCalls = 16, s_knUsualFields = 16;

}  // namespace

void RecordingDraft::addCall(const Call& rCall, std::string_view sName, std::string_view sBytes) {
    if (rCall.bOmitted && !m_sNotes.empty()) {
        Note tLast{};
        std::memcpy(&tLast, &m_sNotes[m_nLastCall], sizeof tLast);
        Call& r = tLast.tCall;
        if (r.bOmitted && r.eCall == rCall.eCall && r.nResult == rCall.nResult) {
            r.nNumber += rCall.nNumber;
            ++r.nCalls;
            std::memcpy(&m_sNotes[m_nLastCall], &tLast, sizeof tLast);
            return;
        }
    }
    const std::size_t nHere = m_sNotes.size();
    add(EKind::kCall, rCall, sName, sBytes);
    m_nLastCall = nHere;
}

void RecordingDraft::add(EKind eKind, const Call& rCall, std::string_view sName, std::string_view sBytes) {
    const Note tNote{eKind, rCall, sName.size(), sBytes.size()};
    if (m_sNotes.empty()) m_sNotes.reserve(s_knUsualBytes);
    m_sNotes.append(reinterpret_cast<const char*>(&tNote), sizeof tNote).append(sName).append(sBytes);
}

Recording RecordingDraft::finish() {
    Recording t = std::move(tRecording);
    t.tEvents.reserve(s_knUsualCalls);
    t.tVariables.reserve(s_knUsualFields);
    t.tHeaders.reserve(s_knUsualFields);
    for (std::string_view sRest = m_sNotes; !sRest.empty();) {
        Note r{};
        std::memcpy(&r, sRest.data(), sizeof r);
        const std::string_view sName = sRest.substr(sizeof r, r.nNameSize);
        const std::string_view sBytes = sRest.substr(sizeof r + r.nNameSize, r.nBytesSize);
        sRest.remove_prefix(sizeof r + r.nNameSize + r.nBytesSize);
        const Call& rCall = r.tCall;
        if (r.eKind != EKind::kCall)
            (r.eKind == EKind::kHeader ? t.tHeaders : t.tVariables).emplace_back(sName, sBytes);
        else
            t.tEvents.push_back({rCall.eCall, rCall.nAtUs, rCall.nNumber, rCall.nResult, std::string(sName),
                                 std::string(sBytes), rCall.bOmitted, rCall.nCalls});
    }
    return t;
}

}  // namespace webcontainer
