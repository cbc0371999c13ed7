#include "htmlescape.h"

namespace sample {

namespace {

/// What stands for a character that has a meaning in markup; nothing for any other.
std::wstring_view getEntity(wchar_t c) noexcept {
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
            return {};
    }
}

/// The picture of a control character but for tab and line ends; NUL for any other character.
wchar_t getPicture(wchar_t c) noexcept {
    constexpr wchar_t knPictures = 0x2400, knPictureOfDelete = 0x2421;
    if (c == 0x7F) return knPictureOfDelete;
    const bool bControl = c >= 0 && c < 0x20 && c != L'\t' && c != L'\n' && c != L'\r';
    return bControl ? static_cast<wchar_t>(knPictures + c) : L'\0';
}

}  // namespace

void addEscaped(ZQHttpStream& rStream, std::wstring_view sText) {
    std::size_t nDone = 0;
    for (std::size_t n = 0; n < sText.size(); ++n) {
        const std::wstring_view sEntity = getEntity(sText[n]);
        const wchar_t cPicture = getPicture(sText[n]);
        if (sEntity.empty() && cPicture == L'\0') continue;
        rStream.addText(sText.substr(nDone, n - nDone));
        rStream.addText(sEntity.empty() ? std::wstring_view(&cPicture, 1) : sEntity);
        nDone = n + 1;
    }
    rStream.addText(sText.substr(nDone));
}

}  // namespace sample
