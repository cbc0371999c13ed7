#include "recordingtext.h"

#include <emmintrin.h>
#include <libdeflate.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <bit>
#include <charconv>

#include "zq/foundation/exception.h"
#include "zq/foundation/utf8text.h"

namespace {

constexpr std::string_view s_ksEscaped = "\r\n\t\\", s_ksEscapes = "rnt\\";
constexpr std::string_view s_ksHexDigits = "0123456789abcdef";
constexpr std::string_view s_ksBase64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// What kind of byte each one is, as bits.
enum EByte : unsigned { kPlain = 0, kShort = 1, kOtherControl = 2, kHigh = 4, kAny = 7 };

constexpr std::array<std::uint8_t, 256> s_tBytes = [] {
    std::array<std::uint8_t, 256> tBytes{};
    for (std::size_t n = 0; n < tBytes.size(); ++n)
        tBytes[n] = n >= 0x80 ? kHigh : n < ' ' || n == 0x7f ? kOtherControl : kPlain;
    for (const char c : s_ksEscaped)
        tBytes[static_cast<unsigned char>(c)] = kShort;
    return tBytes;
}();

unsigned kindOf(char c) {
    return s_tBytes[static_cast<unsigned char>(c)];
}

/// Where the first byte of one of these kinds stands; its size when there is none.
std::size_t findKinds(std::string_view s, unsigned nKinds) {
    constexpr std::size_t knVector = sizeof(__m128i);
    std::size_t n = 0;
    for (; n < s.size(); ++n) {
        if (s.size() - n >= knVector) {
            const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s.data() + n));
            // Signed, the high ones are below a space too.
            const __m128i tBelow = _mm_cmplt_epi8(t, _mm_set1_epi8(' '));
            const __m128i tEqual = _mm_or_si128(_mm_cmpeq_epi8(t, _mm_set1_epi8('\\')),
                                                _mm_cmpeq_epi8(t, _mm_set1_epi8('\x7f')));
            const auto nNotPlain = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(tBelow, tEqual)));
            n += nNotPlain == 0 ? knVector - 1 : static_cast<std::size_t>(std::countr_zero(nNotPlain));
            if (nNotPlain == 0) continue;
        }
        if ((kindOf(s[n]) & nKinds) != 0) break;
    }
    return n;
}

bool hasOtherThanUtf8(std::string_view s) {
    s.remove_prefix(findKinds(s, kHigh));
    UErrorCode eError = U_ZERO_ERROR;
    if (!s.empty())  // only looked at, as there is no room for the result
        u_strFromUTF8(nullptr, 0, nullptr, s.data(), static_cast<std::int32_t>(s.size()), &eError);
    return eError == U_INVALID_CHAR_FOUND;
}

void appendHex(std::string& rsText, char c) {
    const auto nByte = static_cast<unsigned char>(c);
    rsText.append({'\\', 'x', s_ksHexDigits[nByte >> 4], s_ksHexDigits[nByte & 15]});
}

/// sNewLine: goes behind each line feed that something follows.
void appendRest(std::string& rsText, std::string_view s, unsigned nEscaped, std::string_view sNewLine) {
    const bool bEndsInSpace = s.ends_with(' ');
    if (bEndsInSpace) s.remove_suffix(1);
    while (!s.empty()) {
        const std::size_t n = findKinds(s, nEscaped);
        rsText.append(s.substr(0, n));
        if (n == s.size()) break;
        if (const std::size_t nEscape = s_ksEscaped.find(s[n]); nEscape != s.npos)
            rsText.append({'\\', s_ksEscapes[nEscape]});
        else
            appendHex(rsText, s[n]);
        if (s[n] == '\n' && (n + 1 < s.size() || bEndsInSpace)) rsText.append(sNewLine);
        s.remove_prefix(n + 1);
    }
    if (bEndsInSpace) appendHex(rsText, ' ');
}

}  // namespace

std::string messageOf(const std::exception_ptr& pException) {
    try {
        std::rethrow_exception(pException);
    } catch (const Exception& e) {
        return toUtf8(e.getMessageText());
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "an exception of an unknown type";
    }
}

std::string checksumText(std::string_view s) {
    std::string sText(8, '0');
    std::uint32_t n = ::libdeflate_crc32(0, s.data(), s.size());
    for (auto it = sText.rbegin(); it != sText.rend(); ++it, n >>= 4)
        *it = s_ksHexDigits[n & 15];
    return sText;
}

bool isText(std::string_view s) {
    return findKinds(s, kOtherControl) == s.size() && !hasOtherThanUtf8(s);
}

std::string escapeBytes(std::string_view s) {
    std::string sText;
    appendEscaped(sText, s);
    return sText;
}

void appendEscaped(std::string& rsText, std::string_view s) {
    if (findKinds(s, kAny) == s.size() && !s.ends_with(' '))  // as most are
        rsText.append(s);
    else
        appendRest(rsText, s, kShort | kOtherControl | (hasOtherThanUtf8(s) ? kHigh : kPlain), {});
}

void appendText(std::string& rsText, std::string_view s, std::string_view sNewLine) {
    appendRest(rsText, s, kShort, sNewLine);
}

bool unescapeBytes(std::string_view s, std::string& rsBytes) {
    for (std::size_t n = 0; n < s.size(); ++n) {
        if (s[n] != '\\') {
            rsBytes += s[n];
            continue;
        }
        if (++n == s.size()) return false;
        if (const std::size_t nEscape = s_ksEscapes.find(s[n]); nEscape != s.npos) {
            rsBytes += s_ksEscaped[nEscape];
            continue;
        }
        unsigned nByte = 0;
        const std::string_view sDigits = s.substr(n + 1, 2);
        const char* const pEnd = sDigits.data() + sDigits.size();
        if (s[n] != 'x' || sDigits.size() != 2 ||
            std::from_chars(sDigits.data(), pEnd, nByte, 16).ptr != pEnd)
            return false;
        rsBytes += static_cast<char>(nByte);
        n += 2;
    }
    return true;
}

bool decodeBase64(std::string_view s, std::string& rsBytes) {
    if (s.size() % 4 != 0) return false;
    const std::size_t nDigits = std::min(s.find('='), s.size());
    if (s.size() - nDigits > 2 || s.find_first_not_of('=', nDigits) != s.npos) return false;
    std::uint32_t nBits = 0;
    for (std::size_t n = 0; n < nDigits; ++n) {
        const std::size_t nDigit = s_ksBase64Digits.find(s[n]);
        if (nDigit == s.npos) return false;
        nBits = (nBits << 6) | static_cast<std::uint32_t>(nDigit);
        if (n % 4 != 0) rsBytes += static_cast<char>((nBits >> (6 - n % 4 * 2)) & 0xFF);
    }
    return true;
}
