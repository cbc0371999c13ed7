#pragma once

#include <concepts>
#include <limits>
#include <string>
#include <string_view>

#include "zq/foundation/zqexport.h"

namespace kit {

/// The whole number that a text is, in decimal: digits, perhaps after a minus sign, and nothing else. False,
/// and rnValue untouched, for any other text and for numbers out of that range.
///
///     long long nAge = 0;
///     if (!kit::parseNumber(sAge, 0, 150, nAge))
///         sProblem = L"Your age should be " + kit::describeNumber(0, 150) + L".";
ZQ_EXPORT bool parseNumber(std::wstring_view sText, long long nLeast, long long nMost, long long& rnValue);

/// "a whole number from 1 to 9", or "of at least 1" and the like where a bound is an int's, or beyond.
ZQ_EXPORT std::wstring describeNumber(long long nLeast, long long nMost);

/// The types that such a number can have.
template <class T>
concept WholeNumber =
    std::integral<T> && !std::same_as<T, bool> && (sizeof(T) < sizeof(long long) || std::signed_integral<T>);

}  // namespace kit
