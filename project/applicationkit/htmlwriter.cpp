#include "zq/applicationkit/htmlwriter.h"

#include <iterator>

#include "escaping.h"
#include "zq/applicationkit/escape.h"
#include "zq/foundation/nocasecompareless.h"

namespace kit {

namespace {

/// A URL whose scheme runs nothing, or that has none (RFC 3986 section 4.2). Browsers skip control characters
/// and white space in front of a scheme and line ends within it, so that one which has any is none of these.
std::wstring_view withoutScript(std::wstring_view sUrl) noexcept {
    const std::size_t nEnd = sUrl.find_first_of(L":/?#");
    if (nEnd == sUrl.npos || sUrl[nEnd] != L':') return sUrl;
    for (const std::wstring_view sScheme : {L"http", L"https", L"mailto"})
        if (equalNoCase(sUrl.substr(0, nEnd), sScheme)) return sUrl;
    return L"about:invalid";
}

}  // namespace

HtmlWriter& HtmlWriter::text(std::wstring_view sText) {
    const wchar_t* pDone = sText.data();
    const wchar_t* const pEnd = pDone + sText.size();
    for (const wchar_t* p = pDone; p != pEnd; ++p) {
        if (!needsHtmlEscape(*p)) continue;
        wchar_t cPicture = 0;
        if (p != pDone) m_rStream.addChars(pDone, static_cast<std::size_t>(p - pDone));
        m_rStream.addText(getHtmlEscape(*p, cPicture));
        pDone = p + 1;
    }
    if (pEnd != pDone) m_rStream.addChars(pDone, static_cast<std::size_t>(pEnd - pDone));
    return *this;
}

void HtmlWriter::writeAll(std::wstring_view sTemplate, const detail::Placeholder* pPlaces,
                          const Value* pValues, std::size_t nValues) {
    std::size_t nDone = 0;
    for (std::size_t n = 0; n < nValues; ++n) {
        m_rStream.addText(sTemplate.substr(nDone, pPlaces[n].nAt - nDone));
        nDone = pPlaces[n].nAt + 2;
        const std::wstring_view sValue = pValues[n].text();
        if (pValues[n].isUnescaped())
            m_rStream.addText(sValue);
        else if (pPlaces[n].ePlace == detail::EPlace::kUrlPart)
            m_rStream.addText(escapeUrl(sValue));
        else
            text(pPlaces[n].ePlace == detail::EPlace::kUrl ? withoutScript(sValue) : sValue);
    }
    m_rStream.addText(sTemplate.substr(nDone));
}

std::wstring_view HtmlWriter::Value::toDigits(bool bNegative, unsigned long long n) noexcept {
    wchar_t* const pEnd = std::end(m_tDigits);
    wchar_t* p = pEnd;
    do {
        *--p = static_cast<wchar_t>(L'0' + n % 10);
        n /= 10;
    } while (n != 0);
    if (bNegative) *--p = L'-';
    return {p, static_cast<std::size_t>(pEnd - p)};
}

}  // namespace kit
