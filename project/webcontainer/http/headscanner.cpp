#include "http/headscanner.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace webcontainer {

namespace {

/// RFC 9112 section 2.3; each # is one digit.
constexpr std::string_view s_ksVersionPattern = "HTTP/#.#";

constexpr Refusal s_tBadMethod{400, "a malformed method"};
constexpr Refusal s_tBadTarget{400, "a malformed request target"};
constexpr Refusal s_tBadVersion{400, "a malformed HTTP version"};
constexpr Refusal s_tOtherVersion{505, "an HTTP version other than 1.0 and 1.1"};

}  // namespace

HeadScanner::HeadScanner(const Limits& rLimits) noexcept
    : m_nMaxLine(std::min(rLimits.nMaxRequestLineBytes, rLimits.nMaxHeadBytes)),
      m_nMaxHead(rLimits.nMaxHeadBytes),
      m_tScanner(rLimits.nMaxHeaderFields) {}

Parsed HeadScanner::scan(const char* pBegin, std::size_t& rnFrom, std::size_t nEnd, RequestHead& rHead) {
    const char* p = pBegin + rnFrom;
    Parsed tParsed = Parsed::kNeedMore;
    if (m_eState != EState::kFields) {
        tParsed = scanLine(p, pBegin + std::min(nEnd, m_nMaxLine));
        // Also of a line that is refused behind it.
        if (m_eState > EState::kMethod) rHead.bHead = std::string_view(pBegin, m_nMethod) == "HEAD";
        if (m_eState == EState::kFields) beginFields(rHead);
    }
    if (m_eState == EState::kFields && tParsed == Parsed::kNeedMore) {
        tParsed = m_tScanner.scan(p, pBegin + std::min(nEnd, m_nMaxHead), pBegin, &m_tFields);
        if (tParsed == Parsed::kDone) rHead.tFields = std::move(m_tFields);
    }
    rnFrom = static_cast<std::size_t>(p - pBegin);
    if (tParsed != Parsed::kNeedMore) return tParsed;
    if (m_eState != EState::kFields && rnFrom == m_nMaxLine)
        return Refusal{414, "the request line is too long"};
    if (rnFrom == m_nMaxHead) return Refusal{431, "the header fields are too long"};
    return Parsed::kNeedMore;
}

void HeadScanner::beginFields(RequestHead& rHead) noexcept {
    rHead.tMethod = {0, m_nMethod};
    rHead.tTarget = {m_nMethod + 1, m_nTarget};
    rHead.eVersion = m_nVersion == 10 ? EVersion::k10 : EVersion::k11;
    m_tFields = std::move(rHead.tFields);
}

Parsed HeadScanner::scanLine(const char*& p, const char* pEnd) noexcept {
    Parsed tParsed = Parsed::kNeedMore;
    while (p != pEnd && m_eState != EState::kFields && tParsed == Parsed::kNeedMore)
        tParsed = step(p, pEnd);
    return tParsed;
}

Parsed HeadScanner::step(const char*& p, const char* pEnd) noexcept {
    switch (m_eState) {
        case EState::kMethodStart:
            return beginPart(*p, kTokenByte, EState::kMethod, s_tBadMethod);
        case EState::kMethod:
            return scanMethod(p, pEnd);
        case EState::kTargetStart:
            return beginPart(*p, kTargetByte, EState::kTarget, s_tBadTarget);
        case EState::kTarget:
            return scanTarget(p, pEnd);
        case EState::kVersion:
            return scanVersion(p, pEnd);
        default:
            return endLine(*p++);
    }
}

/// Nothing is empty; the byte itself is left to the part.
Parsed HeadScanner::beginPart(char c, EByteClass eClass, EState eState, const Refusal& rRefusal) noexcept {
    return isOf(eClass, c) ? go(eState) : rRefusal;
}

Parsed HeadScanner::scanMethod(const char*& p, const char* pEnd) noexcept {
    const char* const pFrom = p;
    p = skipBytes(kTokenByte, p, pEnd);
    m_nMethod += static_cast<std::uint32_t>(p - pFrom);
    if (p == pEnd) return Parsed::kNeedMore;
    return *p++ == ' ' ? go(EState::kTargetStart) : s_tBadMethod;
}

Parsed HeadScanner::scanTarget(const char*& p, const char* pEnd) noexcept {
    const char* const pFrom = p;
    p = skipBytes(kTargetByte, p, pEnd);
    m_nTarget += static_cast<std::uint32_t>(p - pFrom);
    if (p == pEnd) return Parsed::kNeedMore;
    const char c = *p++;
    if (c == ' ') return go(EState::kVersion);
    if (c == '\r') return go(EState::kLineEndWithoutVersion);
    return c == '#' ? Refusal{400, "a fragment in the request target"} : s_tBadTarget;
}

Parsed HeadScanner::scanVersion(const char*& p, const char* pEnd) noexcept {
    for (; p != pEnd && m_nVersionBytes != s_ksVersionPattern.size(); ++p) {
        const char cExpected = s_ksVersionPattern[m_nVersionBytes++];
        const bool bDigit = cExpected == '#';
        if (bDigit ? !isOf(kDigitByte, *p) : *p != cExpected) return s_tBadVersion;
        if (bDigit) m_nVersion = 10 * m_nVersion + static_cast<unsigned>(*p - '0');
    }
    if (p == pEnd) return Parsed::kNeedMore;
    return *p++ == '\r' ? go(EState::kLineEnd) : s_tBadVersion;
}

/// A line without a version is HTTP/0.9's. A higher minor version than ours is not taken for 1.1 either,
/// though it could be (RFC 9110 section 2.5): there is none, so whoever sends it is up to something.
Parsed HeadScanner::endLine(char c) noexcept {
    if (c != '\n') return s_tBadLineEnd;
    const bool bKnown = m_eState == EState::kLineEnd && (m_nVersion == 10 || m_nVersion == 11);
    return bKnown ? go(EState::kFields) : s_tOtherVersion;
}

Parsed HeadScanner::go(EState eState) noexcept {
    m_eState = eState;
    return Parsed::kNeedMore;
}

}  // namespace webcontainer
