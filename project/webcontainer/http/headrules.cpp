#include "http/headrules.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <system_error>

#include "http/authority.h"
#include "http/byteclass.h"
#include "http/fieldtext.h"

namespace webcontainer {

namespace {

/// The length of an absolute-form target's scheme with "://", or 0.
std::size_t measureScheme(std::string_view sTarget) {
    for (const std::string_view sScheme : {"http://", "https://"})
        if (equalsNoCase(sTarget.substr(0, sScheme.size()), sScheme)) return sScheme.size();
    return 0;
}

/// One head under inspection.
class HeadCheck {
public:
    HeadCheck(const char* pBegin, RequestHead& rHead) noexcept;

    Refusal checkTarget();
    Refusal checkHost();
    Refusal checkFraming();
    Refusal checkExpectation();
    Refusal checkConnection();

private:
    std::string_view text(const Stretch& r) const { return {m_pBegin + r.nFrom, r.nLength}; }
    std::size_t count(EKnownField e) const { return m_nCounts[static_cast<std::size_t>(e)]; }
    /// The last field of its kind, of which there must be one.
    HeaderField& field(EKnownField e) const { return *m_pFields[static_cast<std::size_t>(e)]; }
    std::string_view value(EKnownField e) const { return text(field(e).tValue); }
    bool isPlain(EKnownField e) const;
    Stretch cutTarget(std::size_t nFrom, std::size_t nLength) const;
    void splitPath(std::size_t nPath);
    Refusal checkAbsoluteForm(std::size_t nScheme);
    Refusal readLength();
    Refusal readCodings();

