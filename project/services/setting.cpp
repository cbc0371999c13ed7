#include "zq/services/setting.h"

#include <algorithm>
#include <cwchar>
#include <mutex>
#include <string_view>

#include "zq/foundation/utf8text.h"

namespace {

struct Registry {
    std::mutex m_tMutex;
    std::vector<const Setting*> m_tSettings;
};

/// Never destroyed: static settings of other libraries go when the process ends.
Registry& registry() {
    static auto* const s_pRegistry = new Registry;
    return *s_pRegistry;
}

}  // namespace

std::vector<std::string> SettingInfo::getChoices() const {
    std::vector<std::string> tChoices;
    const std::string sAll = toUtf8(pChoices);
    for (std::size_t nFrom = 0; nFrom < sAll.size();) {
        const std::size_t nEnd = std::min(sAll.find('|', nFrom), sAll.size());
        tChoices.push_back(sAll.substr(nFrom, nEnd - nFrom));
        nFrom = nEnd + 1;
    }
    return tChoices;
}

std::size_t SettingInfo::readChoice(const ConfigReader& rReader) const {
    const std::string sText = toUtf8(readText(rReader));
    const std::vector<std::string> tChoices = getChoices();
    const auto it = std::find(tChoices.begin(), tChoices.end(), sText);
    if (it != tChoices.end()) return static_cast<std::size_t>(it - tChoices.begin());
    std::string sRemedy = "it is none of the texts that mean something; write ";
    for (const std::string& s : tChoices)
        sRemedy.append(&s == &tChoices.front() ? "" : " or ").append(s);
    rReader.throwBadValue(pKey, fromUtf8(sRemedy));
}

std::string SettingInfo::getName() const {
    return toUtf8(pKey);
}

ZQWString SettingInfo::getTable() const {
    const std::wstring_view sKey(pKey);
    return ZQWString(sKey.substr(0, sKey.rfind(L'/')));
}

ZQWString SettingInfo::getKey(const ZQWString& sName) const {
    StringBuffer tKey;
    tKey.append(getTable());
    tKey.append(L'/');
    tKey.append(sName);
    return tKey.toString();
}

Setting::Setting(const SettingInfo& rInfo) : SettingInfo(rInfo) {
    const std::lock_guard tLock(registry().m_tMutex);
    registry().m_tSettings.push_back(this);
}

Setting::~Setting() {
    const std::lock_guard tLock(registry().m_tMutex);
    std::erase(registry().m_tSettings, this);
}

std::vector<SettingInfo> Setting::getAll() {
    std::vector<SettingInfo> tAll;
    {
        const std::lock_guard tLock(registry().m_tMutex);
        for (const Setting* const p : registry().m_tSettings)
            tAll.push_back(*p);
    }
    std::sort(tAll.begin(), tAll.end(),
              [](const SettingInfo& a, const SettingInfo& b) { return std::wcscmp(a.pKey, b.pKey) < 0; });
    return tAll;
}
