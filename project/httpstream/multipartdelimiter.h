#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The delimiter lines of one boundary (RFC 2046 section 5.1.1), as they are found in bytes. Lines end in
/// CRLF or LF; the line end before a delimiter belongs to it. Keeps no state: the caller says where to look.
class MultipartDelimiter {
public:
    static constexpr std::size_t s_npos = std::string_view::npos;
    /// Bytes of white space behind a boundary that still make a delimiter; mail gateways padded lines.
    static constexpr std::size_t s_knMostPadding = 256;

    explicit MultipartDelimiter(std::string_view sBoundary) : m_sNeedle("\n--") { m_sNeedle += sBoundary; }

    /// A boundary that some body could have: not empty, on one line.
    static bool isUsable(std::string_view sBoundary) noexcept {
        return !sBoundary.empty() && sBoundary.find_first_of("\r\n") == s_npos;
    }

    /// Where the first line end, "--" and boundary stand in s; what follows them on the line is for match()
    /// to look at. s_npos: nowhere.
    std::size_t find(std::string_view s) const noexcept;
    /// How many bytes at the end of s, where find() has found nothing, may be the beginning of a delimiter.
    std::size_t countHeldBack(std::string_view s) const noexcept;

    enum class EMatch {
        kNeedMore,  ///< what follows s decides
        kNone,      ///< no delimiter
        kPart,      ///< a delimiter: what follows is another part, or the end of the body
        kClosing,   ///< the last delimiter
    };
    struct Match {
        EMatch eMatch;
        /// kNone: how many bytes of s are sure not to belong to a delimiter, if s starts as find() finds it.
        /// Otherwise: how many are the delimiter, the LF that ends its line not included.
        std::size_t nLength;

        bool isDelimiter() const noexcept { return eMatch == EMatch::kPart || eMatch == EMatch::kClosing; }
    };
    /// Whether s starts with a delimiter. bLast: nothing follows s; the answer is never kNeedMore then.
    Match match(std::string_view s, bool bLast) const noexcept;

private:
    Match matchLineRest(std::string_view s, std::size_t nBoundaryEnd, bool bLast) const noexcept;

    std::string m_sNeedle;  ///< LF, "--", boundary
};
