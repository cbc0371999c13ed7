#pragma once

#include <sys/types.h>

#include <string>

#include "base/filedescriptor.h"
#include "sockets/listenaddress.h"
#include "sockets/unixsocketfile.h"

namespace webcontainer {

/// A listening socket, and what its end takes so that no client is lost:
///
///     construction ------> refuse() ------> all who wait are accepted ------> close()
///     clients can connect  no new ones can
///
/// A socket that was handed over belongs to others too: refuse() and close() leave it as it is, and clients
/// wait in it for the next server.
class Listener {
public:
    /// Port 0 lets the kernel choose. nUnixMode: of a unix socket's file. Throws StartError.
    Listener(const ListenAddress& rAddress, unsigned nBacklog, mode_t nUnixMode);

    int getFd() const noexcept { return m_tSocket.get(); }
    /// With the real port; of a unix socket without its path.
    const SocketAddress& getAddress() const noexcept { return m_tAddress; }
    /// Where clients find it: "http://127.0.0.1:8080/" or "unix:/path".
    const std::string& getPlace() const noexcept { return m_sPlace; }
    bool isHandedOver() const noexcept { return m_bHandedOver; }

    /// What the kernel knows of clients whose connections are complete but not accepted.
    struct Queue {
        unsigned nWaiting = 0;
        unsigned nDropped = 0;  ///< since the socket was made: there were too many
    };
    Queue readQueue() const noexcept;

    void refuse() noexcept;
    /// The descriptor stays open, because a worker may be about to use it.
    void close() noexcept;

private:
    void listen(const ListenAddress& rAddress, unsigned nBacklog, mode_t nUnixMode);
    void bindTcp(const ListenAddress& rAddress);
    void adopt();
    void dropNewHandshakes() noexcept;
    bool isUnix() const noexcept { return m_tAddress.isUnix(); }

    const bool m_bHandedOver;
    FileDescriptor m_tSocket;
    UnixSocketFile m_tFile;
    SocketAddress m_tAddress;
    std::string m_sPlace;
};

}  // namespace webcontainer
