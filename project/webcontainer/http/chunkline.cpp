#include "http/chunkline.h"

#include <limits>

#include "http/byteclass.h"

namespace webcontainer {

namespace {

constexpr unsigned s_knMostDigits = 16;
/// Others may count in signed numbers.
constexpr std::uint64_t s_knMostSize = std::numeric_limits<std::int64_t>::max();

constexpr std::size_t s_knByteKinds = 10;

/// The column of a byte in the table below.
std::size_t kindOf(char c) {
    constexpr std::string_view s_ksOwnKinds = "\r\n;=\"\\ \t";
    constexpr std::size_t s_tKinds[] = {6, 7, 2, 3, 4, 5, 1, 1};
    if (isOf(kTokenByte, c)) return 0;
    const std::size_t n = s_ksOwnKinds.find(c);
    if (n != std::string_view::npos) return s_tKinds[n];
    return isOf(kValueByte, c) ? 8 : 9;
}

using enum ChunkLine::EState;

/// The state after each kind of byte, for the states from kElementEnd to kLineEnd in their order. White space
/// must be followed by something, so that the line's end cannot be looked for in two places.
// clang-format off
constexpr ChunkLine::EState s_tNext[][s_knByteKinds] = {
    // token   space      ;         =          "            backslash CR        LF      text     control
    {kFault,  kGap,      kNameGap, kFault,    kFault,      kFault,   kLineEnd, kFault, kFault,  kFault},
    {kFault,  kGap,      kNameGap, kFault,    kFault,      kFault,   kFault,   kFault, kFault,  kFault},
    {kName,   kNameGap,  kFault,   kFault,    kFault,      kFault,   kFault,   kFault, kFault,  kFault},
    {kName,   kNameEnd,  kNameGap, kValueGap, kFault,      kFault,   kLineEnd, kFault, kFault,  kFault},
    {kFault,  kNameEnd,  kNameGap, kValueGap, kFault,      kFault,   kFault,   kFault, kFault,  kFault},
    {kValue,  kValueGap, kFault,   kFault,    kQuoted,     kFault,   kFault,   kFault, kFault,  kFault},
    {kValue,  kGap,      kNameGap, kFault,    kFault,      kFault,   kLineEnd, kFault, kFault,  kFault},
    {kQuoted, kQuoted,   kQuoted,  kQuoted,   kElementEnd, kEscaped, kFault,   kFault, kQuoted, kFault},
    {kQuoted, kQuoted,   kQuoted,  kQuoted,   kQuoted,     kQuoted,  kFault,   kFault, kQuoted, kFault},
    {kFault,  kFault,    kFault,   kFault,    kFault,      kFault,   kFault,   kDone,  kFault,  kFault},
};
// clang-format on

}  // namespace

Parsed ChunkLine::put(char c) noexcept {
    if (m_eState == kSize) {
        if (isOf(kHexDigitByte, c)) return putDigit(c);
        if (m_nDigits == 0) return Refusal{400, "a chunk without a size"};
        m_eState = kElementEnd;
    }
    m_eState = s_tNext[static_cast<std::size_t>(m_eState)][kindOf(c)];
    if (m_eState == kFault) return Refusal{400, "a malformed chunk size line"};
    if (m_eState == kDone) return Parsed::kDone;
    if (m_eState != kLineEnd && m_nExtensionLeft-- == 0)
        return Refusal{400, "chunk extensions that are too long"};
    return Parsed::kNeedMore;
}

Parsed ChunkLine::putDigit(char c) noexcept {
    const unsigned nDigit =
        isOf(kDigitByte, c) ? static_cast<unsigned>(c - '0') : static_cast<unsigned>((c | 0x20) - 'a') + 10;
    m_nSize = m_nSize * 16 + nDigit;
    if (++m_nDigits > s_knMostDigits || m_nSize > s_knMostSize)
        return Refusal{400, "a chunk size out of reach"};
    return Parsed::kNeedMore;
}

}  // namespace webcontainer
