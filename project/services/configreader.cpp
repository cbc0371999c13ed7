#include "zq/services/configreader.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>

#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

#include "zq/foundation/utf8text.h"

struct ConfigReaderInstance::Values {
    std::string m_sFileName;
    toml::table m_tRoot;
};

namespace {

constexpr char s_ksWriteBoolean[] = "write true or false";
constexpr char s_ksWriteString[] = "write a string";
constexpr char s_ksWriteStrings[] = "write an array of strings";
constexpr char s_ksWriteTable[] = "make it a table";

/// Whoever loads the configuration reports the exception, so it is not logged here as well.
[[noreturn]] void throwConfigError(const std::string& sWhat) {
    ZQTHROW_prethrowProcessException(ConfigError(fromUtf8(sWhat)), false, ZQ_WFILE, __LINE__);
}

[[noreturn]] void throwUnreadable(const std::string& sPath, int nErrno) {
    throwConfigError(sPath + ": the file cannot be read: " + std::generic_category().message(nErrno) +
                     "; name one that exists and may be read");
}

std::string readFile(const std::string& sPath) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pFile(std::fopen(sPath.c_str(), "rbe"),
                                                                &std::fclose);
    if (!pFile) throwUnreadable(sPath, errno);
    std::string sText;
    char tPiece[8192];
    while (const std::size_t nRead = std::fread(tPiece, 1, sizeof tPiece, pFile.get()))
        sText.append(tPiece, nRead);
    if (std::ferror(pFile.get())) throwUnreadable(sPath, errno);
    return sText;
}

const char* describeType(const toml::node& rNode) {
    switch (rNode.type()) {
        case toml::node_type::string:
            return "a string";
        case toml::node_type::integer:
            return "a whole number";
        case toml::node_type::floating_point:
            return "a floating-point number";
        case toml::node_type::boolean:
            return "a boolean";
        case toml::node_type::array:
            return "an array";
        case toml::node_type::table:
            return "a table";
        default:
            return "a date or time";
    }
}

/// One key in one file: finds its value, and complains about it.
class Lookup {
public:
    /// rValues: a ConfigReaderInstance's, which outlive this object.
    template <class ValuesT>
    Lookup(const ValuesT& rValues, const PathFilter& rPath)
        : m_sFile(rValues.m_sFileName),
          m_rRoot(rValues.m_tRoot),
          m_sKey(toUtf8(rPath.getKey())) {}

    /// Null when the key is absent; an error when the path leads through something that is no table.
    const toml::node* find() const {
        const toml::table* pTable = &m_rRoot;
        for (std::size_t nStart = 0;;) {
            const std::size_t nSlash = m_sKey.find('/', nStart);
            const toml::node* const pNode =
                pTable->get(std::string_view(m_sKey).substr(nStart, nSlash - nStart));
            if (!pNode || nSlash == std::string::npos) return pNode;
            pTable = pNode->as_table();
            if (!pTable) throwMismatch(*pNode, m_sKey.substr(0, nSlash), s_ksWriteTable);
            nStart = nSlash + 1;
        }
    }
    /// The value as the parser's T, or null when the key is absent; pExpected says what to write instead of
    /// anything else.
    template <class T>
    const T* get(const char* pExpected) const {
        const toml::node* const pNode = find();
        if (pNode && !pNode->as<T>()) throwMismatch(*pNode, m_sKey, pExpected);
        return pNode ? pNode->as<T>() : nullptr;
    }
    [[noreturn]] void throwMismatch(const toml::node& rNode, const std::string& sKey,
                                    const char* pExpected) const {
        fail(&rNode, sKey, std::string("is ") + describeType(rNode) + "; " + pExpected);
    }
    /// pNode: where the value stands, or null when it is absent.
    [[noreturn]] void fail(const toml::node* pNode, const std::string& sKey, const std::string& sWhat) const {
        throwConfigError(place(pNode) + ": the value of \"" + sKey + "\" " + sWhat);
    }
    [[noreturn]] void failUnknown(const std::string& sRemedy) const {
        throwConfigError(place(find()) + ": there is no key " + m_sKey + sRemedy);
    }
    std::string place(const toml::node* pNode) const {
        return pNode ? m_sFile + ":" + std::to_string(pNode->source().begin.line) : m_sFile;
    }
    const std::string& getKey() const noexcept { return m_sKey; }
    const toml::table& getRoot() const noexcept { return m_rRoot; }

private:
    const std::string& m_sFile;
    const toml::table& m_rRoot;
    const std::string m_sKey;
};

struct GlobalInstance {
    std::mutex m_tMutex;
    Handle<const ConfigReaderInstance> m_hInstance;
};

/// Never destroyed: static objects of other libraries may read configuration while the process ends.
GlobalInstance& globalInstance() {
    static auto* const s_pGlobal = new GlobalInstance;
    return *s_pGlobal;
}

}  // namespace

// The text is an insert, because percent signs in it mean nothing.
ConfigError::ConfigError(const ZQWString& sWhat) : ClonedException(GDString(L"%1")) {
    setMsgInsert(1, GDString(sWhat));
}

