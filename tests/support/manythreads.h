#pragma once

#include <functional>
#include <thread>
#include <vector>

namespace test {

/// Runs f on so many threads at once, fMeanwhile on this one, and waits for them all.
inline void onThreads(
    int nThreads, const std::function<void()>& f, const std::function<void()>& fMeanwhile = [] {}) {
    std::vector<std::jthread> tThreads;
    for (int n = 0; n < nThreads; ++n)
        tThreads.emplace_back(f);
    fMeanwhile();
}

}  // namespace test
