#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

#include "zq/foundation/tl.h"
#include "zq/foundation/zqexport.h"

namespace performance {

/// The value of one counter, in a cache line of its own. Made by the registry, and there until the process
/// ends.
struct alignas(64) CounterData {
    std::atomic<std::int32_t> m_nValue{0};
};

/// Counter values that several threads change at once, none of them lost.
struct ZQ_EXPORT Atomic32Policy {
    static std::int32_t add(CounterData& r, std::int32_t n) noexcept {
        return r.m_nValue.fetch_add(n, std::memory_order_relaxed) + n;
    }
    static void raiseTo(CounterData& r, std::int32_t n) noexcept {
        std::int32_t nNow = r.m_nValue.load(std::memory_order_relaxed);
        while (nNow < n && !r.m_nValue.compare_exchange_weak(nNow, n, std::memory_order_relaxed)) {
        }
    }
};

/// Counter values that are incremented without a lock prefix: two threads that do it at the same moment may
/// count once. For totals that may be a little low, on paths that must cost nothing.
struct ZQ_EXPORT NonAtomic32Policy {
    static std::int32_t add(CounterData& r, std::int32_t n) noexcept {
        // Unsigned, so that a counter wraps as a plain 32-bit increment does.
        const auto nNew =
            static_cast<std::int32_t>(static_cast<std::uint32_t>(r.m_nValue.load(std::memory_order_relaxed)) +
                                      static_cast<std::uint32_t>(n));
        r.m_nValue.store(nNew, std::memory_order_relaxed);
        return nNew;
    }
    static void set(CounterData& r, std::int32_t n) noexcept {
        r.m_nValue.store(n, std::memory_order_relaxed);
    }
};

/// What kind of number a counter shows, for whoever publishes it.
enum class ECounterKind {
    kCount,         ///< only rises
    kTotalPerSec,   ///< only rises; the companion publishes its rise per second
    kCurrentAndMax  ///< rises and falls; the companion holds the highest value so far
};

/// A counter as the registry lists it. The texts live as long as the process.
struct ZQ_EXPORT CounterInfo {
    const char* pName = "";
    ECounterKind eKind = ECounterKind::kCount;
    const char* pDisplayName = "";
    const char* pDescription = "";
    const char* pCompanionDisplayName = "";
    const char* pCompanionDescription = "";
    const CounterData* pValue = nullptr;
    const CounterData* pCompanion = nullptr;  ///< null when there is none

    std::int32_t getValue() const noexcept { return pValue->m_nValue.load(std::memory_order_relaxed); }
    std::int32_t getCompanion() const noexcept {
        return pCompanion->m_nValue.load(std::memory_order_relaxed);
    }
};

/// The counters of the process by name, listed from their construction until the process ends. Reading may
/// happen at any time, on any thread.
class ZQ_EXPORT CounterRegistry {
public:
    /// All counters, in the order of construction.
    static tl::vector<CounterInfo> list();
    /// The counter of a name; its pValue is null when there is none.
    static CounterInfo find(std::string_view sName);

    /// The values of a new counter: the second one is the companion's.
    struct Values {
        CounterData& rValue;
        CounterData& rCompanion;
    };
    /// Lists a counter under copies of rInfo's texts; rInfo's two pointers are not looked at. A name that is
    /// listed already shares its values with the first counter of that name.
    static Values add(const CounterInfo& rInfo);
};

/// A count.
template <class PolicyT>
class ZQ_EXPORT PerfCounterT {
public:
    PerfCounterT(const char* pName, const char* pDisplayName, const char* pDescription)
        : m_rValue(CounterRegistry::add({pName, ECounterKind::kCount, pDisplayName, pDescription}).rValue) {}

    void increment() noexcept { PolicyT::add(m_rValue, 1); }

private:
    CounterData& m_rValue;
};

/// A running total; its companion gets every new total, and is published as the total's rise per second.
template <class PolicyT>
class ZQ_EXPORT PerfTotalPerSecT {
public:
    PerfTotalPerSecT(const char* pName, const char* pDisplayName, const char* pDescription,
                     const char* pRateDisplayName, const char* pRateDescription)
        : m_tValues(CounterRegistry::add({pName, ECounterKind::kTotalPerSec, pDisplayName, pDescription,
                                          pRateDisplayName, pRateDescription})) {}

    void increment() noexcept { PolicyT::set(m_tValues.rCompanion, PolicyT::add(m_tValues.rValue, 1)); }

private:
    CounterRegistry::Values m_tValues;
};

/// A value that rises and falls; its companion is the highest it ever was.
template <class PolicyT>
class ZQ_EXPORT PerfQueueMaxT {
public:
    PerfQueueMaxT(const char* pName, const char* pDisplayName, const char* pDescription,
                  const char* pMaxDisplayName, const char* pMaxDescription)
        : m_tValues(CounterRegistry::add({pName, ECounterKind::kCurrentAndMax, pDisplayName, pDescription,
                                          pMaxDisplayName, pMaxDescription})) {}

    void increment() noexcept { PolicyT::raiseTo(m_tValues.rCompanion, PolicyT::add(m_tValues.rValue, 1)); }
    void decrement() noexcept { PolicyT::add(m_tValues.rValue, -1); }

private:
    CounterRegistry::Values m_tValues;
};

/// Counts a scope as one in use.
template <class CounterT>
class ZQ_EXPORT ResourceCounter {
public:
    explicit ResourceCounter(CounterT& rCounter) noexcept : m_rCounter(rCounter) { m_rCounter.increment(); }
    ~ResourceCounter() { m_rCounter.decrement(); }
    ResourceCounter(const ResourceCounter&) = delete;
    ResourceCounter& operator=(const ResourceCounter&) = delete;

private:
    CounterT& m_rCounter;
};

/// Counts a scope once it has ended, however it ended.
template <class CounterT>
class ZQ_EXPORT IncrementAtEnd {
public:
    explicit IncrementAtEnd(CounterT& rCounter) noexcept : m_rCounter(rCounter) {}
    ~IncrementAtEnd() { m_rCounter.increment(); }
    IncrementAtEnd(const IncrementAtEnd&) = delete;
    IncrementAtEnd& operator=(const IncrementAtEnd&) = delete;

private:
    CounterT& m_rCounter;
};

}  // namespace performance
