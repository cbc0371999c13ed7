#pragma once

#include <cstddef>

#include "base/limits.h"
#include "http/requestinput.h"
#include "requests/bodyerror.h"
#include "sockets/clientsocket.h"

namespace webcontainer {

/// Reads the body of the request that runs: first what has been received in advance, then from the client,
/// for whom it waits under the thread's default timeout and the minimum rate.
class BodyReader {
public:
    /// All three must outlive the reader.
    BodyReader(RequestInput& rInput, ClientSocket& rSocket, const Limits& rLimits);

    /// Copies at least one and at most nSize bytes to pBuffer; 0 only at the end of the body, or for nSize 0.
    /// Throws BodyError.
    std::size_t read(void* pBuffer, std::size_t nSize);

    /// Receives and drops what is left of the body, as far as that takes no waiting and not much more than
    /// the limit allows. True: all of it has been received, so that the next request can follow.
    bool finish();

private:
    void wait();
    std::size_t fill();

    RequestInput& m_rInput;
    ClientSocket& m_rSocket;
    const Limits& m_rLimits;
    Patience m_tPatience;
};

}  // namespace webcontainer
