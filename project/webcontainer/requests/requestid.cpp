#include "requests/requestid.h"

#include <sys/random.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "base/monotonicclock.h"
#include "http/fieldtext.h"

namespace webcontainer {

namespace {

constexpr std::string_view s_ksField = "traceparent";
constexpr std::size_t s_knDigits = 32;
constexpr std::string_view s_ksHexDigits = "0123456789abcdef";

/// xoshiro256**: unpredictable enough to be unique, and a few instructions. These are no secrets.
class Generator {
public:
    Generator() noexcept {
        if (::getrandom(m_tState, sizeof m_tState, GRND_NONBLOCK) == sizeof m_tState) return;
        // Before the kernel has gathered entropy: unique on this machine at least.
        m_tState[0] = static_cast<std::uint64_t>(monotonicUs());
        m_tState[1] = reinterpret_cast<std::uintptr_t>(this) | 1;
    }
    std::uint64_t next() noexcept {
        const std::uint64_t nResult = std::rotl(m_tState[1] * 5, 7) * 9;
        const std::uint64_t n = m_tState[1] << 17;
        m_tState[2] ^= m_tState[0];
        m_tState[3] ^= m_tState[1];
        m_tState[1] ^= m_tState[2];
        m_tState[0] ^= m_tState[3];
        m_tState[2] ^= n;
        m_tState[3] = std::rotl(m_tState[3], 45);
        return nResult;
    }

private:
    std::uint64_t m_tState[4] = {};
};

bool isHex(std::string_view s) {
    return s.find_first_not_of(s_ksHexDigits) == std::string_view::npos;
}

bool isZero(std::string_view s) {
    return s.find_first_not_of('0') == std::string_view::npos;
}

/// Writes s_knDigits digits to p.
void writeRandom(char* p) {
    static thread_local Generator t_tGenerator;
    std::uint64_t nHigh = 0;
    std::uint64_t nLow = 0;
    while ((nHigh | nLow) == 0) {
        nHigh = t_tGenerator.next();
        nLow = t_tGenerator.next();
    }
    unsigned char tBytes[s_knDigits / 2];
    std::memcpy(tBytes, &nHigh, sizeof nHigh);
    std::memcpy(tBytes + sizeof nHigh, &nLow, sizeof nLow);
    const auto toDigit = [](int n) { return static_cast<char>(n + (n > 9 ? 'a' - 10 : '0')); };
    for (std::size_t n = 0; n < sizeof tBytes; ++n) {  // in an order that lets the compiler use vectors
        p[n] = toDigit(tBytes[n] & 15);
        p[n + sizeof tBytes] = toDigit(tBytes[n] >> 4);
    }
}

}  // namespace

std::string_view findTraceId(std::string_view s) noexcept {
    // version "-" trace-id "-" parent-id "-" flags; a later version may go on behind another hyphen.
    constexpr std::size_t knLength = 55;
    if (s.size() < knLength || s[2] != '-' || s[35] != '-' || s[52] != '-') return {};
    const std::string_view sVersion = s.substr(0, 2);
    const std::string_view sTrace = s.substr(3, 32);
    const std::string_view sParent = s.substr(36, 16);
    if (!isHex(sVersion) || !isHex(sTrace) || !isHex(sParent) || !isHex(s.substr(53, 2))) return {};
    if (sVersion == "ff" || isZero(sTrace) || isZero(sParent)) return {};
    if (s.size() > knLength && (sVersion == "00" || s[knLength] != '-')) return {};
    return sTrace;
}

std::string_view RequestId::get(const RequestInput& rInput) noexcept {
    if (m_tDigits[0] == '\0' && !take(rInput)) writeRandom(m_tDigits);
    return {m_tDigits, sizeof m_tDigits};
}

/// More than one field means nothing, as an invalid one.
bool RequestId::take(const RequestInput& rInput) noexcept {
    std::string_view sValue;
    for (const HeaderField& r : rInput.getHead().tFields) {
        if (!equalsNoCase(rInput.text(r.tName), s_ksField)) continue;
        if (sValue.data()) return false;
        sValue = rInput.text(r.tValue);
    }
    const std::string_view sTrace = findTraceId(sValue);
    std::copy(sTrace.begin(), sTrace.end(), m_tDigits);
    return !sTrace.empty();
}

std::string makeRandomId() {
    std::string sId(s_knDigits, '0');
    writeRandom(sId.data());
    return sId;
}

}  // namespace webcontainer
