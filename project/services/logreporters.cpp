#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "logline.h"
#include "reportlimiter.h"
#include "zq/foundation/assertion.h"
#include "zq/foundation/encodingutf8.h"
#include "zq/foundation/exception.h"
#include "zq/services/logger.h"

/// Brings what the foundation reports, exceptions and broken contracts, into the log.

namespace {

const LogSourceHandle s_lsExceptions("exceptions");
const LogSourceHandle s_lsAssertions("assertions");

void printToStandardError(const LogEntry& rEntry) {
    NarrowStringBuffer tLine;
    appendTextLine(tLine, rEntry);
    tLine.append('\n');
    (void)std::fwrite(tLine.data(), 1, tLine.length(), stderr);
}

/// Without any writer, before the log is set up for instance, entries go to standard error: nothing is lost.
void report(ELogSeverity eSeverity, const LogSourceHandle& hSource, std::wstring_view sText,
            const LogLocation& rLocation) {
    if (LogRegistry::hasWriters())
        TWLogger::getLogger().logMessage(eSeverity, hSource, GDStringRef(sText), rLocation);
    else
        printToStandardError({eSeverity, hSource.getSource()->getName(), sText, rLocation});
}

/// The name of an exception's class without its namespaces: "ClientDead".
std::string className(const Exception& rException) {
    int nStatus = 0;
    const std::unique_ptr<char, decltype(&std::free)> pName(
        abi::__cxa_demangle(typeid(rException).name(), nullptr, nullptr, &nStatus), &std::free);
    const std::string_view sName = nStatus == 0 ? pName.get() : typeid(rException).name();
    const std::size_t nScope = sName.rfind("::");
    return std::string(nScope == sName.npos ? sName : sName.substr(nScope + 2));
}

/// A warning: whoever catches the exception decides whether it was an error.
void reportException(const Exception& rException) noexcept {
    try {
        StringBuffer tText;
        N2WEncodingUTF8().encode(tText, className(rException));
        tText.append(std::wstring_view(L": "));
        tText.append(rException.getMessageText().view());
        report(kSevWarning, s_lsExceptions, tText.view(),
               {rException.getThrowFile(), rException.getThrowLine()});
    } catch (const std::exception&) {
        // No memory for the text; the exception itself goes its way.
    }
}

ReportLimiter::Answer askLimiter(const LogLocation& rLocation) {
    // Never destroyed: contracts can be broken until the process has ended.
    static ReportLimiter& s_rLimiter = *new ReportLimiter;
    return s_rLimiter.ask(rLocation.pFile, rLocation.nLine, std::chrono::steady_clock::now());
}

void logAssertion(const wchar_t* pExpression, const LogLocation& rLocation) {
    const ReportLimiter::Answer tAnswer = askLimiter(rLocation);
    StringBuffer tText;
    if (tAnswer.nLeftOut != 0) {
        appendDecimal(tText, tAnswer.nLeftOut);
        tText.append(std::wstring_view(L" failures of this assertion were left out"));
        report(kSevError, s_lsAssertions, tText.view(), rLocation);
        tText.clear();
    }
    if (!tAnswer.bWrite) return;
    tText.append(std::wstring_view(L"assertion failed: "));
    tText.append(std::wstring_view(pExpression));
    if (tAnswer.bLast) tText.append(std::wstring_view(L" (for a minute, further ones are only counted)"));
    report(kSevError, s_lsAssertions, tText.view(), rLocation);
}

void reportAssertion(int, const wchar_t* pExpression, const wchar_t* pFile, int nLine) noexcept {
    try {
        logAssertion(pExpression, {pFile, nLine});
    } catch (const std::exception&) {
        // As above.
    }
}

/// Takes the reports over while this library is being loaded.
const bool s_bInstalled = [] {
    Exception::setPrethrowReporter(&reportException);
    debug_tools::Assertion::setReporter(&reportAssertion);
    return true;
}();

}  // namespace
