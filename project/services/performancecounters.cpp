#include "zq/services/performancecounters.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <string>

#include "zq/foundation/libloaded.h"

namespace performance {

namespace {

/// A counter with texts of its own: the library that named it may be unloaded before the process ends.
struct Counter {
    std::string m_sName;
    std::string m_sDisplayName;
    std::string m_sDescription;
    std::string m_sCompanionDisplayName;
    std::string m_sCompanionDescription;
    ECounterKind m_eKind;
    CounterData m_tValue;
    CounterData m_tCompanion;

    explicit Counter(const CounterInfo& r)
        : m_sName(r.pName),
          m_sDisplayName(r.pDisplayName),
          m_sDescription(r.pDescription),
          m_sCompanionDisplayName(r.pCompanionDisplayName),
          m_sCompanionDescription(r.pCompanionDescription),
          m_eKind(r.eKind) {}

    CounterInfo info() const noexcept {
        return {m_sName.c_str(),
                m_eKind,
                m_sDisplayName.c_str(),
                m_sDescription.c_str(),
                m_sCompanionDisplayName.c_str(),
                m_sCompanionDescription.c_str(),
                &m_tValue,
                m_eKind == ECounterKind::kCount ? nullptr : &m_tCompanion};
    }
};

struct Registry {
    std::mutex m_tMutex;
    std::deque<Counter> m_tCounters;  ///< a deque, because counters refer to their values by address

    Counter* find(std::string_view sName) {
        const auto it = std::find_if(m_tCounters.begin(), m_tCounters.end(),
                                     [sName](const Counter& r) { return r.m_sName == sName; });
        return it == m_tCounters.end() ? nullptr : &*it;
    }
};

/// Never destroyed: static counters of other libraries count until the process ends.
Registry& registry() {
    static auto* const s_pRegistry = new Registry;
    return *s_pRegistry;
}

}  // namespace

tl::vector<CounterInfo> CounterRegistry::list() {
    const std::lock_guard tLock(registry().m_tMutex);
    tl::vector<CounterInfo> tList;
    for (const Counter& rCounter : registry().m_tCounters)
        tList.push_back(rCounter.info());
    return tList;
}

CounterInfo CounterRegistry::find(std::string_view sName) {
    const std::lock_guard tLock(registry().m_tMutex);
    const Counter* const pCounter = registry().find(sName);
    return pCounter ? pCounter->info() : CounterInfo{};
}

CounterRegistry::Values CounterRegistry::add(const CounterInfo& rInfo) {
    const std::lock_guard tLock(registry().m_tMutex);
    Counter* pCounter = registry().find(rInfo.pName);
    if (!pCounter) {
        pCounter = &registry().m_tCounters.emplace_back(rInfo);
        debug_tools::LoadJournal::add(debug_tools::LoadJournal::EKind::kCounter, pCounter->m_sName);
    }
    return {pCounter->m_tValue, pCounter->m_tCompanion};
}

}  // namespace performance
