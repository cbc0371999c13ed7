#pragma once

#include "zq/foundation/zqexport.h"

/// The default timeout of blocking operations, in milliseconds: one for the process, and one that a thread
/// may set for itself. 0: without limit.
class ZQ_EXPORT TimeoutConfig {
public:
    /// The default in force for the calling thread: its own, else the process's (at first 86400000, a day).
    static unsigned int getDefaultTimeout() noexcept;
    /// Sets the calling thread's own default.
    static void setThreadDefaultTimeout(unsigned int nTimeoutInMls) noexcept;
    /// Sets the process's default, for threads without their own. May be called from any thread.
    static void setGlobalDefaultTimeout(unsigned int nTimeoutInMls) noexcept;

    /// Sets the thread's default for a scope; the end sets it to what was in force before.
    class ZQ_EXPORT SetTimeoutGuard {
    public:
        explicit SetTimeoutGuard(unsigned int nTimeoutInMls) noexcept : m_nPrevTimeout(getDefaultTimeout()) {
            setThreadDefaultTimeout(nTimeoutInMls);
        }
        ~SetTimeoutGuard() { setThreadDefaultTimeout(m_nPrevTimeout); }
        SetTimeoutGuard(const SetTimeoutGuard&) = delete;
        SetTimeoutGuard& operator=(const SetTimeoutGuard&) = delete;

    private:
        const unsigned int m_nPrevTimeout;
    };
};
