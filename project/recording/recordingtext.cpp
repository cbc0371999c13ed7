#include "recordingtext.h"

#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "zq/foundation/exception.h"
#include "zq/foundation/utf8text.h"

namespace {

constexpr std::string_view s_ksEscaped = "\r\n\t\\", s_ksEscapes = "rnt\\";
constexpr std::string_view s_ksHexDigits = "0123456789abcdef";
constexpr std::string_view s_ksBase64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// What kind of byte each one is, as bits.
enum EByte : unsigned { kPlain = 0, kShort = 1, kOtherControl = 2, kHigh = 4 };

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

bool isUtf8(std::string_view s) {
    return toUtf8(fromUtf8(s).view()) == s;
}

void appendHex(std::string& rsText, char c) {
    const auto nByte = static_cast<unsigned char>(c);
    rsText.append({'\\', 'x', s_ksHexDigits[nByte >> 4], s_ksHexDigits[nByte & 15]});
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
    auto n = static_cast<std::uint32_t>(::crc32_z(0, reinterpret_cast<const Bytef*>(s.data()), s.size()));
    for (auto it = sText.rbegin(); it != sText.rend(); ++it, n >>= 4)
        *it = s_ksHexDigits[n & 15];
    return sText;
}

bool isText(std::string_view s) {
    unsigned nKinds = kPlain;
    for (const char c : s)
        nKinds |= kindOf(c);
    return (nKinds & kOtherControl) == 0 && ((nKinds & kHigh) == 0 || isUtf8(s));
}

std::string escapeBytes(std::string_view s) {
    std::string sText;
    appendEscaped(sText, s);
    return sText;
}

void appendEscaped(std::string& rsText, std::string_view s) {
    const bool bEndsInSpace = s.ends_with(' ');
    if (bEndsInSpace) s.remove_suffix(1);
    unsigned nEscaped = kShort | kOtherControl | kHigh;
    bool bHigh = false;
    std::size_t nDone = 0;
    for (std::size_t n = 0; n < s.size(); ++n) {
        const unsigned nKind = kindOf(s[n]);
        if (nKind == kHigh && !std::exchange(bHigh, true) && isUtf8(s)) nEscaped &= ~kHigh;
        if ((nKind & nEscaped) == 0) continue;
        rsText.append(s.substr(nDone, n - nDone));
        nDone = n + 1;
        if (const std::size_t nEscape = s_ksEscaped.find(s[n]); nEscape != s.npos)
            rsText.append({'\\', s_ksEscapes[nEscape]});
        else
            appendHex(rsText, s[n]);
    }
    rsText.append(s.substr(nDone));
    if (bEndsInSpace) appendHex(rsText, ' ');
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
