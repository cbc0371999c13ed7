#pragma once

#include <cstddef>
#include <cstdint>

#include "http/requesthead.h"

namespace webcontainer {

/// Reads one chunk's size line (RFC 9112 section 7.1), byte by byte:
///
///     1*HEXDIG *( BWS ";" BWS token [ BWS "=" BWS ( token / quoted-string ) ] ) CRLF
///
/// The extensions are checked and dropped.
class ChunkLine {
public:
    /// nMaxExtension: bytes allowed between the size and the line's end.
    explicit ChunkLine(std::size_t nMaxExtension) noexcept : m_nExtensionLeft(nMaxExtension) {}

    Parsed put(char c) noexcept;
    /// After kDone, in bytes.
    std::uint64_t getSize() const noexcept { return m_nSize; }

    enum class EState : std::uint8_t {
        kElementEnd,  ///< behind the size or a quoted string
        kGap,         ///< white space before a semicolon
        kNameGap,
        kName,
        kNameEnd,  ///< white space behind a name
        kValueGap,
        kValue,
        kQuoted,
        kEscaped,
        kLineEnd,
        kFault,
        kDone,
        kSize,
    };

private:
    Parsed putDigit(char c) noexcept;

    std::uint64_t m_nSize = 0;
    std::size_t m_nExtensionLeft;
    unsigned m_nDigits = 0;
    EState m_eState = EState::kSize;
};

}  // namespace webcontainer
