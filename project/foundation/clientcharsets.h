#pragma once

#include <string_view>

/// The name by which CharacterSet::find() knows the encoding that browsers mean by a label in small letters;
/// empty when they know none by it, or none that a form can be in.
std::string_view findClientCharset(std::string_view sLabel) noexcept;
