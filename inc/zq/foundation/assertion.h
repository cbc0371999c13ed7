#pragma once

#include "zq/foundation/zqexport.h"

namespace debug_tools {

/// Reports broken contracts. A report never stops the process: the caller continues as its documentation
/// says.
class ZQ_EXPORT Assertion {
public:
    /// The type that every assertion of this system has.
    static constexpr int kAssert = 1;

    /// Receives every report; called on the thread that noticed; must not throw.
    using Reporter = void (*)(int nType, const wchar_t* pExpression, const wchar_t* pFile,
                              int nLine) noexcept;

    /// Reports a failed assertion and returns. The texts need not outlive the call.
    static void handleFailure(int nType, const wchar_t* pExpression, const wchar_t* pFile,
                              int nLine) noexcept;
    /// Sets the reporter (the logger does it when it is loaded) and returns the one before. Without any,
    /// reports go to standard error.
    static Reporter setReporter(Reporter pReporter) noexcept;
};

}  // namespace debug_tools
