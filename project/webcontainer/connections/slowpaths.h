#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace webcontainer {

/// Which paths of requests made their worker sleep the last time. A guess: paths of one hash count as one.
/// Any thread.
class SlowPaths {
public:
    /// What does not take longer made nobody wait worth mentioning.
    static constexpr std::int64_t s_knQuickUs = 500;

    bool contains(std::string_view sPath) const noexcept {
        if (m_nSlow.load(std::memory_order_relaxed) == 0) return false;
        return m_tSlow[hash(sPath)].load(std::memory_order_relaxed);
    }
    void add(std::string_view sPath) noexcept { set(sPath, true); }
    void remove(std::string_view sPath) noexcept { set(sPath, false); }

private:
    static constexpr std::size_t s_knHashes = 4096;

    static std::size_t hash(std::string_view s) noexcept {
        return std::hash<std::string_view>()(s) % s_knHashes;
    }
    void set(std::string_view sPath, bool bSlow) noexcept {
        if (m_tSlow[hash(sPath)].exchange(bSlow, std::memory_order_relaxed) == bSlow) return;
        m_nSlow.fetch_add(bSlow ? 1 : -1, std::memory_order_relaxed);
    }

    std::atomic<int> m_nSlow{0};
    std::array<std::atomic<bool>, s_knHashes> m_tSlow{};
};

}  // namespace webcontainer