ConfigReaderInstance::ConfigReaderInstance(std::unique_ptr<const Values> pValues) noexcept
    : m_pValues(std::move(pValues)) {}

ConfigReaderInstance::~ConfigReaderInstance() = default;

Handle<const ConfigReaderInstance> ConfigReaderInstance::fromFile(const std::string& sPath) {
    return fromText(readFile(sPath), sPath);
}

Handle<const ConfigReaderInstance> ConfigReaderInstance::fromText(std::string_view sToml,
                                                                  const std::string& sName) {
    try {
        std::unique_ptr<const Values> pValues(new Values{sName, toml::parse(sToml, sName)});
        return Handle<const ConfigReaderInstance>(new ConfigReaderInstance(std::move(pValues)));
    } catch (const toml::parse_error& e) {
        const toml::source_position tPlace = e.source().begin;
        throwConfigError(sName + ":" + std::to_string(tPlace.line) + ":" + std::to_string(tPlace.column) +
                         ": " + std::string(e.description()) + "; write TOML, version 1.0");
    }
}

const std::string& ConfigReaderInstance::getFileName() const noexcept {
    return m_pValues->m_sFileName;
}

Handle<const ConfigReaderInstance> ConfigReader::getGlobalInstance() {
    const std::lock_guard tLock(globalInstance().m_tMutex);
    return globalInstance().m_hInstance;
}

void ConfigReader::setGlobalInstance(const Handle<const ConfigReaderInstance>& hInstance) {
    Handle<const ConfigReaderInstance> hPrevious = hInstance;  // let go of outside the lock
    const std::lock_guard tLock(globalInstance().m_tMutex);
    globalInstance().m_hInstance.swap(hPrevious);
}

unsigned int ConfigReader::getConfigValue(const PathFilter& rPath, unsigned int nDefault, unsigned int nLeast,
                                          unsigned int nMost) const {
    const Lookup tLookup(*m_hInstance->m_pValues, rPath);
    const std::string sWrite =
        "write a whole number from " + std::to_string(nLeast) + " to " + std::to_string(nMost);
    const auto* const pValue = tLookup.get<toml::value<std::int64_t>>(sWrite.c_str());
    if (!pValue) return nDefault;
    const std::int64_t nValue = pValue->get();
    if (nValue < nLeast || nValue > nMost)
        tLookup.fail(pValue, tLookup.getKey(), "is " + std::to_string(nValue) + "; " + sWrite);
    return static_cast<unsigned int>(nValue);
}

bool ConfigReader::getConfigValue(const PathFilter& rPath, bool bDefault) const {
    const auto* const pValue =
        Lookup(*m_hInstance->m_pValues, rPath).get<toml::value<bool>>(s_ksWriteBoolean);
    return pValue ? pValue->get() : bDefault;
}

ZQWString ConfigReader::getConfigValue(const PathFilter& rPath, const ZQWString& sDefault) const {
    const auto* const pValue =
        Lookup(*m_hInstance->m_pValues, rPath).get<toml::value<std::string>>(s_ksWriteString);
    return pValue ? fromUtf8(pValue->get()) : sDefault;
}

tl::vector<ZQWString> ConfigReader::getConfigValue(const PathFilter& rPath,
                                                   const tl::vector<ZQWString>& rDefault) const {
    const Lookup tLookup(*m_hInstance->m_pValues, rPath);
    const toml::array* const pArray = tLookup.get<toml::array>(s_ksWriteStrings);
    if (!pArray) return rDefault;
    tl::vector<ZQWString> tTexts;
    for (const toml::node& rNode : *pArray) {
        const auto* const pText = rNode.as_string();
        if (!pText)
            tLookup.fail(&rNode, tLookup.getKey(),
                         std::string("holds ") + describeType(rNode) + "; " + s_ksWriteStrings);
        tTexts.push_back(fromUtf8(pText->get()));
    }
    return tTexts;
}

tl::vector<ZQWString> ConfigReader::getNames(const PathFilter& rPath) const {
    const Lookup tLookup(*m_hInstance->m_pValues, rPath);
    const toml::table* const pTable =
        tLookup.getKey().empty() ? &tLookup.getRoot() : tLookup.get<toml::table>(s_ksWriteTable);
    tl::vector<ZQWString> tNames;
    if (!pTable) return tNames;
    for (const auto& [rKey, rNode] : *pTable)
        tNames.push_back(fromUtf8(rKey.str()));
    return tNames;
}

std::string ConfigReader::getPlace(const PathFilter& rPath) const {
    const Lookup tLookup(*m_hInstance->m_pValues, rPath);
    return tLookup.place(tLookup.find());
}

void ConfigReader::throwBadValue(const PathFilter& rPath, const ZQWString& sWhat) const {
    const Lookup tLookup(*m_hInstance->m_pValues, rPath);
    tLookup.fail(tLookup.find(), tLookup.getKey(), "cannot be used: " + toUtf8(sWhat));
}

void ConfigReader::throwUnknownName(const PathFilter& rPath, const ZQWString& sRemedy) const {
    Lookup(*m_hInstance->m_pValues, rPath).failUnknown(toUtf8(sRemedy));
}
