#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace sample {

/// Tells requests that are waiting that the server stops. Any thread.
class ShutdownSignal {
public:
    /// Wakes everybody who waits; stays raised.
    void raise();
    bool isRaised() const;
    /// Waits for that long, or until the signal is raised: true then.
    bool waitFor(std::chrono::milliseconds tDuration);

private:
    mutable std::mutex m_tMutex;
    std::condition_variable m_tRaised;
    bool m_bRaised = false;
};

}  // namespace sample
