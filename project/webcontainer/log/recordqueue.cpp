#include "log/recordqueue.h"

#include <chrono>
#include <utility>

namespace webcontainer {

namespace {

constexpr std::chrono::milliseconds s_knInterval(100);

/// About what it takes of memory.
std::size_t sizeOf(const Recording& r) {
    std::size_t nSize = sizeof r + r.sTarget.size() + r.sRaw.size();
    for (const Recording::Fields* const p : {&r.tHeaders, &r.tVariables})
        for (const auto& rField : *p)
            nSize += sizeof rField + rField.first.size() + rField.second.size();
    for (const Recording::Event& rEvent : r.tEvents)
        nSize += sizeof rEvent + rEvent.sName.size() + rEvent.sBytes.size();
    return nSize;
}

}  // namespace

bool RecordQueue::push(std::unique_ptr<Recording> pRecording) {
    const std::size_t nSize = sizeOf(*pRecording);
    {
        const std::lock_guard tLock(m_tMutex);
        if (!m_tRecordings.empty() && m_nBytes + nSize > s_knMostBytes) return false;
        m_tRecordings.push_back(std::move(pRecording));
        m_nBytes += nSize;
        if (m_nBytes < s_knMostBytes / 2) return true;
    }
    m_tUrgent.notify_one();
    return true;
}

std::unique_ptr<Recording> RecordQueue::pop(const std::stop_token& rStop) {
    std::unique_lock tLock(m_tMutex);
    m_bAtWork = false;
    while (m_tRecordings.empty()) {
        m_bUrgent = false;
        m_tDone.notify_all();
        m_tUrgent.wait_for(tLock, rStop, s_knInterval,
                           [this] { return m_bUrgent || m_nBytes >= s_knMostBytes / 2; });
        if (m_tRecordings.empty() && rStop.stop_requested()) return nullptr;
    }
    std::unique_ptr<Recording> pRecording = std::move(m_tRecordings.front());
    m_tRecordings.pop_front();
    m_nBytes -= sizeOf(*pRecording);
    m_bAtWork = true;
    return pRecording;
}

void RecordQueue::waitUntilDone() {
    std::unique_lock tLock(m_tMutex);
    m_bUrgent = true;
    m_tUrgent.notify_one();
    m_tDone.wait_for(tLock, std::chrono::seconds(1), [this] { return m_tRecordings.empty() && !m_bAtWork; });
}

}  // namespace webcontainer
