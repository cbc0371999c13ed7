#include "headrules.h"

#include <strings.h>

#include <cstdint>
#include <limits>

namespace webcontainer {

namespace {

/// rTarget cut down to nLength bytes from nFrom on.
Stretch cut(const Stretch& rTarget, std::size_t nFrom, std::size_t nLength) {
    return {rTarget.nFrom + static_cast<std::uint32_t>(nFrom), static_cast<std::uint32_t>(nLength)};
}

/// Splits what follows the authority at the question mark.
void splitPath(std::string_view sTarget, std::size_t nPath, RequestHead& rHead) {
    const std::size_t nMark = sTarget.find('?', nPath);
    const std::size_t nPathEnd = nMark == std::string_view::npos ? sTarget.size() : nMark;
    rHead.tPath = cut(rHead.tTarget, nPath, nPathEnd - nPath);
    if (rHead.tPath.nLength == 0) rHead.tPath.nFrom = RequestHead::knNowhere;
    rHead.tQuery = {RequestHead::knNowhere, 0};
    if (nMark != std::string_view::npos)
        rHead.tQuery = cut(rHead.tTarget, nMark + 1, sTarget.size() - nMark - 1);
}

/// The length of an absolute-form target's scheme with "://", or 0.
std::size_t measureScheme(std::string_view sTarget) {
    for (const std::string_view sScheme : {"http://", "https://"})
        if (equalsNoCase(sTarget.substr(0, sScheme.size()), sScheme)) return sScheme.size();
    return 0;
}

Refusal checkHosts(std::size_t nHosts, unsigned nVersion) {
    if (nHosts > 1) return {400, "more than one Host field"};
    if (nHosts == 0 && nVersion >= 11) return {400, "no Host field"};
    return {};
}

}  // namespace

bool equalsNoCase(std::string_view a, std::string_view b) noexcept {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool splitTarget(std::string_view sTarget, bool bConnect, RequestHead& rHead) {
    if (sTarget.front() == '/' || sTarget == "*" || bConnect) {
        splitPath(sTarget, 0, rHead);
        return true;
    }
    const std::size_t nScheme = measureScheme(sTarget);
    if (nScheme == 0) return false;
    const std::size_t nPath = std::min(sTarget.find_first_of("/?", nScheme), sTarget.size());
    rHead.tAuthority = cut(rHead.tTarget, nScheme, nPath - nScheme);
    splitPath(sTarget, nPath, rHead);
    return rHead.tAuthority.nLength != 0;
}

Refusal checkTransferEncoding(std::string_view sValue, unsigned nVersion) {
    if (nVersion < 11) return {400, "Transfer-Encoding in HTTP/1.0"};
    if (!equalsNoCase(sValue, "chunked")) return {501, "a transfer coding other than chunked"};
    return {};
}

Refusal checkHead(const char* pBegin, RequestHead& rHead) {
    std::size_t nHosts = 0;
    for (const HeaderField& r : rHead.tFields) {
        if (r.eKnown == EKnownField::kHost) ++nHosts;
        if (r.eKnown == EKnownField::kExpect && rHead.nVersion >= 11)
            rHead.bExpects100 = equalsNoCase({pBegin + r.tValue.nFrom, r.tValue.nLength}, "100-continue");
    }
    // The largest value of a size stands for "no length declared", so it cannot be a length.
    if (rHead.nContentLength > std::numeric_limits<std::uint64_t>::max() / 2)
        return {413, "the declared length is out of reach"};
    return checkHosts(nHosts, rHead.nVersion);
}

}  // namespace webcontainer
