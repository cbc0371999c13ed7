#include "multipartdelimiter.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::string_view s_ksCrLf = "\r\n";
constexpr std::string_view s_ksLf = "\n";

/// The place of the two bytes at p in MultipartDelimiter::m_tPairs.
std::size_t placeOfPair(const char* p) noexcept {
    return std::size_t{static_cast<unsigned char>(p[0])} << 4 ^ static_cast<unsigned char>(p[1]);
}

}  // namespace

MultipartDelimiter::MultipartDelimiter(std::string_view sBoundary) : m_sNeedle("\n--") {
    m_sNeedle += sBoundary;
    for (std::size_t n = 1; n < m_sNeedle.size(); ++n)
        m_tPairs.set(placeOfPair(&m_sNeedle[n - 1]));
}

std::size_t MultipartDelimiter::find(std::string_view s) const noexcept {
    for (std::size_t nFrom = 0;; ++nFrom) {
        nFrom = findNeedle(s, nFrom);
        if (nFrom == s_npos) return s_npos;
        const std::size_t nStart = lineEndStart(s, nFrom);
        if (nStart != s_npos) return nStart;
    }
}

// Looks at one stretch as long as the needle after the other. When its last two bytes do not stand in the
// needle, which is the usual case, the needle cannot start before the second of them. Otherwise it can start
// only at the stretch's last LF, as it has no LF but its first byte. So no boundary and content make more
// steps than two for each length of the needle.
std::size_t MultipartDelimiter::findNeedle(std::string_view s, std::size_t nFrom) const noexcept {
    const std::size_t nNeedle = m_sNeedle.size();
    while (s.size() - nFrom >= nNeedle) {
        const char* const p = s.data() + nFrom;
        if (!m_tPairs[placeOfPair(p + nNeedle - 2)]) {
            nFrom += nNeedle - 1;
        } else if (const void* const pLineFeed = memrchr(p, '\n', nNeedle)) {
            nFrom = static_cast<std::size_t>(static_cast<const char*>(pLineFeed) - s.data());
            if (s.substr(nFrom).starts_with(m_sNeedle)) return nFrom;
            ++nFrom;
        } else {
            nFrom += nNeedle;
        }
    }
    return s_npos;
}

/// Where the line end that has its LF at nLineFeed starts; s_npos when the body ends no line so.
std::size_t MultipartDelimiter::lineEndStart(std::string_view s, std::size_t nLineFeed) const noexcept {
    const bool bCarriageReturn = nLineFeed > 0 && s[nLineFeed - 1] == '\r';
    if (m_sLineEnd == s_ksCrLf && !bCarriageReturn) return s_npos;
    return nLineFeed - (bCarriageReturn && m_sLineEnd != s_ksLf);
}

std::size_t MultipartDelimiter::countHeldBack(std::string_view s) const noexcept {
    // The needle has one LF, its first character, so only the last LF can start it.
    const std::string_view sTail = s.substr(s.size() - std::min(s.size(), m_sNeedle.size() - 1));
    const std::size_t nLineFeed = sTail.rfind('\n');
    if (nLineFeed == s_npos || !m_sNeedle.starts_with(sTail.substr(nLineFeed)))
        return s.ends_with('\r') ? 1 : 0;
    return s.size() - std::min(lineEndStart(s, s.size() - sTail.size() + nLineFeed), s.size());
}

MultipartDelimiter::Match MultipartDelimiter::match(std::string_view s, bool bLast) const noexcept {
    const std::size_t nLineFeed = s.starts_with('\r') ? 1 : 0;
    const std::string_view sLine = s.substr(nLineFeed, m_sNeedle.size());
    if (!m_sNeedle.starts_with(sLine)) return {EMatch::kNone, 0, {}};
    if (sLine.size() < m_sNeedle.size()) return {bLast ? EMatch::kNone : EMatch::kNeedMore, 0, {}};
    return matchLineRest(s, nLineFeed + m_sNeedle.size(), bLast);
}

// delimiter := CRLF "--" boundary, then transport-padding CRLF, or "--" and transport-padding when it is the
// closing one, which may end the body. Where the body ends behind a delimiter without its CRLF, the line may
// have been cut off, and a nested boundary with it; so this is none.
MultipartDelimiter::Match MultipartDelimiter::matchLineRest(std::string_view s, std::size_t nBoundaryEnd,
                                                            bool bLast) const noexcept {
    const Match tNone = {EMatch::kNone, nBoundaryEnd, {}};
    const std::string_view sRest = s.substr(nBoundaryEnd);
    const bool bClosing = sRest.starts_with("--");
    const std::string_view sPadded = sRest.substr(bClosing ? 2 : 0);
    const std::size_t nPadding =
        std::min(sPadded.substr(0, s_knMostPadding + 1).find_first_not_of(" \t"), sPadded.size());
    if (nPadding > s_knMostPadding) return tNone;
    const std::string_view sLineEnd = sPadded.substr(nPadding, 2);
    Match tFound = {bClosing ? EMatch::kClosing : EMatch::kPart, s.size() - sPadded.size() + nPadding, {}};
    if (sLineEnd.starts_with(s_ksLf)) {
        tFound.sLineEnd = s_ksLf;
        return m_sLineEnd == s_ksCrLf ? tNone : tFound;
    }
    if (sLineEnd == s_ksCrLf) {
        tFound.sLineEnd = s_ksCrLf;
        if (!s.starts_with('\r')) tFound.eMatch = EMatch::kMixed;
        return tFound;
    }
    if (!s_ksCrLf.starts_with(sLineEnd) && sRest != "-") return tNone;
    if (!bLast) return {EMatch::kNeedMore, 0, {}};
    return bClosing ? tFound : tNone;
}
