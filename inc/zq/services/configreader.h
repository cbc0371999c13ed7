#pragma once

#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "zq/foundation/exception.h"
#include "zq/foundation/handle.h"
#include "zq/foundation/refcounted.h"
#include "zq/foundation/tl.h"
#include "zq/foundation/zqstring.h"

/// A configuration cannot be used: the message names the file, the place or key, and what is wrong.
class ZQ_EXPORT ConfigError : public ClonedException<ConfigError> {
public:
    explicit ConfigError(const ZQWString& sWhat);
};

/// The values of one configuration file (TOML 1.0), read once and immutable afterwards, so that any thread
/// may read it. A key is a path of names joined by slashes: "A/B/C" is the value C of the table [A.B].
class ZQ_EXPORT ConfigReaderInstance : public RefCounted {
public:
    /// Reads a file. Throws ConfigError when it cannot be read or is no TOML; the message names file and
    /// line.
    static Handle<const ConfigReaderInstance> fromFile(const std::string& sPath);
    /// Reads TOML from memory; sName stands for the file in messages.
    static Handle<const ConfigReaderInstance> fromText(std::string_view sToml, const std::string& sName);
    ~ConfigReaderInstance() override;

    const std::string& getFileName() const noexcept;

private:
    friend class ConfigReader;
    struct Values;
    explicit ConfigReaderInstance(std::unique_ptr<const Values> pValues) noexcept;

    std::unique_ptr<const Values> m_pValues;
};

/// Where a value stands: a slash-separated key.
class ZQ_EXPORT PathFilter {
public:
    PathFilter(const ZQWString& sKey) noexcept : m_sKey(sKey) {}
    PathFilter(const wchar_t* pKey) : m_sKey(pKey) {}
    const ZQWString& getKey() const noexcept { return m_sKey; }

private:
    ZQWString m_sKey;
};

/// Reads typed values from an instance. Cheap to make and copy.
class ZQ_EXPORT ConfigReader {
public:
    /// The process-wide instance, or null when there is none yet.
    static Handle<const ConfigReaderInstance> getGlobalInstance();
    /// Makes hInstance the process-wide one; null takes it away.
    static void setGlobalInstance(const Handle<const ConfigReaderInstance>& hInstance);

    /// Using a reader over a null handle raises InvalidHandleException.
    explicit ConfigReader(const Handle<const ConfigReaderInstance>& hInstance) noexcept
        : m_hInstance(hInstance) {}

    /// The value under a key, or the default when the key is absent. A value of another type, or a number
    /// below nLeast or above nMost, is a ConfigError that names key, file, line and what to write. Texts are
    /// taken as they stand, white space included.
    unsigned int getConfigValue(const PathFilter& rPath, unsigned int nDefault, unsigned int nLeast = 0,
                                unsigned int nMost = std::numeric_limits<unsigned int>::max()) const;
    bool getConfigValue(const PathFilter& rPath, bool bDefault) const;
    ZQWString getConfigValue(const PathFilter& rPath, const ZQWString& sDefault) const;
    ZQWString getConfigValue(const PathFilter& rPath, const wchar_t* pDefault) const {
        return getConfigValue(rPath, ZQWString(pDefault));
    }
    /// An array of texts; the default when the key is absent.
    tl::vector<ZQWString> getConfigValue(const PathFilter& rPath,
                                         const tl::vector<ZQWString>& rDefault) const;
    /// The names of the values and tables that stand directly under a key, in alphabetical order; none when
    /// the key is absent.
    tl::vector<ZQWString> getNames(const PathFilter& rPath) const;

    const std::string& getFileName() const { return m_hInstance->getFileName(); }
    /// Where a value stands, "file:line"; the file alone when the key is absent.
    std::string getPlace(const PathFilter& rPath) const;
    /// Throws a ConfigError about a value that has the right type but cannot be used; sWhat says why and what
    /// to write instead.
    [[noreturn]] void throwBadValue(const PathFilter& rPath, const ZQWString& sWhat) const;
    /// Throws a ConfigError about a name that means nothing; sRemedy goes on behind it.
    [[noreturn]] void throwUnknownName(const PathFilter& rPath, const ZQWString& sRemedy) const;

private:
    Handle<const ConfigReaderInstance> m_hInstance;
};

/// Reads the value that stands where a filter says as a T, or the default when it is absent; errors as above.
///
///     ConfigValueExtractor<PathFilter, unsigned int>::extract(rReader, L"DefaultTimeoutMinutes", 1440)
template <class FilterT, class T>
struct ConfigValueExtractor {
    static T extract(const ConfigReader& rReader, const FilterT& rFilter, T tDefault) {
        return rReader.getConfigValue(rFilter, tDefault);
    }
};
