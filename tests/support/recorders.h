#pragma once

#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "zq/foundation/assertion.h"
#include "zq/foundation/utf8text.h"
#include "zq/services/logger.h"

inline void PrintTo(const ZQWString& s, std::ostream* pStream) {
    *pStream << '"' << toUtf8(s) << '"';
}

/// Collects log entries as "severity source: text" while it lives.
class LogRecorder final : public LogWriter {
public:
    explicit LogRecorder(ELogSeverity eLeast) { LogRegistry::addWriter(*this, eLeast); }
    ~LogRecorder() override { LogRegistry::removeWriter(*this); }
    void write(const LogEntry& rEntry) noexcept override {
        const std::lock_guard tLock(m_tMutex);
        m_tEntries.push_back(std::string(getLogSeverityName(rEntry.eSeverity)) + " " + rEntry.pSource + ": " +
                             toUtf8(rEntry.sText));
    }
    std::vector<std::string> takeEntries() {
        const std::lock_guard tLock(m_tMutex);
        return std::exchange(m_tEntries, {});
    }

private:
    std::mutex m_tMutex;
    std::vector<std::string> m_tEntries;
};

/// Collects the texts of failed assertions while it lives; one at a time.
class AssertionRecorder {
public:
    AssertionRecorder() : m_pBefore(debug_tools::Assertion::setReporter(&record)) { s_tTexts.clear(); }
    ~AssertionRecorder() { debug_tools::Assertion::setReporter(m_pBefore); }
    AssertionRecorder(const AssertionRecorder&) = delete;
    AssertionRecorder& operator=(const AssertionRecorder&) = delete;
    std::vector<std::string> takeTexts() { return std::exchange(s_tTexts, {}); }

private:
    static void record(int, const wchar_t* pExpression, const wchar_t*, int) noexcept {
        s_tTexts.push_back(toUtf8(pExpression));
    }

    static inline std::vector<std::string> s_tTexts;
    debug_tools::Assertion::Reporter m_pBefore;
};
