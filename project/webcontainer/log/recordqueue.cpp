#include "log/recordqueue.h"

#include <chrono>
#include <utility>

namespace webcontainer {

namespace {

constexpr std::chrono::milliseconds s_knInterval(100);

}  // namespace

bool RecordQueue::push(std::unique_ptr<RecordingDraft> pDraft) {
    const std::size_t nSize = pDraft->size();
    {
        const std::lock_guard tLock(m_tMutex);
        if (!m_tDrafts.empty() && m_nBytes + nSize > s_knMostBytes) return false;
        m_tDrafts.push_back(std::move(pDraft));
        m_nBytes += nSize;
        if (m_nBytes < s_knMostBytes / 2) return true;
    }
    m_tUrgent.notify_one();
    return true;
}

std::unique_ptr<RecordingDraft> RecordQueue::pop(const std::stop_token& rStop) {
    std::unique_lock tLock(m_tMutex);
    m_bAtWork = false;
    while (m_tDrafts.empty()) {
        m_bUrgent = false;
        m_tDone.notify_all();
        m_tUrgent.wait_for(tLock, rStop, s_knInterval,
                           [this] { return m_bUrgent || m_nBytes >= s_knMostBytes / 2; });
        if (m_tDrafts.empty() && rStop.stop_requested()) return nullptr;
    }
    std::unique_ptr<RecordingDraft> pDraft = std::move(m_tDrafts.front());
    m_tDrafts.pop_front();
    m_nBytes -= pDraft->size();
    m_bAtWork = true;
    return pDraft;
}

void RecordQueue::waitUntilDone() {
    std::unique_lock tLock(m_tMutex);
    m_bUrgent = true;
    m_tUrgent.notify_one();
    m_tDone.wait_for(tLock, std::chrono::seconds(1), [this] { return m_tDrafts.empty() && !m_bAtWork; });
}

}  // namespace webcontainer
