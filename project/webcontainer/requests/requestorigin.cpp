#include "requests/requestorigin.h"

#include "http/authority.h"
#include "http/fieldtext.h"

namespace webcontainer {

namespace {

/// An IP address with or without a port. False: it is none, "unknown" and made-up names included.
bool parseNode(std::string_view s, SocketAddress& rAddress) {
    if (SocketAddress::parse(s, rAddress) || SocketAddress::parseHost(s, rAddress)) return true;
    return s.size() > 2 && s.front() == '[' && s.back() == ']' &&
           SocketAddress::parseHost(s.substr(1, s.size() - 2), rAddress);
}

RequestOrigin::EScheme toScheme(std::string_view s) {
    if (equalsNoCase(s, "https")) return RequestOrigin::EScheme::kHttps;
    return equalsNoCase(s, "http") ? RequestOrigin::EScheme::kHttp : RequestOrigin::EScheme::kUnknown;
}

}  // namespace

std::string RequestOrigin::Facts::describeClient() const {
    return tClient.portNumber() == 0 ? tClient.host() : tClient.text();
}

const RequestOrigin::Facts& RequestOrigin::get(const RequestInput& rInput, const ConnectionEnds& rEnds) {
    if (m_bKnown) return m_tFacts;
    m_tFacts = {rEnds.tClient, EScheme::kUnknown, {}};
    if (rEnds.pTrusted && rInput.isHeadComplete()) believe(readForwardedHops(rInput), *rEnds.pTrusted);
    m_bKnown = true;
    return m_tFacts;
}

void RequestOrigin::believe(const std::vector<ForwardedHop>& rHops, const TrustedProxies& rTrusted) {
    SocketAddress tClient;
    const ForwardedHop* pClient = nullptr;
    for (auto pHop = rHops.rbegin(); pHop != rHops.rend(); ++pHop) {
        if (!parseNode(pHop->sFor, tClient)) return;
        tClient.unmap();
        pClient = &*pHop;
        if (!rTrusted.contains(tClient)) break;
    }
    if (!pClient) return;
    m_tFacts = {tClient, toScheme(pClient->sProto), {}};
    if (isAuthority(pClient->sHost)) m_tFacts.sHost = pClient->sHost;
}

}  // namespace webcontainer
