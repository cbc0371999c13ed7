#pragma once

#include <sys/un.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/filedescriptor.h"
#include "sockets/listenaddress.h"

namespace webcontainer {

/// A socket that listens already, opened by the service manager for this process.
struct HandedOverSocket {
    int nFd;
    std::string sName;  ///< as the .socket unit names it
};

/// The name of the socket that stands in for Admin/Listen; all others stand in for WebContainer/Listen.
inline constexpr char s_ksAdminSocket[] = "admin";

/// What the service manager has opened for this process (see sd_listen_fds(3)); to be asked once, before any
/// thread starts: programs that this one starts must not think that they were meant.
std::vector<HandedOverSocket> takeHandedOverSockets();

/// Tells the service manager how the server is (see sd_notify(3)). Does nothing when no manager has asked.
class ServiceManager {
public:
    /// Reads the environment, and takes what it reads out of it: before any thread starts.
    ServiceManager();

    void ready(std::string_view sStatus) const noexcept;
    /// A configuration is being read again; ready() follows.
    void reloading() const noexcept;
    void stopping(std::string_view sStatus) const noexcept;
    /// A sign of life, to be given by one thread, more often than getWatchdogMs() says; passes on as many as
    /// are wanted.
    void alive() noexcept;
    /// Half of the time without a sign of life after which the manager ends the server; 0: it never does.
    std::int64_t getWatchdogMs() const noexcept { return m_nWatchdogMs; }

private:
    void setAddress(std::string_view sPath) noexcept;
    void tell(const std::string& sState, int nFlags = 0) const noexcept;

    FileDescriptor m_tSocket;
    sockaddr_un m_tAddress{};
    socklen_t m_nAddressSize = 0;
    std::int64_t m_nWatchdogMs = 0;
    std::int64_t m_nLastAliveMs = 0;
};

}  // namespace webcontainer
