#pragma once

#include <span>
#include <string>
#include <string_view>

namespace webcontainer {

/// The name that somebody probably meant who wrote sName; empty when none is near. Case does not count, and a
/// third of the characters may be wrong, missing, too many or swapped.
std::string_view findNearest(std::string_view sName, std::span<const std::string> tKnown);

/// "; did you mean X?", or, when nothing is near, "; known are A, B and C".
std::string suggest(std::string_view sName, std::span<const std::string> tKnown);

}  // namespace webcontainer
