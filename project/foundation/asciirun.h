#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstring>

/// The ASCII fast paths of the encoders: they convert from the start of the text up to the first character
/// that is not ASCII (or that no full vector holds) and return how many they converted.

inline bool areAscii(__m128i tCharacters) noexcept {
    const __m128i tHigh = _mm_and_si128(tCharacters, _mm_set1_epi32(~0x7F));
    return _mm_movemask_epi8(_mm_cmpeq_epi32(tHigh, _mm_setzero_si128())) == 0xFFFF;
}

/// pTo must have room for nLength bytes.
inline std::size_t narrowAsciiRun(char* pTo, const wchar_t* pFrom, std::size_t nLength) noexcept {
    std::size_t n = 0;
    for (; nLength - n >= 16; n += 16) {
        const auto* p = reinterpret_cast<const __m128i*>(pFrom + n);
        const __m128i a = _mm_loadu_si128(p), b = _mm_loadu_si128(p + 1);
        const __m128i c = _mm_loadu_si128(p + 2), d = _mm_loadu_si128(p + 3);
        if (!areAscii(_mm_or_si128(_mm_or_si128(a, b), _mm_or_si128(c, d)))) break;
        const __m128i tBytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pTo + n), tBytes);
    }
    for (; nLength - n >= 4; n += 4) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pFrom + n));
        if (!areAscii(a)) break;
        const __m128i tWords = _mm_packs_epi32(a, a);
        const int nBytes = _mm_cvtsi128_si32(_mm_packus_epi16(tWords, tWords));
        std::memcpy(pTo + n, &nBytes, 4);
    }
    for (; n < nLength && static_cast<unsigned>(pFrom[n]) < 0x80; ++n)
        pTo[n] = static_cast<char>(pFrom[n]);
    return n;
}

/// pTo must have room for nLength characters.
inline std::size_t widenAsciiRun(wchar_t* pTo, const char* pFrom, std::size_t nLength) noexcept {
    std::size_t n = 0;
    const __m128i tZero = _mm_setzero_si128();
    for (; nLength - n >= 16; n += 16) {
        const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pFrom + n));
        if (_mm_movemask_epi8(t) != 0) break;
        const __m128i tLow = _mm_unpacklo_epi8(t, tZero), tHigh = _mm_unpackhi_epi8(t, tZero);
        auto* p = reinterpret_cast<__m128i*>(pTo + n);
        _mm_storeu_si128(p, _mm_unpacklo_epi16(tLow, tZero));
        _mm_storeu_si128(p + 1, _mm_unpackhi_epi16(tLow, tZero));
        _mm_storeu_si128(p + 2, _mm_unpacklo_epi16(tHigh, tZero));
        _mm_storeu_si128(p + 3, _mm_unpackhi_epi16(tHigh, tZero));
    }
    for (; n < nLength && static_cast<unsigned char>(pFrom[n]) < 0x80; ++n)
        pTo[n] = static_cast<wchar_t>(pFrom[n]);
    return n;
}
