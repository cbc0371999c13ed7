#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "zq/httpstream/httpdateutils.h"
#include "zq/httpstream/zqhttpstream.h"

namespace test {

/// What an application may call, as numbers, so that chance can write whole applications.
class StreamCall {
public:
    static constexpr unsigned knKinds = 20, knValues = 8;

    /// n: below knKinds * knValues.
    explicit StreamCall(unsigned n) noexcept : m_nKind(n % knKinds), m_nValue(n / knKinds % knValues) {}

    /// bWild: with values that no good application would have.
    template <class Stream>
    void apply(Stream& r, bool bWild) const {
        const auto fPick = [&](const auto& rValues) { return rValues[m_nValue % (bWild ? knValues : 4)]; };
        switch (m_nKind) {
            case 0:
                return r.Reset(static_cast<ZQHttpStream::EResetFlag>(fPick(s_tFlags)));
            case 1:
                return r.AddHeader(fPick(s_tNames), fPick(s_tHeaderValues));
            case 2:
                return r.setStatusCode(fPick(s_tStatuses));
            case 3:
                return r.setErrorStatusCode(fPick(s_tStatuses));
            case 4:
                return r.SendNotModified();
            case 5:
                return r.SendNotFound();
            case 6:
                return r.SendRedirect(HREFString(fPick(s_tHeaderValues)));
            case 7:
                return r.SetContentType(fPick(s_tTypes));
            case 8:
                return r.SetOutputCharset(CharacterSet::find(fPick(s_tLabels)));
            case 9:
                return r.SetLastModified(static_cast<std::time_t>(m_nValue) * 99999999);
            case 10:
                return r.setExpireSeconds(fPick(s_tSeconds));
            case 11:
                return r.setContentDisposition(ContentDisposition(
                    static_cast<ContentDisposition::EDisposition>(m_nValue % 3), L"a.txt"));
            case 12:
                return r.addResponseHint(fPick(s_tHeaderValues));
            case 13:
            case 14:
            case 15:
                return r.writeBinary(fPick(s_tTexts).data(), fPick(s_tTexts).size());
            case 16:
                return r.Flush();
            default:
                return r.addChars(fPick(s_tTexts).data(), m_nValue % 2 + fPick(s_tTexts).size() / 2);
        }
    }

private:
    // Four of each that a good application has, then wild ones.
    static constexpr int s_tFlags[knValues] = {1, 255, 4, 8, 2, 16, 5, 13};
    static constexpr const wchar_t* s_tNames[knValues] = {
        L"X", L"Location", L"X", L"ETag", L"a b", L"Content-Length", L"transfer-encoding", L""};
    static constexpr const wchar_t* s_tHeaderValues[knValues] = {
        L"", L"/", L"a, b", L"\u20ac\xe9", L"a\r\nSet-Cookie: x", L"9\r\n\r\n", L"chunked", L"\x7f\x01"};
    static constexpr unsigned s_tStatuses[knValues] = {200, 404, 500, 304, 99, 204, 1000, 101};
    static constexpr const wchar_t* s_tTypes[knValues] = {
        L"text/html", L"", L"text/plain", L"a/b+xml", L"a\r\nb: c", L"text/\x7f", L"x", L"multipart/x"};
    static constexpr const wchar_t* s_tLabels[knValues] = {
        L"utf-8", L"unicode", L"iso-8859-1", L"unicodeFFFE", L"utf-8", L"utf-8", L"us-ascii", L"iso-2022-jp"};
    static constexpr unsigned s_tSeconds[knValues] = {0, 60, 0xFFFFFFFF, 0xFFFFFFFE, 1, 2, 3, 4};
    /// As bytes their low halves; U+20AC and U+1F30D are not in ISO-8859-1.
    static constexpr std::wstring_view s_tTexts[knValues] = {
        L"hello", L"\u20ac5", L"", L"\U0001f30d\xe9\n", L"0\r\n", L"\r\n\r\n", L"\xd800", L"HTTP/1.1 200"};

    unsigned m_nKind;
    unsigned m_nValue;
};

inline std::string httpDate(std::time_t n) {
    StringBuffer tText;
    HttpDateUtils::formatHttpDate(tText, n);
    return toUtf8(tText.view());
}

/// The low bytes.
inline std::string narrow(const ZQWString& s) {
    std::string sNarrow;
    for (const wchar_t c : s.view())
        sNarrow += static_cast<char>(c);
    return sNarrow;
}

}  // namespace test
