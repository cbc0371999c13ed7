#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <stop_token>

#include "log/recordingdraft.h"

namespace webcontainer {

/// Recordings on their way to the disk: as many as the bound allows, and never less than one. They are looked
/// at ten times a second, and when half of the bound is reached, so that who brings one need not wake
/// anybody.
class RecordQueue {
public:
    static constexpr std::size_t s_knMostBytes = 16 << 20;

    /// False: there is no room. Throws std::bad_alloc.
    bool push(std::unique_ptr<RecordingDraft> pDraft);
    /// Waits for the next one; null: there is none, and a stop was asked for. Each call says that the last
    /// one's recording has been dealt with.
    std::unique_ptr<RecordingDraft> pop(const std::stop_token& rStop);
    /// Waits until all have been dealt with, but no longer than a second.
    void waitUntilDone();

private:
    std::mutex m_tMutex;
    std::condition_variable_any m_tUrgent;
    std::condition_variable m_tDone;
    std::deque<std::unique_ptr<RecordingDraft>> m_tDrafts;
    std::size_t m_nBytes = 0;
    bool m_bAtWork = false;  ///< with one that was taken out
    bool m_bUrgent = false;  ///< somebody waits until all are done
};

}  // namespace webcontainer
