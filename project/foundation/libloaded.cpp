#include "zq/foundation/libloaded.h"

#include <algorithm>
#include <mutex>

namespace debug_tools {

namespace {

struct Registry {
    std::mutex m_tMutex;
    tl::vector<LibLoaded::Record> m_tLibraries;
    tl::vector<LoadJournal::Entry> m_tJournal;
};

/// Never destroyed: libraries withdraw their records while static objects are being destroyed.
Registry& registry() {
    static auto* const s_pRegistry = new Registry;
    return *s_pRegistry;
}

}  // namespace

LibLoaded::LibLoaded(const char* pName, const char* pVersion) : m_pName(pName), m_pVersion(pVersion) {
    {
        const std::lock_guard tLock(registry().m_tMutex);
        registry().m_tLibraries.push_back({pName, pVersion});
    }
    LoadJournal::add(LoadJournal::EKind::kLibrary, pName);
}

LibLoaded::~LibLoaded() {
    const std::lock_guard tLock(registry().m_tMutex);
    auto& rList = registry().m_tLibraries;
    const auto it = std::find_if(rList.rbegin(), rList.rend(), [this](const Record& r) {
        return r.sName == m_pName && r.sVersion == m_pVersion;
    });
    if (it != rList.rend()) rList.erase(std::next(it).base());
}

tl::vector<LibLoaded::Record> LibLoaded::list() {
    const std::lock_guard tLock(registry().m_tMutex);
    return registry().m_tLibraries;
}

void LoadJournal::add(EKind eKind, std::string sName) {
    const std::lock_guard tLock(registry().m_tMutex);
    registry().m_tJournal.push_back({eKind, std::move(sName)});
}

tl::vector<LoadJournal::Entry> LoadJournal::list() {
    const std::lock_guard tLock(registry().m_tMutex);
    return registry().m_tJournal;
}

}  // namespace debug_tools
