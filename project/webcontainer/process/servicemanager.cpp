#include "process/servicemanager.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>

#include "base/monotonicclock.h"

namespace webcontainer {

namespace {

constexpr int s_knFirstHandedOver = 3;
constexpr std::int64_t s_knMostHandedOver = 1000;

/// No other thread runs yet.
std::string takeVariable(const char* pName) {
    const char* const pValue = std::getenv(pName);  // NOLINT(concurrency-mt-unsafe)
    std::string sValue = pValue ? pValue : "";
    ::unsetenv(pName);  // NOLINT(concurrency-mt-unsafe)
    return sValue;
}

/// 0 unless the text is a number.
std::int64_t toNumber(std::string_view s) {
    std::int64_t n = 0;
    const auto [pEnd, eError] = std::from_chars(s.data(), s.data() + s.size(), n);
    return eError == std::errc() && pEnd == s.data() + s.size() ? n : 0;
}

}  // namespace

std::vector<HandedOverSocket> takeHandedOverSockets() {
    const std::int64_t nPid = toNumber(takeVariable("LISTEN_PID"));
    const std::int64_t nCount = toNumber(takeVariable("LISTEN_FDS"));
    std::string sNames = takeVariable("LISTEN_FDNAMES");
    std::vector<HandedOverSocket> tSockets;
    if (nPid != ::getpid()) return tSockets;
    for (int n = 0; n < std::min(nCount, s_knMostHandedOver); ++n) {
        const std::size_t nColon = std::min(sNames.find(':'), sNames.size());
        tSockets.push_back({s_knFirstHandedOver + n, sNames.substr(0, nColon)});
        sNames.erase(0, nColon + 1);
    }
    return tSockets;
}

ServiceManager::ServiceManager() {
    const std::int64_t nWatchdogUs = toNumber(takeVariable("WATCHDOG_USEC"));
    const std::string sWatchdogPid = takeVariable("WATCHDOG_PID");
    setAddress(takeVariable("NOTIFY_SOCKET"));
    if (m_tSocket.isOpen() && (sWatchdogPid.empty() || toNumber(sWatchdogPid) == ::getpid()))
        m_nWatchdogMs = nWatchdogUs > 0 ? std::max<std::int64_t>(nWatchdogUs / 2000, 1) : 0;
}

/// "/path", or "@name" for a name outside the file system.
void ServiceManager::setAddress(std::string_view sPath) noexcept {
    if (sPath.size() < 2 || sPath.size() >= sizeof m_tAddress.sun_path) return;
    if (sPath[0] != '/' && sPath[0] != '@') return;
    m_tAddress.sun_family = AF_UNIX;
    sPath.copy(m_tAddress.sun_path, sPath.size());
    if (sPath[0] == '@') m_tAddress.sun_path[0] = '\0';
    m_nAddressSize = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + sPath.size());
    m_tSocket = FileDescriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    // A manager that does not listen is waited for only so long.
    const timeval tPatience{1, 0};
    ::setsockopt(m_tSocket.get(), SOL_SOCKET, SO_SNDTIMEO, &tPatience, sizeof tPatience);
}

void ServiceManager::tell(const std::string& sState, int nFlags) const noexcept {
    if (!m_tSocket.isOpen()) return;
    ::sendto(m_tSocket.get(), sState.data(), sState.size(), MSG_NOSIGNAL | nFlags,
             reinterpret_cast<const sockaddr*>(&m_tAddress), m_nAddressSize);
}

void ServiceManager::ready(std::string_view sStatus) const noexcept {
    tell("READY=1\nMAINPID=" + std::to_string(::getpid()) + "\nSTATUS=" + std::string(sStatus));
}

void ServiceManager::reloading() const noexcept {
    tell("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(monotonicMs() * 1000));
}

void ServiceManager::stopping(std::string_view sStatus) const noexcept {
    tell("STOPPING=1\nSTATUS=" + std::string(sStatus));
}

void ServiceManager::alive() noexcept {
    if (m_nWatchdogMs == 0) return;
    const std::int64_t nNowMs = monotonicMs();
    if (nNowMs - m_nLastAliveMs < m_nWatchdogMs) return;
    m_nLastAliveMs = nNowMs;
    tell("WATCHDOG=1", MSG_DONTWAIT);  // by the thread that looks after deadlines
}

}  // namespace webcontainer
