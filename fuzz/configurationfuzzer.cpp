// Whatever stands in a configuration, it is read or refused with an error that names the place; each value
// has one type; and the front end's settings come of it or an error does.

#include <exception>

#include "base/starterror.h"
#include "fuzzinput.h"
#include "process/containersettings.h"
#include "process/settings.h"
#include "zq/foundation/utf8text.h"

using fuzz::require;

namespace {

/// Runs a step of reading; false: it has refused, and says where.
template <class F>
bool isRead(F fRead) {
    try {
        fRead();
        return true;
    } catch (const ConfigError& e) {
        const std::string sMessage = toUtf8(e.getMessageText());
        require(sMessage.starts_with("in:"), "the file's name and a place");
        require(sMessage.size() > 12, "what is wrong");
        return false;
    }
}

/// Returns how many values there are.
std::size_t walk(const ConfigReader& rReader, const std::wstring& sKey) {
    std::size_t nValues = 0;
    for (const ZQWString& sName : rReader.getNames(ZQWString(sKey))) {
        // An empty key is the root, and a slash goes a table further down.
        if (sName.empty() || sName.view().find(L'/') != std::wstring_view::npos) continue;
        const std::wstring sNext = sKey + (sKey.empty() ? L"" : L"/") + std::wstring(sName.view());
        const PathFilter tPath{ZQWString(sNext)};
        const int nTypes = isRead([&] { (void)rReader.getConfigValue(tPath, 7U); }) +
                           isRead([&] { (void)rReader.getConfigValue(tPath, true); }) +
                           isRead([&] { (void)rReader.getConfigValue(tPath, L""); }) +
                           isRead([&] { (void)rReader.getConfigValue(tPath, tl::vector<ZQWString>()); });
        require(nTypes <= 1, "one type at the most");
        require(rReader.getPlace(tPath).starts_with("in:"), "a place");
        ++nValues;
        (void)isRead([&] { nValues += walk(rReader, sNext); });
    }
    return nValues;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    static const auto s_pBefore = Exception::setPrethrowReporter(nullptr);
    (void)s_pBefore;
    const std::string_view sText(reinterpret_cast<const char*>(pData), nSize);
    (void)isRead([&] {
        const ConfigReader tReader(ConfigReaderInstance::fromText(sText, "in"));
        require(walk(tReader, L"") <= nSize, "no more values than bytes");
        (void)isRead([&] { webcontainer::checkSettingNames(tReader); });
        (void)isRead([&] { webcontainer::checkSettingValues(tReader); });
        (void)isRead([&] {
            try {
                (void)webcontainer::readContainerOptions(tReader, "");
            } catch (const webcontainer::StartError&) {
                // What stands there is no address, or no folder of error pages.
            }
        });
    });
    return 0;
}
