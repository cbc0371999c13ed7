#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace sample {

/// Tells requests that are waiting that the server stops. Any thread.
class ShutdownSignal {
public:
    /// Wakes everybody who waits; stays raised.
    void raise() {
        const std::lock_guard tLock(m_tMutex);
        m_bRaised = true;
        m_tRaised.notify_all();
    }
    /// Waits for that long, or until the signal is raised: true then.
    bool waitFor(std::chrono::milliseconds tDuration) {
        std::unique_lock tLock(m_tMutex);
        return m_tRaised.wait_for(tLock, tDuration, [this] { return m_bRaised; });
    }
    bool isRaised() { return waitFor({}); }

private:
    std::mutex m_tMutex;
    std::condition_variable m_tRaised;
    bool m_bRaised = false;
};

}  // namespace sample
