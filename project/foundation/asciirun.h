#pragma once

#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

/// The ASCII fast paths of the encoders: they convert from the start of the text up to the first character
/// that is not ASCII (or that no full vector holds) and return how many they converted.

namespace ascii_run {

inline const bool s_bAvx2 = __builtin_cpu_supports("avx2");

/// How many characters of a vector's comparison, from the first one on, are ASCII.
inline std::size_t countLeading(unsigned nAsciiMask) noexcept {
    return static_cast<std::size_t>(std::countr_one(nAsciiMask));
}

/// Narrows vectors of 32 characters up to the first one that is not all ASCII, and of that one what comes
/// before. Returns how many characters that was. The bytes of other characters mean nothing.
__attribute__((target("avx2"))) inline std::size_t narrowBy32(char* pTo, const wchar_t* pFrom,
                                                              std::size_t nLength) noexcept {
    const __m256i tHighBits = _mm256_set1_epi32(~0x7F), tZero = _mm256_setzero_si256();
    // The packing works on each half of a vector by itself; this puts the quarters back in order.
    const __m256i tOrder = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    std::size_t n = 0;
    for (; nLength - n >= 32; n += 32) {
        const auto* p = reinterpret_cast<const __m256i*>(pFrom + n);
        const __m256i a = _mm256_loadu_si256(p), b = _mm256_loadu_si256(p + 1);
        const __m256i c = _mm256_loadu_si256(p + 2), d = _mm256_loadu_si256(p + 3);
        const __m256i tBytes = _mm256_packus_epi16(_mm256_packs_epi32(a, b), _mm256_packs_epi32(c, d));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(pTo + n), _mm256_permutevar8x32_epi32(tBytes, tOrder));
        const __m256i tAll = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
        if (_mm256_testz_si256(tAll, tHighBits)) continue;
        const __m256i ea = _mm256_cmpeq_epi32(_mm256_and_si256(a, tHighBits), tZero);
        const __m256i eb = _mm256_cmpeq_epi32(_mm256_and_si256(b, tHighBits), tZero);
        const __m256i ec = _mm256_cmpeq_epi32(_mm256_and_si256(c, tHighBits), tZero);
        const __m256i ed = _mm256_cmpeq_epi32(_mm256_and_si256(d, tHighBits), tZero);
        const __m256i tAscii = _mm256_packs_epi16(_mm256_packs_epi32(ea, eb), _mm256_packs_epi32(ec, ed));
        const int nMask = _mm256_movemask_epi8(_mm256_permutevar8x32_epi32(tAscii, tOrder));
        return n + countLeading(static_cast<unsigned>(nMask));
    }
    return n;
}

/// The same for one vector of 16.
inline std::size_t narrow16(char* pTo, const wchar_t* pFrom) noexcept {
    const __m128i tHighBits = _mm_set1_epi32(~0x7F), tZero = _mm_setzero_si128();
    const auto* p = reinterpret_cast<const __m128i*>(pFrom);
    const __m128i a = _mm_loadu_si128(p), b = _mm_loadu_si128(p + 1);
    const __m128i c = _mm_loadu_si128(p + 2), d = _mm_loadu_si128(p + 3);
    const __m128i tBytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pTo), tBytes);
    const __m128i tHigh = _mm_and_si128(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d)), tHighBits);
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(tHigh, tZero)) == 0xFFFF) return 16;
    const auto fIsAscii = [&](__m128i t) { return _mm_cmpeq_epi32(_mm_and_si128(t, tHighBits), tZero); };
    const __m128i tAscii =
        _mm_packs_epi16(_mm_packs_epi32(fIsAscii(a), fIsAscii(b)), _mm_packs_epi32(fIsAscii(c), fIsAscii(d)));
    return countLeading(static_cast<unsigned>(_mm_movemask_epi8(tAscii)));
}

