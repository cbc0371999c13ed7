#include "http/chunkdecoder.h"

#include <algorithm>
#include <cstring>

namespace webcontainer {

ChunkDecoder::ChunkDecoder(const Limits& rLimits) noexcept
    : m_pLimits(&rLimits),
      m_tLine(rLimits.nMaxChunkExtensionBytes),
      m_tTrailers(rLimits.nMaxHeaderFields),
      m_nTrailerBytesLeft(rLimits.nMaxTrailerBytes) {}

Parsed ChunkDecoder::decode(const char*& p, const char* pEnd, char*& pTo) noexcept {
    Parsed tParsed = Parsed::kNeedMore;
    while (p != pEnd && tParsed == Parsed::kNeedMore)
        tParsed = step(p, pEnd, pTo);
    return tParsed;
}

Parsed ChunkDecoder::step(const char*& p, const char* pEnd, char*& pTo) noexcept {
    switch (m_eState) {
        case EState::kSizeLine:
            return putLine(*p++);
        case EState::kData:
            moveData(p, pEnd, pTo);
            return Parsed::kNeedMore;
        case EState::kDataReturn:
            return endData(*p++, '\r', EState::kDataLineFeed);
        case EState::kDataLineFeed:
            return endData(*p++, '\n', EState::kSizeLine);
        default:
            return scanTrailers(p, pEnd);
    }
}

Parsed ChunkDecoder::putLine(char c) noexcept {
    const Parsed tParsed = m_tLine.put(c);
    if (tParsed != Parsed::kDone) return tParsed;
    m_nDataLeft = m_tLine.getSize();
    m_tLine = ChunkLine(m_pLimits->nMaxChunkExtensionBytes);
    m_eState = m_nDataLeft == 0 ? EState::kTrailers : EState::kData;
    return Parsed::kNeedMore;
}

void ChunkDecoder::moveData(const char*& p, const char* pEnd, char*& pTo) noexcept {
    const std::size_t nMoved =
        static_cast<std::size_t>(std::min<std::uint64_t>(m_nDataLeft, static_cast<std::uint64_t>(pEnd - p)));
    std::memmove(pTo, p, nMoved);
    p += nMoved;
    pTo += nMoved;
    m_nDataLeft -= nMoved;
    if (m_nDataLeft == 0) m_eState = EState::kDataReturn;
}

Parsed ChunkDecoder::endData(char c, char cExpected, EState eNext) noexcept {
    if (c != cExpected) return Refusal{400, "a chunk that is longer than its size"};
    m_eState = eNext;
    return Parsed::kNeedMore;
}

Parsed ChunkDecoder::scanTrailers(const char*& p, const char* pEnd) noexcept {
    const char* const pStart = p;
    const auto nReceived = static_cast<std::size_t>(pEnd - p);
    const Parsed tParsed = m_tTrailers.scan(p, p + std::min(nReceived, m_nTrailerBytesLeft));
    m_nTrailerBytesLeft -= static_cast<std::size_t>(p - pStart);
    if (tParsed == Parsed::kRefused) return Refusal{400, tParsed.getRefusal().pReason};
    if (tParsed == Parsed::kNeedMore && m_nTrailerBytesLeft == 0)
        return Refusal{400, "the trailers are too long"};
    return tParsed;
}

}  // namespace webcontainer
