#pragma once

#include <memory>
#include <string>

#include "zq/services/config.h"
#include "zq/services/logfilewriter.h"

namespace webcontainer {

/// The process's log, as the configuration wants it. A reload takes up the severities; the others need a
/// restart.
class LogSetup {
public:
    LogSetup() = default;
    ~LogSetup();
    LogSetup(const LogSetup&) = delete;
    LogSetup& operator=(const LogSetup&) = delete;

    /// Begins to write, as the process-wide configuration says, which must exist. Throws ConfigError.
    void start() { m_tConfig.init(this); }
    /// For the configuration machinery.
    bool loadConfig(const ConfigReader& rReader, EConfig eConfig);
    /// False: it goes to standard error.
    bool hasFile() const noexcept { return m_bFile; }
    /// Opens the file anew, after an outside tool has moved it away.
    void reopen() noexcept;

private:
    Config<LogSetup> m_tConfig{kConfigSupportReload};
    std::unique_ptr<LogFileWriter> m_pWriter;
    bool m_bFile = false;
};

/// The file that start() would open; empty: standard error.
std::string getLogFile(const ConfigReader& rReader);
/// Throws ConfigError as start() would, which it tries.
void checkLogSettings(const ConfigReader& rReader);

}  // namespace webcontainer
