#include "process/containersettings.h"

#include <algorithm>
#include <charconv>
#include <thread>

#include "base/starterror.h"
#include "zq/foundation/utf8text.h"
#include "zq/httpstream/featuretable.h"

namespace webcontainer {

namespace {

constexpr wchar_t s_ksTable[] = L"WebContainer";
constexpr wchar_t s_ksListen[] = L"Listen";
constexpr wchar_t s_ksWorkers[] = L"Workers";
constexpr wchar_t s_ksFeatures[] = L"Features";
constexpr wchar_t s_ksListenDefault[] = L"127.0.0.1:8080";
constexpr std::string_view s_ksFromManager = "systemd";
constexpr wchar_t s_ksUnixSocketMode[] = L"UnixSocketMode";
constexpr wchar_t s_ksUnixSocketModeDefault[] = L"0660";
constexpr char s_ksWriteAddress[] =
    "write one or more of the forms 127.0.0.1:8080, [::1]:8080 and unix:/run/web/web.sock, or systemd alone";
constexpr unsigned s_knWorkersPerCore = 16;
constexpr unsigned s_knMostWorkers = 10000;

ZQWString under(const wchar_t* pTable, std::wstring_view sName) {
    StringBuffer tKey;
    tKey.append(pTable);
    tKey.append(L'/');
    tKey.append(sName);
    return tKey.toString();
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
    const PathFilter tKey(under(s_ksTable, s_ksListen));
    const std::string sText =
        sListen.empty() ? toUtf8(rReader.getConfigValue(tKey, s_ksListenDefault)) : sListen;
    std::vector<ListenAddress> tAddresses;
    const std::string sProblem = parseListen(sText, tAddresses);
    if (!sProblem.empty() && !sListen.empty()) throwStartError("--listen: " + sProblem);
    if (!sProblem.empty()) rReader.throwBadValue(tKey, fromUtf8(sProblem));
    return tAddresses;
}

/// As chmod(1) reads it.
mode_t readUnixSocketMode(const ConfigReader& rReader) {
    constexpr unsigned nMost = 0777;
    const PathFilter tKey(under(s_ksTable, s_ksUnixSocketMode));
    const std::string sMode = toUtf8(rReader.getConfigValue(tKey, s_ksUnixSocketModeDefault));
    unsigned nMode = 0;
    const auto [pEnd, eError] = std::from_chars(sMode.data(), sMode.data() + sMode.size(), nMode, 8);
    if (eError != std::errc() || pEnd != sMode.data() + sMode.size() || nMode > nMost)
        rReader.throwBadValue(tKey, L"it is no file mode; write three octal digits, such as \"0660\"");
    return nMode;
}

TrustedProxies readTrustedProxies(const ConfigReader& rReader) {
    const PathFilter tKey(under(s_ksTable, L"TrustedProxies"));
    const std::string sNetworks = toUtf8(rReader.getConfigValue(tKey, L""));
    TrustedProxies tProxies;
    for (const std::string_view sNetwork : splitList(sNetworks))
        if (!tProxies.add(sNetwork))
            rReader.throwBadValue(tKey,
                                  fromUtf8(std::string(sNetwork) +
                                           " is no network; write a list such as \"10.0.0.0/8 ::1 unix:\""));
    return tProxies;
}

}  // namespace

ContainerOptions readContainerOptions(const ConfigReader& rReader, const std::string& sListen) {
    ContainerOptions tOptions;
    tOptions.tListen = readListen(rReader, sListen);
    tOptions.tTrustedProxies = readTrustedProxies(rReader);
    tOptions.nUnixSocketMode = readUnixSocketMode(rReader);
    const unsigned nCores = std::max(std::thread::hardware_concurrency(), 1u);
    tOptions.nWorkers =
        rReader.getConfigValue(under(s_ksTable, s_ksWorkers),
                               std::min(s_knWorkersPerCore * nCores, s_knMostWorkers), 1, s_knMostWorkers);
    for (const LimitInfo& r : s_tLimitInfos)
        tOptions.tLimits.*r.pMember =
            rReader.getConfigValue(under(s_ksTable, r.pKey), r.nDefault, r.nLeast, r.nMost);
    return tOptions;
}

void applyFeatures(const ConfigReader& rReader) {
    FeatureTable::Values tValues;
    for (const ZQWString& sName : rReader.getNames(s_ksFeatures))
        tValues[sName] = rReader.getConfigValue(under(s_ksFeatures, sName), false);
    FeatureTable::setGlobal(makeHandle<FeatureTable>(std::move(tValues)));
}

}  // namespace webcontainer
