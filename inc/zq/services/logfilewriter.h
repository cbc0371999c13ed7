#pragma once

#include <memory>
#include <string>

#include "zq/services/configreader.h"
#include "zq/services/logger.h"

/// Where a log goes and how it looks.
struct ZQ_EXPORT LogFileSettings {
    enum class EFormat { kText, kJson };
    static constexpr unsigned int s_knMostFiles = 200000;

    std::string sPath;  ///< a file, appended to; empty: standard error
    EFormat eFormat = EFormat::kText;
    std::size_t nMaxBytes = 0;  ///< a file is rotated when it would grow beyond this; 0: never
    std::size_t nMaxFiles = 5;  ///< rotated files that are kept, at most s_knMostFiles; 0: none
};

/// Writes entries as lines: time (UTC, milliseconds), severity, source, thread, text, place. No entry can
/// forge a line: control characters and line ends in texts are escaped. Thread-safe.
class ZQ_EXPORT LogFileWriter final : public LogWriter {
public:
    /// Throws ConfigError, naming the path, when the file cannot be opened.
    explicit LogFileWriter(const LogFileSettings& rSettings);
    ~LogFileWriter() override;

    void write(const LogEntry& rEntry) noexcept override;
    /// Closes the file and opens it anew under its name, after an outside tool has moved it away. Keeps the
    /// old one when that fails, and says so on it.
    void reopen() noexcept;

private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};
