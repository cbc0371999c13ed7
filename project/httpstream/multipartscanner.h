#pragma once

#include <cstddef>
#include <string_view>

#include "inputwindow.h"
#include "multipartdelimiter.h"

/// Finds parts, header blocks and content in a multipart body, and hands them out as views of its window. An
/// exception leaves it where it was.
///
///     kPreamble --delimiter--> kDelimiter --advance()--> kHeaders --endHeaders()--> kContentStart
///                                  ^                                                  |       |
///                                  |-------------------delimiter----------------------'       v
///                                  `-------------------delimiter-------------------------- kContent
///
/// From everywhere, a closing delimiter leads to kEnd; the end of the input does from kPreamble and
/// kDelimiter.
class MultipartScanner {
public:
    MultipartScanner(const Handle<InputStream>& hInput, std::string_view sBoundary);

    /// Goes to the headers of the next part, past content that was not dropped. False: there is no further
    /// part. Throws when the boundary cannot be used.
    bool advance();
    /// The header lines with their line ends, without the empty line that ends them, which counts towards
    /// nMost too. After advance(); valid until endHeaders().
    std::string_view readHeaderBlock(std::size_t nMost);
    /// Drops the headers; the part counts from here on.
    void endHeaders() noexcept;
    /// The content that is at hand, at least one byte unless the part has ended. Valid until the next call.
    std::string_view getContent();
    void dropContent(std::size_t nCount) noexcept;
    /// Copies at most nSize bytes of content to pBuffer, as getContent() has it, and drops them.
    std::size_t readContent(char* pBuffer, std::size_t nSize);

    bool isInPart() const noexcept {
        return m_ePlace == EPlace::kContentStart || m_ePlace == EPlace::kContent;
    }
    /// Parts whose headers have been ended.
    std::size_t countParts() const noexcept { return m_nParts; }

private:
    /// Where the front of the window stands.
    enum class EPlace {
        kPreamble,      ///< before the first delimiter; the window began with a line end that no body has
        kDelimiter,     ///< at a delimiter of m_nDelimiter bytes
        kHeaders,       ///< at the line end of the delimiter's line
        kContentStart,  ///< at the line end of the empty line, with which a delimiter may begin
        kContent,
        kEnd
    };

    void requireBoundary() const;
    std::size_t readPastWindow(char* pBuffer, std::size_t nSize);
    void scan();
    void scanContentStart();
    void passDelimiter();
    void setMatch(const MultipartDelimiter::Match& rMatch) noexcept;
    MultipartDelimiter::Match matchAt(std::size_t nOffset);
    /// Where the header line at nFrom ends, its line end included; throws when that is beyond nMostEnd.
    std::size_t readLine(std::size_t nFrom, std::size_t nMostEnd);
    std::size_t lineEndSize() const noexcept { return m_tDelimiter.getLineEnd().size(); }
    [[noreturn]] void throwEndedInsidePart(std::size_t nPart) const;
    [[noreturn]] void throwMixedLineEnds() const;

    MultipartDelimiter m_tDelimiter;
    EPlace m_ePlace = EPlace::kPreamble;
    std::size_t m_nDelimiter = 0;
    std::size_t m_nHeaders = 0;  ///< bytes of the header block read last, with the line end before it
    std::size_t m_nContent = 0;  ///< bytes at the front of the window that are content (or preamble)
    std::size_t m_nParts = 0;
    InputWindow m_tWindow;
};
