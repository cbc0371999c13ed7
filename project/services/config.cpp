#include "zq/services/config.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "zq/foundation/utf8text.h"
#include "zq/services/logger.h"

namespace {

struct Registry {
    std::mutex m_tMutex;
    std::vector<const ConfigBase*> m_tObjects;  ///< in the order of their construction
};

/// Never destroyed: static configuration objects withdraw while the process ends.
Registry& registry() {
    static auto* const s_pRegistry = new Registry;
    return *s_pRegistry;
}

const LogSourceHandle s_lsConfiguration("services.configuration");

/// The T of a Config<T>, as it stands in the source.
std::string getOwnerType(const ConfigBase& rConfig) {
    const char* const pMangled = typeid(rConfig).name();
    const std::unique_ptr<char, void (*)(void*)> pName(
        abi::__cxa_demangle(pMangled, nullptr, nullptr, nullptr), &std::free);
    const std::string_view sName(pName ? pName.get() : pMangled);
    constexpr std::string_view ksTemplate = "Config<";
    if (!sName.starts_with(ksTemplate)) return std::string(sName);
    return std::string(sName.substr(ksTemplate.size(), sName.size() - ksTemplate.size() - 1));
}

void report(const ZQWString& sReason) {
    StringBuffer tText;
    tText.append(L"The configuration could not be loaded: ");
    tText.append(sReason);
    TWLogger::getLogger().logMessage(kSevError, s_lsConfiguration, GDStringRef(tText.view()),
                                     ZQ_LOG_LOCATION);
}

}  // namespace

ConfigBase::ConfigBase(ConfigReloadCaps eCaps) : m_eCaps(eCaps) {
    const std::lock_guard tLock(registry().m_tMutex);
    registry().m_tObjects.push_back(this);
}

ConfigBase::~ConfigBase() {
    const std::lock_guard tLock(registry().m_tMutex);
    std::erase(registry().m_tObjects, this);
}

ConfigBase::LoadResult ConfigBase::loadAll(const ConfigReader& rReader) {
    std::vector<const ConfigBase*> tObjects;
    {
        // Loading calls out, so it happens outside the lock.
        const std::lock_guard tLock(registry().m_tMutex);
        tObjects = registry().m_tObjects;
    }
    LoadResult tResult;
    for (const ConfigBase* pObject : tObjects) {
        if (pObject->load(rReader)) {
            ++tResult.nLoaded;
        } else {
            ++tResult.nRefused;
            tResult.tRefused.push_back(getOwnerType(*pObject));
        }
    }
    return tResult;
}

void ConfigBase::reportException(const Exception& rException) const noexcept {
    try {
        report(rException.getMessageText());
    } catch (const std::exception&) {
        // No memory for the text; the exception itself goes on to whoever started the load.
    }
}

void ConfigBase::reportException(const std::exception& rException) const noexcept {
    try {
        report(fromUtf8(rException.what()));
    } catch (const std::exception&) {
        // As above.
    }
}
