#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <vector>

#include "zq/foundation/assertion.h"
#include "zq/foundation/exception.h"
#include "zq/foundation/zqexport.h"
#include "zq/services/configreader.h"

/// Whether a configuration object is read for the first time or again.
enum EConfig {
    kConfigInitialize = 0,
    kConfigReload = 1,
};

/// Whether a configuration object takes new values while the process runs.
enum ConfigReloadCaps {
    kConfigSupportReload = 0,
    kConfigDontSupportReload = 1,
};

/// What the configuration machinery knows of every configuration object: it lists itself on construction and
/// withdraws on destruction.
class ZQ_EXPORT ConfigBase {
public:
    ConfigBase(const ConfigBase&) = delete;
    ConfigBase& operator=(const ConfigBase&) = delete;
    virtual ~ConfigBase();

    /// Reads the object's values. False: it refuses to be read again. What it throws it has reported.
    virtual bool load(const ConfigReader& rReader) const = 0;

    /// What a round of loadAll() came to.
    struct LoadResult {
        std::size_t nLoaded = 0;
        std::size_t nRefused = 0;
        std::vector<std::string> tRefused;  ///< the owners' types, in the same order
    };
    /// Offers the configuration to every object, in the order of their construction: the first time after the
    /// process-wide reader exists, and on every reload. The first exception ends the round and leaves. Not to
    /// be called from two threads at once, nor while objects come and go.
    static LoadResult loadAll(const ConfigReader& rReader);

protected:
    enum EState { kCreated, kInitialized };

    explicit ConfigBase(ConfigReloadCaps eCaps);
    /// Report a failed load of this object to the log.
    void reportException(const Exception& rException) const noexcept;
    void reportException(const std::exception& rException) const noexcept;

    const ConfigReloadCaps m_eCaps;
    mutable EState m_eState = kCreated;
};

/// Ties a T with values from the configuration to the configuration machinery. T has
/// `bool loadConfig(const ConfigReader&, EConfig)`, and holds the Config as a member that it gives itself to
/// with init().
template <class T>
class ZQ_EXPORT Config : public ConfigBase {
public:
    explicit Config(ConfigReloadCaps eCaps) : ConfigBase(eCaps) {}

    /// Sets the owner, and reads its values at once when the process-wide reader exists. That first reading
    /// does not count: the machinery's first load() is still an initialisation. Lets exceptions through.
    void init(T* pT) {
        m_pT = pT;
        const auto hInstance = ConfigReader::getGlobalInstance();
        if (!hInstance.isNull()) m_pT->loadConfig(ConfigReader(hInstance), kConfigInitialize);
    }

    bool load(const ConfigReader& rReader) const override {
        if (!m_pT)
            debug_tools::Assertion::handleFailure(debug_tools::Assertion::kAssert, L"m_pT", ZQ_WFILE,
                                                  __LINE__);
        try {
            return loadByState(rReader);
        } catch (const Exception& e) {
            reportException(e);
            throw;
        } catch (const std::exception& e) {
            reportException(e);
            throw;
        }
    }

private:
    /// A null owner has been reported by now.
    // NOLINTBEGIN(clang-analyzer-core.CallAndMessage)
    bool loadByState(const ConfigReader& rReader) const {
        if (m_eState == kInitialized)
            return m_eCaps == kConfigSupportReload && m_pT->loadConfig(rReader, kConfigReload);
        const bool bResult = m_pT->loadConfig(rReader, kConfigInitialize);
        m_eState = kInitialized;
        return bResult;
    }
    // NOLINTEND(clang-analyzer-core.CallAndMessage)

    T* m_pT = nullptr;
};
