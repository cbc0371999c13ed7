#include "multipartdelimiter.h"

#include <algorithm>
#include <cstring>

namespace {

/// The line end that has its LF at nLineFeed starts there, or at the CR before it.
std::size_t lineEndStart(std::string_view s, std::size_t nLineFeed) noexcept {
    return nLineFeed > 0 && s[nLineFeed - 1] == '\r' ? nLineFeed - 1 : nLineFeed;
}

}  // namespace

std::size_t MultipartDelimiter::find(std::string_view s) const noexcept {
    const void* const p = memmem(s.data(), s.size(), m_sNeedle.data(), m_sNeedle.size());
    if (!p) return s_npos;
    return lineEndStart(s, static_cast<std::size_t>(static_cast<const char*>(p) - s.data()));
}

std::size_t MultipartDelimiter::countHeldBack(std::string_view s) const noexcept {
    // The needle has one LF, its first character, so only the last LF can start it.
    const std::string_view sTail = s.substr(s.size() - std::min(s.size(), m_sNeedle.size() - 1));
    const std::size_t nLineFeed = sTail.rfind('\n');
    if (nLineFeed != s_npos && m_sNeedle.starts_with(sTail.substr(nLineFeed)))
        return s.size() - lineEndStart(s, s.size() - sTail.size() + nLineFeed);
    return s.ends_with('\r') ? 1 : 0;
}

MultipartDelimiter::Match MultipartDelimiter::match(std::string_view s, bool bLast) const noexcept {
    const std::size_t nLineFeed = s.starts_with('\r') ? 1 : 0;
    const std::string_view sLine = s.substr(nLineFeed, m_sNeedle.size());
    if (!m_sNeedle.starts_with(sLine)) return {EMatch::kNone, 0};
    if (sLine.size() < m_sNeedle.size()) return {bLast ? EMatch::kNone : EMatch::kNeedMore, 0};
    return matchLineRest(s, nLineFeed + m_sNeedle.size(), bLast);
}

// delimiter := CRLF "--" boundary, then transport-padding CRLF, or "--" and transport-padding when it is the
// closing one, which may end the body. Where the body ends behind a delimiter without its CRLF, the line may
// have been cut off, and a nested boundary with it; so this is none.
MultipartDelimiter::Match MultipartDelimiter::matchLineRest(std::string_view s, std::size_t nBoundaryEnd,
                                                            bool bLast) const noexcept {
    const Match tNone = {EMatch::kNone, nBoundaryEnd};
    const std::string_view sRest = s.substr(nBoundaryEnd);
    const bool bClosing = sRest.starts_with("--");
    const std::string_view sPadded = sRest.substr(bClosing ? 2 : 0);
    std::size_t nEnd =
        std::min(sPadded.substr(0, s_knMostPadding + 1).find_first_not_of(" \t"), sPadded.size());
    if (nEnd > s_knMostPadding) return tNone;
    if (nEnd < sPadded.size() && sPadded[nEnd] == '\r') ++nEnd;
    const Match tFound = {bClosing ? EMatch::kClosing : EMatch::kPart, s.size() - sPadded.size() + nEnd};
    if (nEnd < sPadded.size() && sPadded[nEnd] == '\n') return tFound;
    if (bLast) return bClosing && nEnd == sPadded.size() ? tFound : tNone;
    return nEnd == sPadded.size() || sRest == "-" ? Match{EMatch::kNeedMore, 0} : tNone;
}
