#include "recordingtext.h"

#include <algorithm>
#include <charconv>

#include "zq/foundation/exception.h"
#include "zq/foundation/utf8text.h"

namespace {

constexpr std::string_view s_ksEscaped = "\r\n\t\\", s_ksEscapes = "rnt\\";
constexpr std::string_view s_ksHexDigits = "0123456789abcdef";
constexpr std::string_view s_ksBase64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool isUtf8(std::string_view s) {
    return toUtf8(fromUtf8(s).view()) == s;
}

bool isControl(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

constexpr std::array<std::uint32_t, 256> makeChecksumTable() {
    std::array<std::uint32_t, 256> tTable{};
    for (std::uint32_t n = 0; n < tTable.size(); ++n) {
        tTable[n] = n;
        for (int nBit = 0; nBit < 8; ++nBit)
            tTable[n] = (tTable[n] >> 1) ^ ((tTable[n] & 1) != 0 ? 0xEDB88320 : 0);
    }
    return tTable;
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

std::uint32_t checksum(std::string_view s) noexcept {
    static constexpr auto s_tTable = makeChecksumTable();
    std::uint32_t n = 0xFFFFFFFF;
    for (char c : s)
        n = (n >> 8) ^ s_tTable[(n ^ static_cast<unsigned char>(c)) & 0xFF];
    return ~n;
}

std::string checksumText(std::string_view s) {
    std::string sText(8, '0');
    std::uint32_t n = checksum(s);
    for (auto it = sText.rbegin(); it != sText.rend(); ++it, n >>= 4)
        *it = s_ksHexDigits[n & 15];
    return sText;
}

bool isText(std::string_view s) {
    const auto fIsOther = [](char c) { return isControl(c) && c != '\t' && c != '\r' && c != '\n'; };
    return std::ranges::none_of(s, fIsOther) && isUtf8(s);
}

std::string escapeBytes(std::string_view s) {
    const bool bUtf8 = isUtf8(s);
    std::string sText;
    for (std::size_t n = 0; n < s.size(); ++n) {
        const char c = s[n];
        const bool bLastSpace = c == ' ' && n + 1 == s.size();
        if (const std::size_t nEscape = s_ksEscaped.find(c); nEscape != s.npos) {
            sText.append({'\\', s_ksEscapes[nEscape]});
        } else if (isControl(c) || bLastSpace || (static_cast<unsigned char>(c) >= 0x80 && !bUtf8)) {
            const auto nByte = static_cast<unsigned char>(c);
            sText.append({'\\', 'x', s_ksHexDigits[nByte >> 4], s_ksHexDigits[nByte & 15]});
        } else {
            sText += c;
        }
    }
    return sText;
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
