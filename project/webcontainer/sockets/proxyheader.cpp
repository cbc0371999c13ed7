#include "sockets/proxyheader.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace webcontainer {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view s_ksTextStart = "PROXY ";
constexpr std::string_view s_ksEndOfLine = "\r\n";
constexpr std::size_t s_knMostText = 107;
constexpr std::string_view s_ksBinaryStart = "\r\n\r\n\0\r\nQUIT\n"sv;
constexpr std::size_t s_knBinaryHead = 16;  ///< up to and with the length of the rest
constexpr unsigned char s_kcLocal = 0x20, s_kcProxy = 0x21;
constexpr unsigned char s_kcUnspecified = 0x00, s_kcTcp4 = 0x11, s_kcTcp6 = 0x21, s_kcUnixStream = 0x31;

/// Whether a text can be, or go on to be, one with that start.
bool isBegun(std::string_view s, std::string_view sStart) {
    return s.substr(0, sStart.size()) == sStart.substr(0, s.size());
}

unsigned char byteAt(std::string_view s, std::size_t n) {
    return static_cast<unsigned char>(s[n]);
}

unsigned readBigEndian(std::string_view s, std::size_t n) {
    return unsigned{byteAt(s, n)} << 8 | byteAt(s, n + 1);
}

/// A port as one writes it, without zeros in front.
bool readPort(std::string_view s, unsigned& rnPort) {
    std::uint16_t nPort = 0;
    const auto [pEnd, eError] = std::from_chars(s.data(), s.data() + s.size(), nPort);
    rnPort = nPort;
    return eError == std::errc() && pEnd == s.data() + s.size() && (s.size() == 1 || s.front() != '0');
}

}  // namespace

ProxyHeader::EParsed ProxyHeader::parse(std::string_view sBytes, EProxyProtocol eSpoken) {
    if (eSpoken != EProxyProtocol::kV2 && isBegun(sBytes, s_ksTextStart)) return parseText(sBytes);
    if (eSpoken != EProxyProtocol::kV1 && isBegun(sBytes, s_ksBinaryStart)) return parseBinary(sBytes);
    return EParsed::kMalformed;
}

ProxyHeader::EParsed ProxyHeader::parseText(std::string_view sBytes) {
    sBytes = sBytes.substr(0, s_knMostText);
    const std::size_t nEnd = sBytes.find(s_ksEndOfLine);
    if (nEnd == std::string_view::npos)
        return sBytes.size() == s_knMostText ? EParsed::kMalformed : EParsed::kNeedMore;
    nLength = nEnd + s_ksEndOfLine.size();
    return readLine(sBytes.substr(s_ksTextStart.size(), nEnd - s_ksTextStart.size())) ? EParsed::kDone
                                                                                      : EParsed::kMalformed;
}

/// "TCP4 192.0.2.1 198.51.100.1 40000 443"; behind "UNKNOWN" may stand anything.
bool ProxyHeader::readLine(std::string_view sLine) {
    std::array<std::string_view, 5> tWords;
    for (std::string_view& r : tWords) {
        const std::size_t nEnd = std::min(sLine.find(' '), sLine.size());
        r = sLine.substr(0, nEnd);
        sLine.remove_prefix(std::min(nEnd + (&r != &tWords.back()), sLine.size()));
    }
    const auto& [sFamily, sClient, sServer, sClientPort, sServerPort] = tWords;
    if (sFamily == "UNKNOWN") return true;
    const int nFamily = sFamily == "TCP4" ? AF_INET : sFamily == "TCP6" ? AF_INET6 : AF_UNSPEC;
    SocketAddress tServer;
    unsigned nClientPort = 0;
    if (!SocketAddress::parseHost(sClient, tClient) || !SocketAddress::parseHost(sServer, tServer) ||
        tClient.family() != nFamily || tServer.family() != nFamily || !readPort(sClientPort, nClientPort) ||
        !readPort(sServerPort, nServerPort) || !sLine.empty())
        return false;
    tClient = SocketAddress::ofBytes(tClient.bytes(), nClientPort);
    bIsForClient = true;
    return true;
}

ProxyHeader::EParsed ProxyHeader::parseBinary(std::string_view sBytes) {
    if (sBytes.size() < s_knBinaryHead) return EParsed::kNeedMore;
    const unsigned char cCommand = byteAt(sBytes, 12);
    const std::size_t nRest = readBigEndian(sBytes, 14);
    nLength = s_knBinaryHead + nRest;
    if ((cCommand != s_kcLocal && cCommand != s_kcProxy) || nLength > s_knMostBytes)
        return EParsed::kMalformed;
    if (sBytes.size() < nLength) return EParsed::kNeedMore;
    // Of a connection of the proxy's own, family and addresses mean nothing.
    const bool bGood =
        cCommand == s_kcLocal || readAddresses(byteAt(sBytes, 13), sBytes.substr(s_knBinaryHead, nRest));
    return bGood ? EParsed::kDone : EParsed::kMalformed;
}

/// Both addresses, then both ports; behind them may stand more.
bool ProxyHeader::readAddresses(unsigned char cFamily, std::string_view sAddresses) {
    constexpr std::size_t nUnixAddresses = 216;
    if (cFamily == s_kcUnspecified) return true;
    if (cFamily == s_kcUnixStream) return sAddresses.size() >= nUnixAddresses;
    if (cFamily != s_kcTcp4 && cFamily != s_kcTcp6) return false;
    const std::size_t nAddress = cFamily == s_kcTcp4 ? 4 : 16;
    if (sAddresses.size() < 2 * nAddress + 4) return false;
    const auto* const pClient = reinterpret_cast<const std::uint8_t*>(sAddresses.data());
    tClient = SocketAddress::ofBytes({pClient, nAddress}, readBigEndian(sAddresses, 2 * nAddress));
    nServerPort = readBigEndian(sAddresses, 2 * nAddress + 2);
    bIsForClient = true;
    return true;
}

}  // namespace webcontainer
