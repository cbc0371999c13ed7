#include "requests/servervariables.h"

#include <algorithm>

#include "zq/httpstream/servervariables.h"

namespace webcontainer {

namespace {

char toUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

/// Whether a header field's name is the one that a variable stands for.
bool isFieldOf(std::string_view sVariable, std::string_view sField) {
    return std::equal(
        sVariable.begin(), sVariable.end(), sField.begin(), sField.end(), [](char cVariable, char cField) {
            return cField == '-' ? cVariable == '_' : cField != '_' && cVariable == toUpper(cField);
        });
}

/// The host of "host", "host:port" or "[v6]:port".
std::string_view cutPort(std::string_view sAuthority) {
    const std::size_t nColon = sAuthority.rfind(':');
    const std::size_t nBracket = sAuthority.rfind(']');
    if (nColon == std::string_view::npos || (nBracket != std::string_view::npos && nColon < nBracket))
        return sAuthority;
    return sAuthority.substr(0, nColon);
}

bool store(std::string_view s, std::string_view& rsValue, NarrowStringBufferBase& rStorage) {
    rStorage.append(s);
    rsValue = rStorage.view();
    return true;
}

}  // namespace

const ServerVariables::Variable ServerVariables::s_tVariables[12] = {
    {ServerVariable::kUrl, &ServerVariables::getUrl},
    {ServerVariable::kRequestMethod, &ServerVariables::getMethod},
    {ServerVariable::kQueryString, &ServerVariables::getQuery},
    {ServerVariable::kServerProtocol, &ServerVariables::getProtocol},
    {ServerVariable::kContentType, &ServerVariables::getContentType},
    {ServerVariable::kContentLength, &ServerVariables::getContentLength},
    {ServerVariable::kServerName, &ServerVariables::getServerName},
    {ServerVariable::kServerPort, &ServerVariables::getServerPort},
    {ServerVariable::kRemoteAddress, &ServerVariables::getRemoteAddress},
    {ServerVariable::kRemotePort, &ServerVariables::getRemotePort},
    {ServerVariable::kHttps, &ServerVariables::getHttps},
    {ServerVariable::kRequestId, &ServerVariables::getRequestId},
};

bool ServerVariables::find(std::string_view sName, std::string_view& rsValue,
                           NarrowStringBufferBase& rStorage) const {
    if (sName.starts_with(s_ksHeaderPrefix))
        return getHeader(sName.substr(s_ksHeaderPrefix.size()), rsValue, rStorage);
    for (const Variable& r : s_tVariables)
        if (r.sName == sName) return (this->*r.pGetter)(rsValue, rStorage);
    return false;
}

bool ServerVariables::getUrl(std::string_view& rsValue, NarrowStringBufferBase&) const {
    rsValue = m_rInput.getPath();
    return true;
}

bool ServerVariables::getMethod(std::string_view& rsValue, NarrowStringBufferBase&) const {
    rsValue = m_rInput.text(m_rInput.getHead().tMethod);
    return true;
}

bool ServerVariables::getQuery(std::string_view& rsValue, NarrowStringBufferBase&) const {
    const Stretch& r = m_rInput.getHead().tQuery;
    rsValue = r.nFrom == RequestHead::knNowhere ? std::string_view() : m_rInput.text(r);
    return true;
}

bool ServerVariables::getProtocol(std::string_view& rsValue, NarrowStringBufferBase&) const {
    rsValue = toText(m_rInput.getHead().eVersion);
    return true;
}

bool ServerVariables::getContentType(std::string_view& rsValue, NarrowStringBufferBase&) const {
    return getKnownField(EKnownField::kContentType, rsValue);
}

bool ServerVariables::getContentLength(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const {
    const RequestHead& r = m_rInput.getHead();
    if (r.eFraming != EBodyFraming::kDeclared) return false;
    appendDecimal(rStorage, r.nContentLength);
    rsValue = rStorage.view();
    return true;
}

/// The host that the client asked, with its port, if any.
std::string_view ServerVariables::findAuthority() const {
    if (!origin().sHost.empty()) return origin().sHost;
    // An absolute-form target overrides the Host field (RFC 9112 section 3.2.2).
    std::string_view sAuthority = m_rInput.text(m_rInput.getHead().tAuthority);
    if (sAuthority.empty()) getKnownField(EKnownField::kHost, sAuthority);
    return sAuthority;
}

bool ServerVariables::getServerName(std::string_view& rsValue, NarrowStringBufferBase&) const {
    rsValue = cutPort(findAuthority());
    return rsValue.data() != nullptr;
}

bool ServerVariables::getServerPort(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const {
    const RequestOrigin::EScheme eScheme = origin().eScheme;
    if (eScheme == RequestOrigin::EScheme::kUnknown) {
        appendDecimal(rStorage, m_rEnds.nServerPort);
        rsValue = rStorage.view();
        return true;
    }
    // The proxy's client has not reached this server's port.
    const std::string_view sAuthority = findAuthority();
    rsValue = sAuthority.substr(std::min(cutPort(sAuthority).size() + 1, sAuthority.size()));
    if (rsValue.empty()) rsValue = eScheme == RequestOrigin::EScheme::kHttps ? "443" : "80";
    return true;
}

bool ServerVariables::getRemoteAddress(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const {
    return store(origin().tClient.host(), rsValue, rStorage);
}

bool ServerVariables::getRemotePort(std::string_view& rsValue, NarrowStringBufferBase& rStorage) const {
    const SocketAddress& r = origin().tClient;
    return store(r.portNumber() == 0 ? std::string() : r.port(), rsValue, rStorage);
}

bool ServerVariables::getHttps(std::string_view& rsValue, NarrowStringBufferBase&) const {
    rsValue = origin().eScheme == RequestOrigin::EScheme::kHttps ? "on" : "off";
    return true;
}

bool ServerVariables::getRequestId(std::string_view& rsValue, NarrowStringBufferBase&) const {
    rsValue = m_rId.get(m_rInput);
    return true;
}

bool ServerVariables::getKnownField(EKnownField eKnown, std::string_view& rsValue) const {
    for (const HeaderField& r : m_rInput.getHead().tFields) {
        if (r.eKnown != eKnown) continue;
        rsValue = m_rInput.text(r.tValue);
        return true;
    }
    return false;
}

bool ServerVariables::getHeader(std::string_view sName, std::string_view& rsValue,
                                NarrowStringBufferBase& rStorage) const {
    const std::string_view sSeparator = sName == "COOKIE" ? "; " : ", ";
    bool bFound = false;
    for (const HeaderField& r : m_rInput.getHead().tFields) {
        if (r.tName.nLength != sName.size() || !isFieldOf(sName, m_rInput.text(r.tName))) continue;
        if (bFound) rStorage.append(sSeparator);
        rStorage.append(m_rInput.text(r.tValue));
        bFound = true;
    }
    rsValue = rStorage.view();
    return bFound;
}

}  // namespace webcontainer