    const char* const m_pBegin;
    RequestHead& m_rHead;
    const std::string_view m_sTarget;
    const bool m_bConnect;
    std::array<std::size_t, knKnownFields> m_nCounts{};
    std::array<HeaderField*, knKnownFields> m_pFields{};
};

HeadCheck::HeadCheck(const char* pBegin, RequestHead& rHead) noexcept
    : m_pBegin(pBegin),
      m_rHead(rHead),
      m_sTarget(text(rHead.tTarget)),
      m_bConnect(text(rHead.tMethod) == "CONNECT") {
    for (HeaderField& r : rHead.tFields) {
        ++m_nCounts[static_cast<std::size_t>(r.eKnown)];
        m_pFields[static_cast<std::size_t>(r.eKnown)] = &r;
    }
}

Stretch HeadCheck::cutTarget(std::size_t nFrom, std::size_t nLength) const {
    return {m_rHead.tTarget.nFrom + static_cast<std::uint32_t>(nFrom), static_cast<std::uint32_t>(nLength)};
}

/// Splits what follows the authority at the question mark.
void HeadCheck::splitPath(std::size_t nPath) {
    const std::size_t nMark = m_sTarget.find('?', nPath);
    const std::size_t nPathEnd = std::min(nMark, m_sTarget.size());
    m_rHead.tPath = cutTarget(nPath, nPathEnd - nPath);
    if (m_rHead.tPath.nLength == 0) m_rHead.tPath.nFrom = RequestHead::knNowhere;
    m_rHead.tQuery = {RequestHead::knNowhere, 0};
    if (nMark != std::string_view::npos) m_rHead.tQuery = cutTarget(nMark + 1, m_sTarget.size() - nMark - 1);
}

/// The four forms of a target (RFC 9112 section 3.2), each only where it belongs.
Refusal HeadCheck::checkTarget() {
    if (m_bConnect) {
        if (!isAuthorityWithPort(m_sTarget)) return {400, "CONNECT needs a host and a port"};
        m_rHead.tAuthority = m_rHead.tTarget;
        m_rHead.tPath = m_rHead.tTarget;
        m_rHead.tQuery = {RequestHead::knNowhere, 0};
        return {};
    }
    const bool bAsterisk = m_sTarget == "*";
    if (bAsterisk && text(m_rHead.tMethod) != "OPTIONS") return {400, "only OPTIONS has the target *"};
    if (!bAsterisk && m_sTarget.front() != '/') return checkAbsoluteForm(measureScheme(m_sTarget));
    splitPath(0);
    return {};
}

Refusal HeadCheck::checkAbsoluteForm(std::size_t nScheme) {
    if (nScheme == 0) return {400, "a malformed request target"};
    const std::size_t nPath = std::min(m_sTarget.find_first_of("/?", nScheme), m_sTarget.size());
    m_rHead.tAuthority = cutTarget(nScheme, nPath - nScheme);
    if (!isAuthority(text(m_rHead.tAuthority))) return {400, "a malformed authority in the request target"};
    splitPath(nPath);
    return {};
}

/// RFC 9112 section 3.2.
Refusal HeadCheck::checkHost() {
    const std::size_t nHosts = count(EKnownField::kHost);
    if (nHosts > 1) return {400, "more than one Host field"};
    if (nHosts == 0) return m_rHead.eVersion == EVersion::k10 ? Refusal() : Refusal{400, "no Host field"};
    if (!isAuthority(value(EKnownField::kHost))) return {400, "a malformed Host field"};
    if (m_rHead.tAuthority.nLength != 0) field(EKnownField::kHost).tValue = m_rHead.tAuthority;
    return {};
}

/// RFC 9112 section 6. Two lengths are refused even when they are equal.
Refusal HeadCheck::checkFraming() {
    const std::size_t nLengths = count(EKnownField::kContentLength);
    const std::size_t nCodings = count(EKnownField::kTransferEncoding);
    if (nLengths + nCodings == 0) return {};
    if (nLengths + nCodings > 1) return {400, "more than one length of the body"};
    return nLengths == 1 ? readLength() : readCodings();
}

/// Whether nothing surrounds a value but one space in front: others may not trim the same white space.
bool HeadCheck::isPlain(EKnownField e) const {
    const Stretch& rName = field(e).tName;
    const Stretch& rValue = field(e).tValue;
    const std::size_t nColon = std::size_t{rName.nFrom} + rName.nLength;
    const std::string_view sGap(m_pBegin + nColon + 1, rValue.nFrom - nColon - 1);
    return (sGap.empty() || sGap == " ") && m_pBegin[rValue.nFrom + rValue.nLength] == '\r';
}

Refusal HeadCheck::readLength() {
    const std::string_view sLength = value(EKnownField::kContentLength);
    if (!isPlain(EKnownField::kContentLength) || !isAllOf(kDigitByte, sLength))
        return {400, "a malformed Content-Length"};
    std::uint64_t& rnLength = m_rHead.nContentLength;
    const auto tResult = std::from_chars(sLength.data(), sLength.data() + sLength.size(), rnLength);
    if (tResult.ec != std::errc()) return {400, "a Content-Length out of reach"};
    // The largest value of a size stands for "no length declared", and others may count in signed numbers.
    if (rnLength > std::uint64_t{std::numeric_limits<std::int64_t>::max()})
        return {413, "the declared length is out of reach"};
    m_rHead.eFraming = rnLength == 0 ? EBodyFraming::kNone : EBodyFraming::kDeclared;
    return {};
}

/// RFC 9112 section 6.1: chunked once and last, and here nothing else.
Refusal HeadCheck::readCodings() {
    if (m_rHead.eVersion == EVersion::k10) return {400, "Transfer-Encoding in HTTP/1.0"};
    bool bTokens = isPlain(EKnownField::kTransferEncoding);
    bool bOther = false;
    bool bLast = false;
    std::size_t nChunked = 0;
    forEachElement(value(EKnownField::kTransferEncoding), [&](std::string_view s) {
        bTokens = bTokens && isAllOf(kTokenByte, s);
        bLast = equalsNoCase(s, "chunked");
        bOther = bOther || !bLast;
        nChunked += bLast;
    });
    if (!bTokens || nChunked > 1 || (nChunked == 1 && !bLast)) return {400, "a malformed Transfer-Encoding"};
    if (bOther) return {501, "a transfer coding other than chunked"};
    m_rHead.eFraming = EBodyFraming::kChunked;
    return {};
}

/// RFC 9110 section 10.1.1; HTTP/1.0 knows no expectations.
Refusal HeadCheck::checkExpectation() {
    if (m_rHead.eVersion == EVersion::k10 || count(EKnownField::kExpect) == 0) return {};
    m_rHead.bExpects100 =
        count(EKnownField::kExpect) == 1 && equalsNoCase(value(EKnownField::kExpect), "100-continue");
    return m_rHead.bExpects100 ? Refusal() : Refusal{417, "an expectation other than 100-continue"};
}

/// RFC 9112 section 9.3. Whether a tunnel begins behind CONNECT is for others to say, so nothing follows it.
Refusal HeadCheck::checkConnection() {
    bool bClose = m_bConnect;
    bool bKeep = m_rHead.eVersion == EVersion::k11;
    bool bTokens = true;
    if (count(EKnownField::kConnection) + count(EKnownField::kProxyConnection) != 0) {
        for (const HeaderField& r : m_rHead.tFields) {
            const bool bOurs = r.eKnown == EKnownField::kConnection;
            // Of proxies that speak to a proxy; here it means nothing, but others take it for the same list.
            if (!bOurs && r.eKnown != EKnownField::kProxyConnection) continue;
            forEachElement(text(r.tValue), [&](std::string_view s) {
                bTokens = bTokens && (s.empty() || isAllOf(kTokenByte, s));
                bClose = bClose || (bOurs && equalsNoCase(s, "close"));
                bKeep = bKeep || (bOurs && equalsNoCase(s, "keep-alive"));
            });
        }
    }
    m_rHead.bKeepAlive = bKeep && !bClose;
    return bTokens ? Refusal() : Refusal{400, "a malformed header field value"};
}

}  // namespace

Parsed checkHead(const char* pBegin, RequestHead& rHead) {
    HeadCheck tCheck(pBegin, rHead);
    // What is malformed goes before what is only not supported.
    for (const auto fCheck : {&HeadCheck::checkTarget, &HeadCheck::checkHost, &HeadCheck::checkConnection,
                              &HeadCheck::checkFraming, &HeadCheck::checkExpectation})
        if (const Refusal tRefusal = (tCheck.*fCheck)(); tRefusal.nStatus != 0) return tRefusal;
    return Parsed::kDone;
}

}  // namespace webcontainer
