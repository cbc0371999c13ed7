#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "sockets/socketaddress.h"

namespace webcontainer {

/// Which versions of the PROXY protocol are spoken.
enum class EProxyProtocol : std::uint8_t { kNone, kV1, kV2, kAny };

/// What a proxy says of the connection that it passes on, before the first byte of that (HAProxy's
/// proxy-protocol.txt, sections 2.1 and 2.2).
struct ProxyHeader {
    /// Addresses and what else a header of version 2 may bring, which is passed over; of version 1, 107.
    static constexpr std::size_t s_knMostBytes = 4096;

    enum class EParsed { kNeedMore, kDone, kMalformed };
    /// Reads the header at the beginning of what has come; sets the members for kDone only. What is no header
    /// of a version that is spoken is malformed, an unknown command or family too.
    EParsed parse(std::string_view sBytes, EProxyProtocol eSpoken);

    std::size_t nLength = 0;    ///< in bytes; what follows is the client's
    bool bIsForClient = false;  ///< false: the proxy speaks for itself, or knows no addresses
    SocketAddress tClient;
    unsigned nServerPort = 0;  ///< that the client connected to

private:
    EParsed parseText(std::string_view sBytes);
    EParsed parseBinary(std::string_view sBytes);
    bool readLine(std::string_view sLine);
    bool readAddresses(unsigned char cFamily, std::string_view sAddresses);
};

}  // namespace webcontainer
