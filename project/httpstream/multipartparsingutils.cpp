#include "zq/httpstream/multipartparsingutils.h"

#include <algorithm>
#include <string_view>

#include "asciitext.h"
#include "zq/foundation/stringbuffer.h"

namespace {

constexpr const wchar_t* s_ksWhiteSpace = L" \t\r\n";

/// RFC 9110 section 5.6.2.
bool isTokenCharacter(wchar_t c) noexcept {
    return c > L' ' && c < 0x7F &&
           std::wstring_view(L"\"(),/:;<=>?@[\\]{}").find(c) == std::wstring_view::npos;
}

/// Takes what stands before cStop off rs, and cStop too; all of rs when there is none.
std::wstring_view takeUntil(std::wstring_view& rs, wchar_t cStop) noexcept {
    const std::size_t nStop = std::min(rs.find(cStop), rs.size());
    const std::wstring_view sTaken = rs.substr(0, nStop);
    rs.remove_prefix(std::min(nStop + 1, rs.size()));
    return sTaken;
}

/// Whether rs, what follows a quotation mark, says that it ended a value: ";", a name and "=" come next.
/// Looks no further than the next quotation mark.
bool endsValue(std::wstring_view rs) noexcept {
    rs = rs.substr(std::min(rs.find_first_not_of(s_ksWhiteSpace), rs.size()));
    if (!rs.starts_with(L';')) return false;
    rs.remove_prefix(1);
    const std::size_t nEquals = rs.find_first_of(L"=;\"");
    if (nEquals == rs.npos || rs[nEquals] != L'=') return false;
    const std::wstring_view sName = trimWhiteSpace(rs.substr(0, nEquals));
    return !sName.empty() && std::all_of(sName.begin(), sName.end(), isTokenCharacter);
}

/// The value behind an opening quote, taken off rs with its closing one.
ZQWString takeQuoted(std::wstring_view& rs) {
    StringBuffer tValue;
    for (;;) {
        const std::wstring_view sPiece = takeUntil(rs, L'"');
        const bool bEscaped = sPiece.ends_with(L'\\') && rs.find(L'"') != rs.npos && !endsValue(rs);
        tValue.append(sPiece.substr(0, sPiece.size() - bEscaped));
        if (!bEscaped) return tValue.toString();
        tValue.append(L'"');
    }
}

/// The value behind "=", taken off rs with all that stands before the next semicolon.
ZQWString takeValue(std::wstring_view& rs) {
    const std::size_t nStart = std::min(rs.find_first_not_of(s_ksWhiteSpace), rs.size());
    if (!rs.substr(nStart).starts_with(L'"')) return ZQWString(trimWhiteSpace(takeUntil(rs, L';')));
    rs.remove_prefix(nStart + 1);
    ZQWString sValue = takeQuoted(rs);
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
    for (std::wstring_view s = sHeader.view(); !s.empty();) {
        const std::size_t nNameEnd = s.find_first_of(L"=;");
        if (nNameEnd == s.npos) return;
        const std::wstring_view sBefore = s.substr(0, nNameEnd);
        const std::wstring_view sName = trimWhiteSpace(sBefore.substr(sBefore.find_last_of(L',') + 1));
        const bool bValue = s[nNameEnd] == L'=';
        s.remove_prefix(nNameEnd + 1);
        if (!bValue) continue;
        const ZQWString sValue = takeValue(s);
        if (!sName.empty()) rAttributes.try_emplace(lowerName(sName), sValue);
    }
}
