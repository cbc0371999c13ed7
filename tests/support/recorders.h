#pragma once

#include <iosfwd>
#include <mutex>
#include <string>
#include <vector>

#include "zq/foundation/assertion.h"
#include "zq/foundation/zqstring.h"
#include "zq/services/logger.h"

/// Wide test text as UTF-8, for readable failures.
std::string toUtf8(std::wstring_view s);
void PrintTo(const ZQWString& s, std::ostream* pStream);

/// Collects log entries as "severity source: text" while it lives.
class LogRecorder final : public LogWriter {
public:
    explicit LogRecorder(ELogSeverity eLeast);
    ~LogRecorder() override;
    void write(const LogEntry& rEntry) noexcept override;
    std::vector<std::string> takeEntries();

private:
    std::mutex m_tMutex;
    std::vector<std::string> m_tEntries;
};

/// Collects the texts of failed assertions while it lives; one at a time.
class AssertionRecorder {
public:
    AssertionRecorder();
    ~AssertionRecorder();
    AssertionRecorder(const AssertionRecorder&) = delete;
    AssertionRecorder& operator=(const AssertionRecorder&) = delete;
    std::vector<std::string> takeTexts();

private:
    debug_tools::Assertion::Reporter m_pBefore;
};
