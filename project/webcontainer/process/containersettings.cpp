#include "process/containersettings.h"

#include <algorithm>
#include <charconv>
#include <list>
#include <thread>

#include "base/starterror.h"
#include "http/fieldtext.h"
#include "zq/foundation/utf8text.h"
#include "zq/httpstream/featuretable.h"

namespace webcontainer {

namespace {

const Setting s_tListen(textSetting(
    L"WebContainer/Listen", L"127.0.0.1:8080",
    "where clients connect: one or more of `ADDRESS:PORT`, `[IPV6]:PORT` and `unix:/path`, separated "
    "by spaces or commas (port 0: any free one); `systemd` alone for sockets that the service "
    "manager hands over"));
const Setting s_tUnixSocketMode(textSetting(L"WebContainer/UnixSocketMode", L"0660",
                                            "who may connect to unix sockets, as chmod reads it"));
const Setting s_tTrustedProxies(textSetting(
    L"WebContainer/TrustedProxies", L"",
    "networks of reverse proxies whose word about their clients is taken, such as `\"10.0.0.0/8 ::1 "
    "unix:\"`: the field Forwarded (RFC 7239) or, in its absence, X-Forwarded-For, -Proto and "
    "-Host; such a proxy must remove what clients send in these fields"));
const Setting s_tProxyProtocol(textSetting(
    L"WebContainer/ProxyProtocol", L"none",
    "the version of the PROXY protocol that TrustedProxies speak: each of their connections begins with a "
    "header that says who the client is, and nobody else may connect. What the client then says in fields "
    "such "
    "as Forwarded counts only if its own address is among them",
    L"none|v1|v2|any"));
const Setting s_tWorkers(
    numberSetting(L"WebContainer/Workers", "threads", 0, 0, 10000,
                  "they run requests, and each request holds one until it is answered; 0: 16 for each core",
                  "requests wait"));
const Setting s_tHead(textSetting(
    L"WebContainer/Head", L"on",
    "whether a HEAD is answered with the head of what a GET would get: the application sees a GET, and its "
    "body is not sent; `off`: HEAD is a method like any other, for which it answers 400",
    L"on|off"));
const Setting s_tMethodNotAllowed(textSetting(
    L"WebContainer/MethodNotAllowed", L"off",
    "whether methods other than GET, HEAD and POST are answered before the application sees them: 405 with "
    "the field Allow for those that HTTP defines, 501 for others; `off`: it answers 400. `OPTIONS *` is "
    "answered in either case",
    L"on|off"));
const Setting s_tErrorPages(textSetting(
    L"WebContainer/ErrorPages", L"",
    "a folder of pages for what the server answers itself to clients that ask for HTML: `404.html` and the "
    "like, `4xx.html` and `5xx.html` for the other statuses, each up to 64 KiB; in them `%{status}`, "
    "`%{title}`, `%{reason}` and `%{id}` are filled in; read at the start and at SIGHUP; empty: the built-in "
    "page"));
const Setting s_tServerField(textSetting(
    L"WebContainer/ServerField", L"",
    "what the field Server says of the server in every response; empty: there is no such field, which tells "
    "attackers less"));
const std::list<Setting> s_tLimitSettings(std::begin(s_tLimitInfos), std::end(s_tLimitInfos));
const Setting s_tFeatures(namesSetting(
    L"Features/*",
    "switches of responses, true or false: `\"HTTPFeatures.rfc2047Headers\"` for download names as RFC "
    "2047 encoded words instead of URL-encoded"));
const Setting s_tApplication(namesSetting(L"Application/*", "what applications read"));

constexpr std::string_view s_ksFromManager = "systemd";
constexpr char s_ksWriteAddress[] =
    "write one or more of the forms 127.0.0.1:8080, [::1]:8080 and unix:/run/web/web.sock, or systemd alone";
constexpr unsigned s_knWorkersPerCore = 16;

bool isOn(const Setting& rSetting, const ConfigReader& rReader) {
    return rSetting.readChoice(rReader) == 0;
}

/// Returns what is wrong with a list of addresses, the element named, or nothing. No addresses: the sockets
/// that the service manager hands over.
std::string parseListen(std::string_view sText, std::vector<ListenAddress>& rAddresses) {
    const std::vector<std::string_view> tWords = splitList(sText);
    if (tWords.empty()) return std::string("there is no address; ") + s_ksWriteAddress;
    if (tWords.size() == 1 && tWords.front() == s_ksFromManager) return {};
    for (const std::string_view sWord : tWords) {
        const std::string sElement =
            "element " + std::to_string(rAddresses.size() + 1) + ", \"" + std::string(sWord) + "\", ";
        ListenAddress tAddress;
        if (!ListenAddress::parse(sWord, tAddress)) return sElement + "is no address; " + s_ksWriteAddress;
        for (const ListenAddress& r : rAddresses)
            if (r.clashesWith(tAddress)) return sElement + "listens where " + r.text() + " does; drop one";
        rAddresses.push_back(tAddress);
    }
    return {};
}

std::vector<ListenAddress> readListen(const ConfigReader& rReader, const std::string& sListen) {
    const std::string sText = sListen.empty() ? toUtf8(s_tListen.readText(rReader)) : sListen;
    std::vector<ListenAddress> tAddresses;
    const std::string sProblem = parseListen(sText, tAddresses);
    if (!sProblem.empty() && !sListen.empty()) throwStartError("--listen: " + sProblem);
    if (!sProblem.empty()) rReader.throwBadValue(s_tListen.pKey, fromUtf8(sProblem));
    return tAddresses;
}

/// As chmod(1) reads it.
mode_t readUnixSocketMode(const ConfigReader& rReader) {
    constexpr unsigned nMost = 0777;
    const std::string sMode = toUtf8(s_tUnixSocketMode.readText(rReader));
    unsigned nMode = 0;
    const auto [pEnd, eError] = std::from_chars(sMode.data(), sMode.data() + sMode.size(), nMode, 8);
    if (eError != std::errc() || pEnd != sMode.data() + sMode.size() || nMode > nMost)
        rReader.throwBadValue(s_tUnixSocketMode.pKey,
                              L"it is no file mode; write three octal digits, such as \"0660\"");
    return nMode;
}

TrustedProxies readTrustedProxies(const ConfigReader& rReader) {
    const std::string sNetworks = toUtf8(s_tTrustedProxies.readText(rReader));
    TrustedProxies tProxies;
    for (const std::string_view sNetwork : splitList(sNetworks))
        if (!tProxies.add(sNetwork))
            rReader.throwBadValue(s_tTrustedProxies.pKey,
                                  fromUtf8(std::string(sNetwork) +
                                           " is no network; write a list such as \"10.0.0.0/8 ::1 unix:\""));
    return tProxies;
}

/// A field value of visible ASCII (RFC 9110 section 5.5).
std::string readServerField(const ConfigReader& rReader) {
    std::string sField = toUtf8(s_tServerField.readText(rReader));
    const bool bVisible = std::ranges::all_of(sField, [](char c) { return c >= ' ' && c < '\x7F'; });
    if (!bVisible || trim(sField) != sField)
        rReader.throwBadValue(
            s_tServerField.pKey,
            L"it holds more than letters, digits and signs of ASCII with spaces in between");
    return sField;
}

}  // namespace

Limits readLimits(const ConfigReader& rReader) {
    Limits tLimits;
    for (const LimitInfo& r : s_tLimitInfos)
        tLimits.*r.pMember = r.readNumber(rReader);
    return tLimits;
}

MethodRules readMethodRules(const ConfigReader& rReader) {
    return {.bHead = isOn(s_tHead, rReader), .bStrict = isOn(s_tMethodNotAllowed, rReader)};
}

ContainerOptions readContainerOptions(const ConfigReader& rReader, const std::string& sListen) {
    ContainerOptions tOptions;
    tOptions.tListen = readListen(rReader, sListen);
    tOptions.tTrustedProxies = readTrustedProxies(rReader);
    tOptions.eProxyProtocol = static_cast<EProxyProtocol>(s_tProxyProtocol.readChoice(rReader));
    if (tOptions.eProxyProtocol != EProxyProtocol::kNone && tOptions.tTrustedProxies.isEmpty())
        rReader.throwBadValue(s_tProxyProtocol.pKey,
                              L"nobody could connect; name the proxies in TrustedProxies");
    tOptions.nUnixSocketMode = readUnixSocketMode(rReader);
    tOptions.nWorkers = s_tWorkers.readNumber(rReader);
    if (tOptions.nWorkers == 0)
        tOptions.nWorkers =
            std::min(s_knWorkersPerCore * std::thread::hardware_concurrency(), s_tWorkers.nMost);
    tOptions.tRules.tMethods = readMethodRules(rReader);
    tOptions.tRules.pErrorPages = std::make_shared<ErrorPages>(toUtf8(s_tErrorPages.readText(rReader)));
    tOptions.tRules.sServerField = readServerField(rReader);
    tOptions.tLimits = readLimits(rReader);
    return tOptions;
}

void applyFeatures(const ConfigReader& rReader) {
    FeatureTable::Values tValues;
    for (const ZQWString& sName : rReader.getNames(s_tFeatures.getTable()))
        tValues[sName] = rReader.getConfigValue(s_tFeatures.getKey(sName), false);
    FeatureTable::setGlobal(makeHandle<FeatureTable>(std::move(tValues)));
}

}  // namespace webcontainer
