#pragma once

#include <cstddef>

#include "zq/foundation/zqexport.h"

/// Waiting, in a way that tests can replace.
class ZQ_EXPORT SystemUtils {
public:
    /// Blocks the calling thread for nMsecs milliseconds.
    static void sleep(std::size_t nMsecs);

    using SleepFunction = void (*)(std::size_t nMsecs);
    /// Replaces what sleep() does, for tests that must not wait; null restores it. Returns the one before.
    static SleepFunction setSleepFunction(SleepFunction pFunction) noexcept;
};
