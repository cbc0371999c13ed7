#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/// The calls that test doubles saw, one text each, in order. One log may serve all doubles of a request.
struct CallLog : std::vector<std::string> {
    /// The call of this index throws pFailure as soon as it is logged.
    std::size_t nThrowing = static_cast<std::size_t>(-1);
    std::exception_ptr pFailure;
};

/// Adds a call to a log, texts and numbers in a row; without a log it does nothing, and allocates nothing.
template <class... Pieces>
void logCall(CallLog* pLog, const Pieces&... rPieces) {
    if (!pLog) return;
    const auto fText = [](const auto& r) {
        if constexpr (std::is_arithmetic_v<std::remove_cvref_t<decltype(r)>>)
            return std::to_string(r);
        else
            return std::string_view(r);
    };
    std::string sCall;
    (sCall.append(fText(rPieces)), ...);
    pLog->push_back(std::move(sCall));
    if (pLog->size() - 1 == pLog->nThrowing) std::rethrow_exception(pLog->pFailure);
}
