#pragma once

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "acceptor.h"
#include "connectiontable.h"
#include "containerlimits.h"
#include "filedescriptor.h"
#include "poller.h"
#include "requesthandler.h"
#include "socketaddress.h"
#include "statistics.h"
#include "worker.h"

namespace webcontainer {

/// Where and with how many threads a container serves.
struct ContainerOptions {
    SocketAddress tListen;
    unsigned nWorkers = 1;
    Limits tLimits;
};

/// The front end: one listening socket, its connections, and the threads that serve them.
///
///     construction: the socket listens --- start(): threads serve --- drain(): they end --- destruction
///
/// All operations belong to one thread, unless they say otherwise.
class Container {
public:
    /// rHandler and pAccessLog (null: none) must outlive the container. Throws StartError.
    Container(const ContainerOptions& rOptions, RequestHandler& rHandler, AccessLog* pAccessLog = nullptr);
    /// Ends what drain() has left, and waits for it: a handler that does not return is waited for.
    ~Container();
    Container(const Container&) = delete;
    Container& operator=(const Container&) = delete;

    /// With the real port.
    const SocketAddress& getAddress() const noexcept { return m_tAcceptor.getAddress(); }
    /// Throws StartError, and std::system_error when there are no more threads.
    void start();
    /// Refuses new clients, ends idle connections, tells the handler, and waits for the requests in flight:
    /// at most the drain timeout, or until nInterruptFd (-1: none) becomes readable. Then gives up on the
    /// rest. True: every request was answered, and all threads have ended. False: some were cut off; a thread
    /// may still be inside the handler.
    bool drain(int nInterruptFd);
    /// True from the beginning of drain() on. On any thread.
    bool isDraining() const noexcept { return m_bDraining.load(std::memory_order_relaxed); }
    /// On any thread.
    Statistics readStatistics() const noexcept;
    /// Whether destruction would not have to wait.
    bool haveThreadsEnded() const noexcept { return m_nRunning == 0; }

private:
    bool waitUntilIdle(int nInterruptFd) const;
    bool waitForThreads() const;
    void stopThreads() noexcept;
    void join();

    const ContainerOptions m_tOptions;
    RequestHandler& m_rHandler;
    FileDescriptor m_tStop;
    std::atomic<bool> m_bDraining{false};
    std::atomic<unsigned> m_nRunning{0};  ///< threads that have not returned
    Poller m_tPoller;
    WaitingRoom m_tWaitingRoom;
    SlowClients m_tSlowClients;
    ConnectionTable m_tConnections;
    Acceptor m_tAcceptor;
    const WorkerShared m_tShared;
    std::vector<WorkerStatistics> m_tStatistics;  ///< one for each thread
    std::vector<std::unique_ptr<Worker>> m_tWorkers;
    std::vector<std::thread> m_tThreads;
};

}  // namespace webcontainer
