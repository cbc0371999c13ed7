#pragma once

#include <bitset>
#include <cstddef>
#include <string>
#include <string_view>

/// The delimiter lines of one body (RFC 2046 section 5.1.1), as they are found in its bytes. The line end
/// before a delimiter belongs to it; the caller says where to look.
///
/// The line of the first delimiter decides how the body ends its lines:
/// - in CRLF: every delimiter then has CRLF before it and at the end of its line; what has LF alone in either
///   place is content. RFC 2046 knows no other delimiter, and neither may an inspector before the server.
/// - in LF alone: every delimiter then has LF before it, and a CR before that is content. No inspector that
///   knows CRLF only finds a part in such a body, but one that takes either would find one behind a line that
///   ends in CRLF: that is no content but kMixed. So is a first delimiter with LF alone before it.
/// A closing delimiter may end the body in place of its line end.
class MultipartDelimiter {
public:
    static constexpr std::size_t s_npos = std::string_view::npos;
    /// Bytes of white space behind a boundary that still make a delimiter; mail gateways padded lines.
    static constexpr std::size_t s_knMostPadding = 256;

    explicit MultipartDelimiter(std::string_view sBoundary);

    std::string_view getBoundary() const noexcept { return std::string_view(m_sNeedle).substr(3); }
    /// How the body ends its lines: in CRLF or LF; empty before the first delimiter has shown it.
    std::string_view getLineEnd() const noexcept { return m_sLineEnd; }
    void setLineEnd(std::string_view sLineEnd) noexcept { m_sLineEnd = sLineEnd; }

    /// Where the first line end, "--" and boundary stand in s; what follows them on the line is for match()
    /// to look at. s_npos: nowhere. Takes time in proportion to s, whatever it holds.
    std::size_t find(std::string_view s) const noexcept;
    /// How many bytes at the end of s, where find() has found nothing, may be the beginning of a delimiter.
    std::size_t countHeldBack(std::string_view s) const noexcept;

    enum class EMatch {
        kNeedMore,  ///< what follows s decides
        kNone,      ///< no delimiter
        kPart,      ///< a delimiter: what follows is another part, or the end of the body
        kClosing,   ///< the last delimiter
        kMixed,     ///< one that is a delimiter to some readers and none to others
    };
    struct Match {
        EMatch eMatch;
        /// kNone: how many bytes of s are sure not to belong to a delimiter, if s starts as find() finds it.
        /// Otherwise: how many are the delimiter, the line end behind it not included.
        std::size_t nLength;
        std::string_view sLineEnd;  ///< behind a delimiter; empty where a closing one ends the body

        bool isDelimiter() const noexcept { return eMatch == EMatch::kPart || eMatch == EMatch::kClosing; }
    };
    /// Whether s, which starts with a line end of the body, starts with a delimiter. bLast: nothing follows
    /// s; the answer is never kNeedMore then.
    Match match(std::string_view s, bool bLast) const noexcept;

private:
    std::size_t findNeedle(std::string_view s, std::size_t nFrom) const noexcept;
    std::size_t lineEndStart(std::string_view s, std::size_t nLineFeed) const noexcept;
    Match matchLineRest(std::string_view s, std::size_t nBoundaryEnd, bool bLast) const noexcept;

    std::string m_sNeedle;       ///< LF, "--", boundary
    std::bitset<4096> m_tPairs;  ///< the pairs of bytes that stand in the needle, and some that do not
    std::string_view m_sLineEnd;
};
