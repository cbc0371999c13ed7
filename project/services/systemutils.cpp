#include "zq/services/systemutils.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

namespace {

void sleepForReal(std::size_t nMsecs) {
    using Duration = std::chrono::milliseconds;
    constexpr auto knMost = static_cast<std::size_t>(Duration::max().count());
    std::this_thread::sleep_for(Duration(static_cast<Duration::rep>(std::min(nMsecs, knMost))));
}

std::atomic<SystemUtils::SleepFunction> s_pSleep{&sleepForReal};

}  // namespace

void SystemUtils::sleep(std::size_t nMsecs) {
    s_pSleep.load(std::memory_order_acquire)(nMsecs);
}

SystemUtils::SleepFunction SystemUtils::setSleepFunction(SleepFunction pFunction) noexcept {
    return s_pSleep.exchange(pFunction ? pFunction : &sleepForReal, std::memory_order_acq_rel);
}
