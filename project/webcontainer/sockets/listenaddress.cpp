#include "sockets/listenaddress.h"

#include <sys/un.h>

#include <algorithm>

namespace webcontainer {

namespace {

constexpr std::string_view s_ksUnix = "unix:";
constexpr std::string_view s_ksSeparators = " ,\t\r\n";
constexpr std::size_t s_knLongestPath = sizeof(sockaddr_un::sun_path) - 1;

/// 0.0.0.0 or [::]
bool isEveryAddress(std::span<const std::uint8_t> tBytes) {
    return std::all_of(tBytes.begin(), tBytes.end(), [](std::uint8_t n) { return n == 0; });
}

}  // namespace

bool ListenAddress::parse(std::string_view sText, ListenAddress& rAddress) {
    rAddress = ListenAddress();
    if (!sText.starts_with(s_ksUnix)) return SocketAddress::parse(sText, rAddress.tAddress);
    rAddress.sPath = sText.substr(s_ksUnix.size());
    return rAddress.sPath.starts_with('/') && rAddress.sPath.size() <= s_knLongestPath;
}

bool ListenAddress::clashesWith(const ListenAddress& r) const noexcept {
    if (!sPath.empty() || !r.sPath.empty()) return sPath == r.sPath;
    const auto a = tAddress.bytes();
    const auto b = r.tAddress.bytes();
    return tAddress.family() == r.tAddress.family() && tAddress.portNumber() != 0 &&
           tAddress.portNumber() == r.tAddress.portNumber() &&
           (isEveryAddress(a) || isEveryAddress(b) || std::equal(a.begin(), a.end(), b.begin(), b.end()));
}

std::vector<std::string_view> splitList(std::string_view sText) {
    std::vector<std::string_view> tWords;
    for (std::size_t nEnd = 0;;) {
        const std::size_t nBegin = sText.find_first_not_of(s_ksSeparators, nEnd);
        if (nBegin == std::string_view::npos) return tWords;
        nEnd = sText.find_first_of(s_ksSeparators, nBegin);
        tWords.push_back(sText.substr(nBegin, nEnd - nBegin));
        if (nEnd == std::string_view::npos) return tWords;
    }
}

}  // namespace webcontainer
