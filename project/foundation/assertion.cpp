#include "zq/foundation/assertion.h"

#include <atomic>
#include <cstdio>

namespace debug_tools {

namespace {

void printToStandardError(int, const wchar_t* pExpression, const wchar_t* pFile, int nLine) noexcept {
    (void)std::fprintf(stderr, "assertion failed: %ls (%ls:%d)\n", pExpression, pFile, nLine);
}

std::atomic<Assertion::Reporter> s_pReporter{&printToStandardError};

}  // namespace

void Assertion::handleFailure(int nType, const wchar_t* pExpression, const wchar_t* pFile,
                              int nLine) noexcept {
    s_pReporter.load(std::memory_order_acquire)(nType, pExpression, pFile, nLine);
}

Assertion::Reporter Assertion::setReporter(Reporter pReporter) noexcept {
    return s_pReporter.exchange(pReporter ? pReporter : &printToStandardError, std::memory_order_acq_rel);
}

}  // namespace debug_tools
