#include "shutdownsignal.h"

namespace sample {

void ShutdownSignal::raise() {
    {
        const std::lock_guard tLock(m_tMutex);
        m_bRaised = true;
    }
    m_tRaised.notify_all();
}

bool ShutdownSignal::isRaised() const {
    const std::lock_guard tLock(m_tMutex);
    return m_bRaised;
}

bool ShutdownSignal::waitFor(std::chrono::milliseconds tDuration) {
    std::unique_lock tLock(m_tMutex);
    return m_tRaised.wait_for(tLock, tDuration, [this] { return m_bRaised; });
}

}  // namespace sample
