#include "connections/container.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>

#include "base/alternatestack.h"
#include "base/monotonicclock.h"
#include "base/starterror.h"
#include "connections/sweeper.h"
#include "log/containerlog.h"

namespace webcontainer {

namespace {

/// How often drain() looks whether all is done.
constexpr int s_knDrainStepMs = 10;
/// How long threads may take to return after they were told; those inside the handler may not return at all.
constexpr std::int64_t s_knJoinMs = 200;

FileDescriptor makeStopSignal() {
    FileDescriptor tEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!tEvent.isOpen()) throwStartError("cannot make an event: " + describeError(errno));
    return tEvent;
}

std::string describeWork(const Activity::Seen& r) {
    std::string sText = "worker " + std::to_string(r.nThread) + ": request ";
    sText.append(r.id().empty() ? "without an id yet" : r.id()).append(", for ");
    sText.append(std::to_string((monotonicUs() - r.nSinceUs) / 1000)).append(" ms, ");
    if (r.eWaiting == Activity::EWaiting::kNothing) sText.append("in the application: ");
    if (r.eWaiting == Activity::EWaiting::kForInput) sText.append("waiting for the client to send: ");
    if (r.eWaiting == Activity::EWaiting::kForRoom) sText.append("waiting for the client to take: ");
    return sText.append(r.line());
}

}  // namespace

Container::Container(const ContainerOptions& rOptions, RequestHandler& rHandler, AccessLog* pAccessLog,
                     Recorder* pRecorder)
    : m_tOptions(rOptions),
      m_rHandler(rHandler),
      m_tStop(makeStopSignal()),
      m_tWorkRoom(m_tPoller, std::max(std::thread::hardware_concurrency(), 1u)),
      m_tSlowClients(m_tOptions.nWorkers, m_tOptions.tLimits),
      m_tQueueDelay(m_tOptions.tLimits.nQueueTimeoutMs),
      m_tConnections(m_tPoller, m_tOptions.tLimits),
      m_tShared{.rPoller = m_tPoller,
                .rWorkRoom = m_tWorkRoom,
                .rSlowPaths = m_tSlowPaths,
                .rConnections = m_tConnections,
                .rAcceptors = m_tAcceptors,
                .rfAlive = m_tOptions.fAlive,
                .rHandler = m_rHandler,
                .rSlowClients = m_tSlowClients,
                .rQueueDelay = m_tQueueDelay,
                .rSaturation = m_tSaturation,
                .rStatistics = m_tStatistics,
                .rLimits = m_tOptions.tLimits,
                .rRules = m_tOptions.tRules,
                .eProxyProtocol = m_tOptions.eProxyProtocol,
                .rNoProxyHeader = m_tNoProxyHeader,
                .rbAnnounced = m_bAnnounced,
                .rbDraining = m_bDraining,
                .pAccessLog = pAccessLog,
                .pRecorder = pRecorder,
                .nStopFd = m_tStop.get()},
      m_tStatistics(m_tOptions.nWorkers + 1) {
    m_tPoller.watchAlways(m_tStop.get());
    for (const ListenAddress& r : m_tOptions.tListen)
        m_tAcceptors.emplace_back(r, m_tOptions, m_tPoller, m_tConnections);
}

Container::~Container() {
    stopAccepting();
    join();
}

std::string Container::getPlaces() const {
    std::string sPlaces;
    for (const Acceptor& r : m_tAcceptors)
        sPlaces.append(sPlaces.empty() ? "" : " ").append(r.getListener().getPlace());
    return sPlaces;
}

/// Calls f on a thread of its own. Throws std::system_error.
template <class F>
void Container::run(F f) {
    ++m_nRunning;
    try {
        m_tThreads.emplace_back([this, f] {
            const AlternateStack tStack;
            f();
            --m_nRunning;
        });
    } catch (...) {
        --m_nRunning;
        throw;
    }
}

void Container::start() {
    for (unsigned n = 0; n < m_tOptions.nWorkers; ++n) {
        Worker* const pWorker =
            m_tWorkers.emplace_back(std::make_unique<Worker>(m_tShared, m_tStatistics[n])).get();
        run([pWorker] { pWorker->run(); });
    }
    run([this] { m_tWorkRoom.watch(); });
    run([this] { Sweeper(m_tShared, m_tStatistics.back()).run(); });
    for (Acceptor& r : m_tAcceptors)
        r.start();
}

bool Container::drain(int nInterruptFd) {
    m_bAnnounced = true;
    pollfd tInterrupt{nInterruptFd, POLLIN, 0};
    ::poll(&tInterrupt, 1, static_cast<int>(m_tOptions.tLimits.nDrainDelayMs));
    stopAccepting();
    m_bDraining = true;
    run([this] { tellHandler(); });  // which may hang
    const bool bIdle = waitUntilIdle(nInterruptFd);
    if (!m_bHandlerTold)
        logText(kSevWarning, s_lsContainer, "the application has not begun its shutdown in time");
    if (!bIdle) {
        logText(kSevWarning, s_lsContainer,
                std::to_string(m_tConnections.count()) + " connections are given up before they have ended");
        logWork();
    }
    stopThreads();
    return waitForThreads() && bIdle;
}

