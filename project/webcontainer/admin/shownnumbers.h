#pragma once

#include <cstdint>
#include <string>

namespace webcontainer {

/// Numbers as people read them, in every locale.

std::string showFixed(double n, int nDecimals);   ///< "12.50"
std::string showCount(std::uint64_t n);           ///< "1,234,567"
std::string showNumber(double n);                 ///< "0.5", "12.3", "1,234"
std::string showBytes(double nBytes);             ///< "512 B", "1.5 kB", "2.3 GB": powers of a thousand
std::string showMicroseconds(double nUs);         ///< "0.35 ms", "12.0 ms", "1.20 s"
std::string showSeconds(std::uint64_t nSeconds);  ///< "3 d 4:05:06", "0:00:12"

}  // namespace webcontainer
