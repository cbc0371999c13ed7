#include "zq/applicationkit/escape.h"

#include "escaping.h"
#include "zq/foundation/encodingurl.h"
#include "zq/foundation/utf8text.h"

namespace kit {

namespace {

constexpr std::wstring_view s_ksDigits = L"0123456789abcdef";

/// The parts of a text that need nothing, as they are, and what fEscape appends for the characters that do.
template <class NeedsT, class EscapeT>
std::wstring escape(std::wstring_view sText, NeedsT fNeeds, EscapeT fEscape) {
    std::wstring sResult;
    sResult.reserve(sText.size());
    for (const wchar_t c : sText) {
        if (fNeeds(c))
            fEscape(sResult, c);
        else
            sResult += c;
    }
    return sResult;
}

void appendHtml(std::wstring& rsResult, wchar_t c) {
    wchar_t cPicture = 0;
    rsResult += getHtmlEscape(c, cPicture);
}

int hexValue(wchar_t c) noexcept {
    if (c >= L'0' && c <= L'9') return c - L'0';
    const wchar_t cLower = c | 0x20;
    return cLower >= L'a' && cLower <= L'f' ? cLower - L'a' + 10 : -1;
}

}  // namespace

std::wstring escapeHtml(std::wstring_view sText) {
    return escape(sText, needsHtmlEscape, appendHtml);
}

std::wstring escapeAttribute(std::wstring_view sText) {
    constexpr std::wstring_view ksUnquoted = L" \t\r\n`=";
    return escape(
        sText, [=](wchar_t c) { return needsHtmlEscape(c) || ksUnquoted.find(c) != ksUnquoted.npos; },
        [](std::wstring& rsResult, wchar_t c) {
            if (needsHtmlEscape(c))
                appendHtml(rsResult, c);
            else
                rsResult += L"&#" + std::to_wstring(static_cast<int>(c)) + L';';
        });
}

std::wstring escapeUrl(std::wstring_view sText) {
    NarrowStringBuffer tEncoded;
    W2NEncodingURL().encode(tEncoded, sText);
    return {tEncoded.c_str(), tEncoded.c_str() + tEncoded.length()};
}

std::wstring escapeJs(std::wstring_view sText) {
    constexpr std::wstring_view ksSpecial = L"\"'\\`<>&/\x7F\x2028\x2029";
    return escape(
        sText, [=](wchar_t c) { return (c >= 0 && c < 0x20) || ksSpecial.find(c) != ksSpecial.npos; },
        [](std::wstring& rsResult, wchar_t c) {
            rsResult += L"\\u";
            for (int nShift = 12; nShift >= 0; nShift -= 4)
                rsResult += s_ksDigits[static_cast<std::size_t>(c >> nShift & 15)];
        });
}

bool decodeUrl(std::wstring_view sText, std::wstring& rsText) {
    std::string sBytes;
    for (std::size_t n = 0; n < sText.size(); ++n) {
        if (sText[n] != L'%') {
            sBytes += toUtf8(sText.substr(n, 1));
            continue;
        }
        if (sText.size() - n < 3) return false;
        const int nHigh = hexValue(sText[n + 1]), nLow = hexValue(sText[n + 2]);
        if (nHigh < 0 || nLow < 0 || nHigh + nLow == 0) return false;
        sBytes += static_cast<char>(nHigh << 4 | nLow);
        n += 2;
    }
    const ZQWString sDecoded = fromUtf8(sBytes);
    if (toUtf8(sDecoded) != sBytes) return false;  // what was no UTF-8 has been replaced
    rsText = sDecoded.view();
    return true;
}

}  // namespace kit