/// Narrows texts of 4 or more characters, as short as most pieces of a page, in two vectors of nWidth; both
/// may overlap. False: not all were ASCII, and nothing was said of the bytes.
template <std::size_t nWidth>
bool narrowShort(char* pTo, const wchar_t* pFrom, std::size_t nLength) noexcept {
    const __m128i tHighBits = _mm_set1_epi32(~0x7F), tZero = _mm_setzero_si128();
    __m128i tAll = tZero;
    for (const std::size_t n : {std::size_t{0}, nLength - nWidth}) {
        const auto* const p = reinterpret_cast<const __m128i*>(pFrom + n);
        const __m128i a = _mm_loadu_si128(p), b = nWidth == 8 ? _mm_loadu_si128(p + 1) : tZero;
        const __m128i tBytes = _mm_packus_epi16(_mm_packs_epi32(a, b), tZero);
        std::memcpy(pTo + n, &tBytes, nWidth);
        tAll = _mm_or_si128(tAll, _mm_or_si128(a, b));
    }
    return _mm_movemask_epi8(_mm_cmpeq_epi32(_mm_and_si128(tAll, tHighBits), tZero)) == 0xFFFF;
}

/// The nWidth bytes from p on, and zeros.
template <std::size_t nWidth>
__m128i load(const char* p) noexcept {
    const auto* const pVector = reinterpret_cast<const __m128i*>(p);
    if constexpr (nWidth == 4) return _mm_loadu_si32(pVector);
    if constexpr (nWidth == 8) return _mm_loadl_epi64(pVector);
    if constexpr (nWidth == 16) return _mm_loadu_si128(pVector);
}

/// Widens vectors of 4, 8 or 16 bytes up to the first one that is not all ASCII; nLength must be at least a
/// vector's. Returns where that one starts.
template <std::size_t nWidth>
std::size_t widenBy(wchar_t* pTo, const char* pFrom, std::size_t nLength) noexcept {
    const __m128i tZero = _mm_setzero_si128();
    for (std::size_t n = 0; n != nLength; n += nWidth) {
        // The last vector reaches back over characters that are known to be ASCII.
        n = std::min(n, nLength - nWidth);
        const __m128i t = load<nWidth>(pFrom + n);
        if (_mm_movemask_epi8(t) != 0) return n;
        auto* const p = reinterpret_cast<__m128i*>(pTo + n);
        const __m128i tLow = _mm_unpacklo_epi8(t, tZero);
        _mm_storeu_si128(p, _mm_unpacklo_epi16(tLow, tZero));
        if constexpr (nWidth >= 8) _mm_storeu_si128(p + 1, _mm_unpackhi_epi16(tLow, tZero));
        if constexpr (nWidth == 16) {
            const __m128i tHigh = _mm_unpackhi_epi8(t, tZero);
            _mm_storeu_si128(p + 2, _mm_unpacklo_epi16(tHigh, tZero));
            _mm_storeu_si128(p + 3, _mm_unpackhi_epi16(tHigh, tZero));
        }
    }
    return nLength;
}

}  // namespace ascii_run

/// pTo must have room for nLength bytes; those behind the run are overwritten with anything.
inline std::size_t narrowAsciiRun(char* pTo, const wchar_t* pFrom, std::size_t nLength) noexcept {
    std::size_t n = 0;
    if (nLength < 16) {
        if (nLength >= 8 ? ascii_run::narrowShort<8>(pTo, pFrom, nLength)
                         : nLength >= 4 && ascii_run::narrowShort<4>(pTo, pFrom, nLength))
            return nLength;
        for (; n < nLength && static_cast<unsigned>(pFrom[n]) < 0x80; ++n)
            pTo[n] = static_cast<char>(pFrom[n]);
        return n;
    }
    if (nLength >= 32 && ascii_run::s_bAvx2) {
        n = ascii_run::narrowBy32(pTo, pFrom, nLength);
        if (nLength - n >= 32) return n;
    }
    for (; n != nLength; n += 16) {
        // The last vector reaches back over characters that are known to be ASCII.
        n = std::min(n, nLength - 16);
        const std::size_t nAscii = ascii_run::narrow16(pTo + n, pFrom + n);
        if (nAscii < 16) return n + nAscii;
    }
    return n;
}

/// pTo must have room for nLength characters; those behind the run are overwritten with anything.
inline std::size_t widenAsciiRun(wchar_t* pTo, const char* pFrom, std::size_t nLength) noexcept {
    std::size_t n = nLength >= 16  ? ascii_run::widenBy<16>(pTo, pFrom, nLength)
                    : nLength >= 8 ? ascii_run::widenBy<8>(pTo, pFrom, nLength)
                    : nLength >= 4 ? ascii_run::widenBy<4>(pTo, pFrom, nLength)
                                   : 0;
    for (; n < nLength && static_cast<unsigned char>(pFrom[n]) < 0x80; ++n)
        pTo[n] = static_cast<wchar_t>(pFrom[n]);
    return n;
}
