#include "support/recorders.h"

#include <ostream>
#include <utility>

#include "zq/foundation/encodingutf8.h"

namespace {
std::vector<std::string> s_tAssertions;

void recordAssertion(int, const wchar_t* pExpression, const wchar_t*, int) noexcept {
    s_tAssertions.push_back(toUtf8(pExpression));
}
}  // namespace

std::string toUtf8(std::wstring_view s) {
    NarrowStringBuffer tBytes;
    W2NEncodingUTF8().encode(tBytes, s);
    return std::string(tBytes.view());
}

void PrintTo(const ZQWString& s, std::ostream* pStream) {
    *pStream << '"' << toUtf8(s) << '"';
}

LogRecorder::LogRecorder(ELogSeverity eLeast) {
    LogRegistry::addWriter(*this, eLeast);
}

LogRecorder::~LogRecorder() {
    LogRegistry::removeWriter(*this);
}

void LogRecorder::write(const LogEntry& rEntry) noexcept {
    const std::lock_guard tLock(m_tMutex);
    m_tEntries.push_back(std::string(getLogSeverityName(rEntry.eSeverity)) + " " + rEntry.pSource + ": " +
                         toUtf8(rEntry.sText));
}

std::vector<std::string> LogRecorder::takeEntries() {
    const std::lock_guard tLock(m_tMutex);
    return std::exchange(m_tEntries, {});
}

AssertionRecorder::AssertionRecorder() : m_pBefore(debug_tools::Assertion::setReporter(&recordAssertion)) {
    s_tAssertions.clear();
}

AssertionRecorder::~AssertionRecorder() {
    debug_tools::Assertion::setReporter(m_pBefore);
}

std::vector<std::string> AssertionRecorder::takeTexts() {
    return std::exchange(s_tAssertions, {});
}
