#pragma once

#include <string_view>

namespace kit {

/// Whether a character has a meaning in markup, or may not stand in it.
constexpr bool needsHtmlEscape(wchar_t c) noexcept {
    if (c > 0x3E) return c == 0x7F;
    if (c < 0x20) return c >= 0 && c != L'\t' && c != L'\n' && c != L'\r';
    return c == L'&' || c == L'<' || c == L'>' || c == L'"' || c == L'\'';
}

/// What stands for such a character: an entity, or the picture of a control character, for which rcPicture
/// is the room.
constexpr std::wstring_view getHtmlEscape(wchar_t c, wchar_t& rcPicture) noexcept {
    constexpr wchar_t knPictures = 0x2400, knPictureOfDelete = 0x2421;
    switch (c) {
        case L'&':
            return L"&amp;";
        case L'<':
            return L"&lt;";
        case L'>':
            return L"&gt;";
        case L'"':
            return L"&quot;";
        case L'\'':
            return L"&#39;";
        default:
            rcPicture = c == 0x7F ? knPictureOfDelete : static_cast<wchar_t>(knPictures + c);
            return {&rcPicture, 1};
    }
}

}  // namespace kit
