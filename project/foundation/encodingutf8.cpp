#include "zq/foundation/encodingutf8.h"

#include "asciirun.h"

namespace {

/// Appends the 2 to 4 bytes of a scalar value from U+0080 up; pTo must have room for four.
char* putMultibyte(char* pTo, wchar_t cWide) noexcept {
    const auto c = static_cast<char32_t>(isUnicodeScalar(cWide) ? cWide : kReplacementCharacter);
    const auto fTail = [c](unsigned nShift) { return static_cast<char>(0x80 | ((c >> nShift) & 0x3F)); };
    if (c < 0x800) {
        *pTo++ = static_cast<char>(0xC0 | (c >> 6));
    } else if (c < 0x10000) {
        *pTo++ = static_cast<char>(0xE0 | (c >> 12));
        *pTo++ = fTail(6);
    } else {
        *pTo++ = static_cast<char>(0xF0 | (c >> 18));
        *pTo++ = fTail(12);
        *pTo++ = fTail(6);
    }
    *pTo++ = fTail(0);
    return pTo;
}

char* encodePiece(char* pTo, std::wstring_view s) noexcept {
    const wchar_t* p = s.data();
    const wchar_t* const pEnd = p + s.size();
    for (;;) {
        const std::size_t nAscii = narrowAsciiRun(pTo, p, static_cast<std::size_t>(pEnd - p));
        p += nAscii;
        pTo += nAscii;
        if (p == pEnd) return pTo;
        pTo = putMultibyte(pTo, *p++);
    }
}

/// What may follow a lead byte: how many bytes, and the range of the first of them (Unicode 15, table 3-7).
struct Lead {
    int nTail;
    unsigned char cLow;
    unsigned char cHigh;
};

Lead classify(unsigned char c) noexcept {
    if (c >= 0xC2 && c <= 0xDF) return {1, 0x80, 0xBF};
    if (c == 0xE0) return {2, 0xA0, 0xBF};
    if (c == 0xED) return {2, 0x80, 0x9F};
    if (c >= 0xE1 && c <= 0xEF) return {2, 0x80, 0xBF};
    if (c == 0xF0) return {3, 0x90, 0xBF};
    if (c >= 0xF1 && c <= 0xF3) return {3, 0x80, 0xBF};
    if (c == 0xF4) return {3, 0x80, 0x8F};
    return {0, 0, 0};
}

/// Decodes the character at p, which is not ASCII, and moves p behind it; what is ill-formed is replaced.
wchar_t takeMultibyte(const char*& p, const char* pEnd) noexcept {
    const auto cFirst = static_cast<unsigned char>(*p++);
    Lead t = classify(cFirst);
    if (t.nTail == 0) return kReplacementCharacter;
    unsigned nValue = cFirst & (0x3Fu >> t.nTail);
    for (; t.nTail > 0; --t.nTail, t.cLow = 0x80, t.cHigh = 0xBF) {
        if (p == pEnd) return kReplacementCharacter;
        const auto c = static_cast<unsigned char>(*p);
        if (c < t.cLow || c > t.cHigh) return kReplacementCharacter;
        nValue = (nValue << 6) | (c & 0x3F);
        ++p;
    }
    return static_cast<wchar_t>(nValue);
}

}  // namespace

void T2NEncodingUTF8<wchar_t>::encode(NarrowStringBufferBase& rBuffer, std::wstring_view s) const {
    // Room is made for the longest form of a piece at a time, so that the inner loop asks for none.
    constexpr std::size_t knPiece = 512, knLongest = 4;
    while (!s.empty()) {
        const std::wstring_view sPiece = s.substr(0, knPiece);
        s.remove_prefix(sPiece.size());
        char* const pStart = rBuffer.getAppendBuffer(sPiece.size() * knLongest);
        rBuffer.commitAppendBuffer(static_cast<std::size_t>(encodePiece(pStart, sPiece) - pStart));
    }
}

void N2WEncodingUTF8::encode(WideStringBufferBase& rBuffer, std::string_view s) const {
    // No sequence gives more characters than it has bytes.
    wchar_t* const pStart = rBuffer.getAppendBuffer(s.size());
    wchar_t* pTo = pStart;
    const char* p = s.data();
    const char* const pEnd = p + s.size();
    while (p != pEnd) {
        const std::size_t nAscii = widenAsciiRun(pTo, p, static_cast<std::size_t>(pEnd - p));
        p += nAscii;
        pTo += nAscii;
        while (p != pEnd && static_cast<unsigned char>(*p) >= 0x80)
            *pTo++ = takeMultibyte(p, pEnd);
    }
    rBuffer.commitAppendBuffer(static_cast<std::size_t>(pTo - pStart));
}
