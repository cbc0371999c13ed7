#include "zq/httpstream/multipartparsingutils.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "asciitext.h"
#include "zq/foundation/stringbuffer.h"

namespace {

constexpr const wchar_t* s_ksWhiteSpace = L" \t\r\n";

/// RFC 9110 section 5.6.2.
bool isToken(std::wstring_view s) noexcept {
    return !s.empty() && std::all_of(s.begin(), s.end(), [](wchar_t c) {
        return c > L' ' && c < 0x7F &&
               std::wstring_view(L"\"(),/:;<=>?@[\\]{}").find(c) == std::wstring_view::npos;
    });
}

/// Where an attribute's name ends at the latest.
std::size_t findNameEnd(std::wstring_view s) noexcept {
    // Not with find_first_of(), which calls a function for every character.
    const auto it = std::ranges::find_if(s, [](wchar_t c) { return c == L'=' || c == L';'; });
    return static_cast<std::size_t>(it - s.begin());
}

/// Takes what stands before cStop off rs, and cStop too; all of rs when there is none.
std::wstring_view takeUntil(std::wstring_view& rs, wchar_t cStop) noexcept {
    const std::size_t nStop = std::min(rs.find(cStop), rs.size());
    const std::wstring_view sTaken = rs.substr(0, nStop);
    rs.remove_prefix(std::min(nStop + 1, rs.size()));
    return sTaken;
}

/// Whether s, which goes from a quotation mark that ends a value to the next one or to the header's end, is
/// attributes, each behind a semicolon. Where a quotation mark follows, the last one still lacks its value.
bool areAttributes(std::wstring_view s, bool bQuoteFollows) noexcept {
    for (;;) {
        s.remove_prefix(std::min(s.find_first_not_of(s_ksWhiteSpace), s.size()));
        if (s.empty()) return !bQuoteFollows;
        if (s.front() != L';') return false;
        s.remove_prefix(1);
        const std::size_t nNameEnd = findNameEnd(s);
        const std::wstring_view sName = trimWhiteSpace(s.substr(0, nNameEnd));
        s.remove_prefix(nNameEnd);
        if (!s.starts_with(L'=') && sName.empty()) continue;
        if (!s.starts_with(L'=') || !isToken(sName)) return false;
        s.remove_prefix(1);
        if (bQuoteFollows && s.find_first_not_of(s_ksWhiteSpace) == s.npos) return true;
        s.remove_prefix(std::min(s.find(L';'), s.size()));
    }
}

/// For each quotation mark of the header: whether all that stands behind it is well-formed if it ends a
/// value. Goes over the header once, from its end on.
std::vector<bool> findEnds(std::wstring_view sHeader) {
    std::vector<bool> tEnds(sHeader.size());
    // Where the next quotation mark stands, and whether a value that reaches it, or the one after it, ends
    // well.
    std::size_t nNext = sHeader.size();
    bool bNext = false, bSecond = false;
    for (std::size_t n = sHeader.size(); n-- > 0;) {
        if (sHeader[n] != L'"') continue;
        const bool bLast = nNext == sHeader.size();
        tEnds[n] = areAttributes(sHeader.substr(n + 1, nNext - n - 1), !bLast) && (bLast || bSecond);
        const bool bEscaped = n > 0 && sHeader[n - 1] == L'\\';
        bSecond = std::exchange(bNext, tEnds[n] || (bEscaped && bNext));
        nNext = n;
    }
    return tEnds;
}

/// The value behind an opening quote, taken off rs with its closing one. rs is the end of the header that
/// rEnds is about.
ZQWString takeQuoted(std::wstring_view& rs, const std::vector<bool>& rEnds) {
    StringBuffer tValue;
    for (;;) {
        const std::wstring_view sPiece = takeUntil(rs, L'"');
        const bool bEscaped =
            sPiece.ends_with(L'\\') && rs.find(L'"') != rs.npos && !rEnds[rEnds.size() - rs.size() - 1];
        tValue.append(sPiece.substr(0, sPiece.size() - bEscaped));
        if (!bEscaped) return tValue.toString();
        tValue.append(L'"');
    }
}

/// The value behind "=", taken off rs with all that stands before the next semicolon.
ZQWString takeValue(std::wstring_view& rs, const std::vector<bool>& rEnds) {
    const std::size_t nStart = std::min(rs.find_first_not_of(s_ksWhiteSpace), rs.size());
    if (!rs.substr(nStart).starts_with(L'"')) return ZQWString(trimWhiteSpace(takeUntil(rs, L';')));
    rs.remove_prefix(nStart + 1);
    ZQWString sValue = takeQuoted(rs, rEnds);
    takeUntil(rs, L';');
    return sValue;
}

ZQWString lowerName(std::wstring_view sName) {
    StringBuffer tName;
    for (const wchar_t c : sName)
        tName.append(toAsciiLower(c));
    return tName.toString();
}

}  // namespace

void MultipartParsingUtils::parseCompositeHeader(const ZQWString& sHeader, Headers& rAttributes) {
    rAttributes.clear();
    std::wstring_view s = sHeader.view();
    // Only a quotation mark behind a backslash raises the question.
    const std::vector<bool> tEnds = s.find(L"\\\"") == s.npos ? std::vector<bool>() : findEnds(s);
    while (!s.empty()) {
        const std::size_t nNameEnd = findNameEnd(s);
        if (nNameEnd == s.size()) return;
        const std::wstring_view sBefore = s.substr(0, nNameEnd);
        const std::wstring_view sName = trimWhiteSpace(sBefore.substr(sBefore.find_last_of(L',') + 1));
        const bool bValue = s[nNameEnd] == L'=';
        s.remove_prefix(nNameEnd + 1);
        if (!bValue) continue;
        const ZQWString sValue = takeValue(s, tEnds);
        if (!sName.empty()) rAttributes.try_emplace(lowerName(sName), sValue);
    }
}