void Container::tellHandler() {
    try {
        m_rHandler.startShutdown();
    } catch (const std::exception& e) {
        logText(kSevError, s_lsContainer, std::string("the application cannot shut down: ") + e.what());
    }
    m_bHandlerTold = true;
}

Statistics Container::readStatistics() const noexcept {
    Statistics tSum;
    for (const WorkerStatistics& r : m_tStatistics)
        r.addTo(tSum);
    tSum.nAccepted = m_tConnections.countAll();
    tSum.nTooMany = m_tConnections.countTooMany();
    tSum.nConnections = m_tConnections.count();
    tSum.nWorkers = m_tOptions.nWorkers;
    tSum.nBusy =
        static_cast<std::uint64_t>(std::count_if(m_tStatistics.begin(), m_tStatistics.end() - 1,
                                                 [](const WorkerStatistics& r) { return r.isBusy(); }));
    tSum.nWaitingForClients = m_tSlowClients.countWaits();
    const Saturation::Queue tQueue = m_tSaturation.getQueue();
    tSum.nQueued = tQueue.nRequests;
    if (tQueue.nRequests != 0)
        tSum.nOldestQueuedMs =
            static_cast<std::uint64_t>(std::max<std::int64_t>(monotonicMs() - tQueue.nOldestMs, 0));
    for (const Acceptor& r : m_tAcceptors) {
        const Listener::Queue tListening = r.getListener().readQueue();
        tSum.nListening += tListening.nWaiting;
        tSum.nOverflows += tListening.nDropped;
        tSum.nStrangers += r.countStrangers();
    }
    tSum.nClients = m_tConnections.countClients();
    return tSum;
}

RefusalCounts Container::countRefusals() const {
    RefusalCounts tSum;
    for (const WorkerStatistics& r : m_tStatistics)
        r.addTo(tSum);
    return tSum;
}

bool Container::isStuck() const {
    const std::int64_t nSinceMs = m_tSaturation.getStuckSinceMs();
    if (nSinceMs == 0) return false;
    const unsigned nMostMs = m_tOptions.tLimits.nNoProgressMs;
    const std::size_t nLimitMs = nMostMs != 0 ? nMostMs : m_rHandler.getResponseTimeoutMilliSeconds();
    return nLimitMs != 0 && monotonicMs() - nSinceMs > static_cast<std::int64_t>(nLimitMs);
}

bool Container::isOutOfResources() const noexcept {
    return std::any_of(m_tAcceptors.begin(), m_tAcceptors.end(),
                       [](const Acceptor& r) { return r.isOutOfResources(); });
}

void Container::logWork() const noexcept {
    unsigned nIdle = 0;
    for (unsigned n = 0; n < m_tOptions.nWorkers; ++n) {
        const Activity::Seen tSeen = m_tStatistics[n].lookAtActivity();
        if (tSeen.nSinceUs == 0)
            ++nIdle;
        else
            logMade(kSevWarning, s_lsContainer, [&] { return describeWork(tSeen); });
    }
    logMade(kSevWarning, s_lsContainer, [&] {
        return std::to_string(nIdle) + " of " + std::to_string(m_tOptions.nWorkers) +
               " workers run no request";
    });
}

void Container::stopAccepting() noexcept {
    for (Acceptor& r : m_tAcceptors)
        r.stop();
}

/// False: the time is up, or the wait was interrupted.
bool Container::waitUntilIdle(int nInterruptFd) {
    const std::int64_t nDeadline = monotonicMs() + m_tOptions.tLimits.nDrainTimeoutMs;
    pollfd tInterrupt{nInterruptFd, POLLIN, 0};
    for (;;) {
        bool bIdle = m_bHandlerTold;
        for (Acceptor& r : m_tAcceptors)
            bIdle = r.finish() && bIdle;
        if (bIdle && m_tConnections.count() == 0) return true;
        if (monotonicMs() >= nDeadline || ::poll(&tInterrupt, 1, s_knDrainStepMs) > 0) return false;
    }
}

bool Container::waitForThreads() const {
    for (const std::int64_t nDeadline = monotonicMs() + s_knJoinMs; m_nRunning != 0;) {
        if (monotonicMs() >= nDeadline) return false;
        ::poll(nullptr, 0, s_knDrainStepMs);
    }
    return true;
}

void Container::stopThreads() noexcept {
    eventfd_write(m_tStop.get(), 1);
    m_tWorkRoom.open();
}

void Container::join() {
    stopThreads();
    for (std::thread& r : m_tThreads)
        r.join();
}

}  // namespace webcontainer
