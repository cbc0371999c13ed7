#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sockets/socketaddress.h"

namespace webcontainer {

/// One place where a server listens.
struct ListenAddress {
    SocketAddress tAddress;                                     ///< of TCP
    std::string sPath;                                          ///< of a unix socket, else empty
    const char* pSettings = "--listen or WebContainer/Listen";  ///< where it comes from, for messages
    int nHandedOver = -1;  ///< a socket that listens already; owned by the Listener made of it

    /// Reads "127.0.0.1:8080", "[::1]:8080" or "unix:/absolute/path". False: it is none of them.
    static bool parse(std::string_view sText, ListenAddress& rAddress);
    /// Whether one of the two cannot listen beside the other; port 0 takes a free one.
    bool clashesWith(const ListenAddress& r) const noexcept;
    /// As it was read.
    std::string text() const { return sPath.empty() ? tAddress.text() : "unix:" + sPath; }
};

/// The words of a configured list, which spaces and commas separate.
std::vector<std::string_view> splitList(std::string_view sText);

}  // namespace webcontainer
