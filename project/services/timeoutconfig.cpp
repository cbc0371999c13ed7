#include "zq/services/timeoutconfig.h"

#include <atomic>
#include <optional>

namespace {

constexpr unsigned int s_knDayInMls = 24 * 60 * 60 * 1000;

std::atomic<unsigned int> s_nGlobalDefault{s_knDayInMls};
thread_local std::optional<unsigned int> t_nThreadDefault;

}  // namespace

unsigned int TimeoutConfig::getDefaultTimeout() noexcept {
    return t_nThreadDefault ? *t_nThreadDefault : s_nGlobalDefault.load(std::memory_order_relaxed);
}

void TimeoutConfig::setThreadDefaultTimeout(unsigned int nTimeoutInMls) noexcept {
    t_nThreadDefault = nTimeoutInMls;
}

void TimeoutConfig::setGlobalDefaultTimeout(unsigned int nTimeoutInMls) noexcept {
    s_nGlobalDefault.store(nTimeoutInMls, std::memory_order_relaxed);
}
