#pragma once

#include <limits>
#include <string>
#include <vector>

#include "zq/services/configreader.h"

/// What there is to say of one key of the configuration, once for the reading, the checks and the documents.
/// All texts are constants, in Markdown where people read them. The functions below make them.
struct ZQ_EXPORT SettingInfo {
    static constexpr unsigned int s_knMost = std::numeric_limits<unsigned int>::max();

    const wchar_t* pKey;  ///< "Table/Key"; "Table/*": any name in the table and in tables within it
    const char* pMeaning;
    const char* pUnit;  ///< of a number, else null
    unsigned int nDefault, nLeast, nMost;
    const char* pOtherwise;   ///< what happens beyond the number, or to a text that is none of the choices
    const wchar_t* pDefault;  ///< of a text; null: its reader's to find
    const wchar_t* pChoices;  ///< the texts that mean something, as "this|that"; empty: any

    bool isNumber() const noexcept { return pUnit != nullptr; }
    /// The value under the key or the default; errors as ConfigReader has them.
    unsigned int readNumber(const ConfigReader& rReader) const {
        return rReader.getConfigValue(pKey, nDefault, nLeast, nMost);
    }
    ZQWString readText(const ConfigReader& rReader) const { return rReader.getConfigValue(pKey, pDefault); }
    /// Which of the choices the text is, counted from 0; throws ConfigError when it is none of them.
    std::size_t readChoice(const ConfigReader& rReader) const;
    std::vector<std::string> getChoices() const;
    /// The key as UTF-8, for messages.
    std::string getName() const;
    /// Of a key "Table/*": the table's own key, and the key of one name in it.
    ZQWString getTable() const;
    ZQWString getKey(const ZQWString& sName) const;
};

constexpr SettingInfo numberSetting(const wchar_t* pKey, const char* pUnit, unsigned int nDefault,
                                    unsigned int nLeast, unsigned int nMost, const char* pMeaning,
                                    const char* pBeyond = "") {
    return {pKey, pMeaning, pUnit, nDefault, nLeast, nMost, pBeyond, nullptr, L""};
}
constexpr SettingInfo textSetting(const wchar_t* pKey, const wchar_t* pDefault, const char* pMeaning,
                                  const wchar_t* pChoices = L"", const char* pOtherwise = "") {
    return {pKey, pMeaning, nullptr, 0, 0, 0, pOtherwise, pDefault, pChoices};
}
constexpr SettingInfo namesSetting(const wchar_t* pKey, const char* pMeaning) {
    return textSetting(pKey, nullptr, pMeaning);
}

/// A setting that the process knows: whoever reads a key defines it beside the reading, as a static object.
/// Names and ranges are checked, and the documents are made, from all that there are. Any thread.
class ZQ_EXPORT Setting : public SettingInfo {
public:
    explicit Setting(const SettingInfo& rInfo);
    ~Setting();
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;

    /// All settings of the libraries that are loaded, in the order of their keys.
    static std::vector<SettingInfo> getAll();
};
