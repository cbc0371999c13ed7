#pragma once

#include <cstddef>
#include <cstdint>

#include "base/limits.h"
#include "http/chunkline.h"
#include "http/fieldscanner.h"
#include "http/requesthead.h"

namespace webcontainer {

/// Takes the chunks off a body (RFC 9112 section 7.1), strictly by the grammar, and consumes every byte as it
/// comes. Trailer fields (section 7.1.2) are checked like header fields and dropped.
class ChunkDecoder {
public:
    /// rLimits must outlive the decoder.
    explicit ChunkDecoder(const Limits& rLimits) noexcept;

    /// Consumes bytes from p on, up to pEnd or the end of the body, and moves the plain ones among them to
    /// pTo, which may lie before p in the same storage. Raises p and pTo.
    Parsed decode(const char*& p, const char* pEnd, char*& pTo) noexcept;

private:
    enum class EState : std::uint8_t { kSizeLine, kData, kDataReturn, kDataLineFeed, kTrailers };

    Parsed step(const char*& p, const char* pEnd, char*& pTo) noexcept;
    Parsed putLine(char c) noexcept;
    void moveData(const char*& p, const char* pEnd, char*& pTo) noexcept;
    Parsed endData(char c, char cExpected, EState eNext) noexcept;
    Parsed scanTrailers(const char*& p, const char* pEnd) noexcept;

    const Limits* m_pLimits;
    ChunkLine m_tLine;
    std::uint64_t m_nDataLeft = 0;  ///< of the current chunk
    FieldScanner m_tTrailers;
    std::size_t m_nTrailerBytesLeft;
    EState m_eState = EState::kSizeLine;
};

}  // namespace webcontainer
