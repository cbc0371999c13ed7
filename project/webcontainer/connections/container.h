#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/filedescriptor.h"
#include "base/limits.h"
#include "base/statistics.h"
#include "connections/acceptor.h"
#include "connections/connectiontable.h"
#include "connections/containeroptions.h"
#include "connections/poller.h"
#include "connections/worker.h"
#include "connections/workroom.h"
#include "requests/requesthandler.h"

namespace webcontainer {

/// The front end: listening sockets, their connections, and the threads that serve them.
///
///     construction: the sockets listen --- start(): threads serve --- drain(): they end --- destruction
///
/// The end loses no request that a client cannot safely repeat, if the clients are told in time: drain()
/// first says so (isDraining()) and serves on for the drain delay, each response as its connection's last.
/// Then nobody can connect any more, and those who had are accepted, before a listening socket is closed.
/// What is left is idle connections, which end, those of clients that have just been answered a moment
/// later; a request that crosses with that end gets no byte of an answer.
///
/// All operations belong to one thread, unless they say otherwise.
class Container {
public:
    /// rHandler, pAccessLog and pRecorder (null: none) must outlive the container. Throws StartError.
    Container(const ContainerOptions& rOptions, RequestHandler& rHandler, AccessLog* pAccessLog = nullptr,
              Recorder* pRecorder = nullptr);
    /// Ends what drain() has left, and waits for it: a handler that does not return is waited for.
    ~Container();
    Container(const Container&) = delete;
    Container& operator=(const Container&) = delete;

    /// Of the first listening socket, with the real port.
    const SocketAddress& getAddress() const noexcept {
        return m_tAcceptors.front().getListener().getAddress();
    }
    /// Where clients find the server: the places of all listening sockets, separated by spaces.
    std::string getPlaces() const;
    /// Throws StartError, and std::system_error when there are no more threads.
    void start();
    /// Waits for the drain delay, refuses new clients, ends idle connections, tells the handler, and waits
    /// for the requests in flight: at most the drain timeout. An nInterruptFd (-1: none) that becomes
    /// readable ends either wait. Then gives up on the rest. True: every request was answered, and all
    /// threads have ended. False: some were cut off; a thread may still be inside the handler.
    bool drain(int nInterruptFd);
    /// True from the beginning of drain() on. On any thread.
    bool isDraining() const noexcept { return m_bAnnounced.load(std::memory_order_relaxed); }
    /// On any thread.
    Statistics readStatistics() const noexcept;
    /// On any thread.
    RefusalCounts countRefusals() const;
    /// How many connections there are in each phase. On any thread.
    std::array<std::size_t, s_knPhases> countPhases() const noexcept { return m_tConnections.countPhases(); }
    const Saturation& getSaturation() const noexcept { return m_tSaturation; }
    /// Whether no worker has ended a request for longer than the limit, and all are busy. On any thread.
    bool isStuck() const;
    /// Whether clients cannot be accepted for lack of descriptors or memory. On any thread.
    bool isOutOfResources() const noexcept;
    /// Writes to the log, as warnings, what each worker does now. On any thread.
    void logWork() const noexcept;
    /// Whether destruction would not have to wait.
    bool haveThreadsEnded() const noexcept { return m_nRunning == 0; }

private:
    template <class F>
    void run(F f);
    void tellHandler();
    void stopAccepting() noexcept;
    bool waitUntilIdle(int nInterruptFd);
    bool waitForThreads() const;
    void stopThreads() noexcept;
    void join();

    const ContainerOptions m_tOptions;
    RequestHandler& m_rHandler;
    FileDescriptor m_tStop;
    std::atomic<bool> m_bAnnounced{false};
    std::atomic<bool> m_bDraining{false};
    std::atomic<bool> m_bHandlerTold{false};  ///< of that, and it has returned
    std::atomic<unsigned> m_nRunning{0};      ///< threads that have not returned
    Poller m_tPoller;
    WorkRoom m_tWorkRoom;
    SlowPaths m_tSlowPaths;
    SlowClients m_tSlowClients;
    QueueDelay m_tQueueDelay;
    Saturation m_tSaturation;
    ConnectionTable m_tConnections;
    Acceptors m_tAcceptors;
    Rarely m_tNoProxyHeader;
    const WorkerShared m_tShared;
    std::vector<WorkerStatistics> m_tStatistics;  ///< one for each thread
    std::vector<std::unique_ptr<Worker>> m_tWorkers;
    std::vector<std::thread> m_tThreads;
};

}  // namespace webcontainer
