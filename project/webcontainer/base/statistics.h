#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "base/activity.h"
#include "base/requesttimes.h"

namespace webcontainer {

/// Upper bounds of the classes by which the time of requests is counted, in microseconds; one more class
/// holds what took longer.
inline constexpr std::array<std::int64_t, 13> s_knLatencyBoundsUs{
    1000, 2500, 5000, 10000, 25000, 50000, 100000, 250000, 500000, 1000000, 2500000, 5000000, 10000000};

/// How many requests took how long, in the classes of s_knLatencyBoundsUs.
struct Latencies {
    std::array<std::uint64_t, s_knLatencyBoundsUs.size() + 1> tCounts{};
    std::uint64_t nSumUs = 0;

    Latencies since(const Latencies& rBefore) const noexcept;
    /// The time in microseconds that nShare (0 to 1) of the requests did not exceed, guessed within its
    /// class; the smallest and the largest bound for what lies beyond them. 0 when there were none.
    double guessUs(double nShare) const noexcept;
};

/// Why a request was given up before its response had been sent.
enum class ECutOff : unsigned { kSendsTooSlowly, kTakesTooSlowly, kOverdue, kGone };
inline constexpr std::array s_ksCutOffs{"sends too slowly", "takes too slowly", "overdue", "gone"};

/// How many requests were refused with which status and for which reason, a constant text.
using RefusalCounts = std::map<std::pair<unsigned, std::string_view>, std::uint64_t>;

/// What a container has done since it was made, and does now. The values were read one after the other while
/// requests ran, so they may differ by a request in flight.
struct Statistics {
    /// Requests that have ended, by the first digit of their status; [0]: nothing was sent.
    std::array<std::uint64_t, 6> tByClass{};
    std::array<std::uint64_t, s_ksCutOffs.size()> tByCutOff{};
    Latencies tWhole;            ///< from the first byte to the end of the response
    Latencies tWaiting;          ///< for a worker
    std::uint64_t nRefused = 0;  ///< among them: answered without running them
    std::uint64_t nInFlight = 0;
    std::uint64_t nReceivedBytes = 0;  ///< heads and framing included
    std::uint64_t nSentBytes = 0;
    std::uint64_t nAccepted = 0;     ///< connections
    std::uint64_t nTooMany = 0;      ///< connections that were closed at once: their clients had too many
    std::uint64_t nStrangers = 0;    ///< the same, because only trusted proxies may connect
    std::uint64_t nHeaderless = 0;   ///< the same, because their proxies did not introduce their clients
    std::uint64_t nConnections = 0;  ///< open ones
    std::uint64_t nClients = 0;      ///< that have them, as far as their connections are bounded

    std::uint64_t nOverflows = 0;  ///< connections that the kernel dropped: its queue was full
    std::uint64_t nListening = 0;  ///< connections in that queue now
    std::uint64_t nWorkers = 0;
    std::uint64_t nBusy = 0;               ///< workers that run a request
    std::uint64_t nWaitingForClients = 0;  ///< of these
    std::uint64_t nQueued = 0;             ///< requests that wait for a worker
    std::uint64_t nOldestQueuedMs = 0;     ///< how long the one of them has waited that came first

    std::uint64_t countRequests() const noexcept;
    /// What has come on top of rBefore, an earlier state of the same container; what is now, such as
    /// nInFlight, stays as it is.
    Statistics since(const Statistics& rBefore) const noexcept;
};

/// A number of the statistics as every page has it.
struct NumberInfo {
    /// In /metrics it stands between "webcontainer_" and, of what grows, "_total"; milliseconds are seconds.
    const char* pName;
    const char* pHelp;
    std::uint64_t Statistics::*pMember;
    bool bGrows;  ///< it counts since the start; else it is what is now
};

inline constexpr NumberInfo s_tNumbers[] = {
    {"requests_refused", "Requests that were answered without running them", &Statistics::nRefused, true},
    {"received_bytes", "Bytes received from clients", &Statistics::nReceivedBytes, true},
    {"sent_bytes", "Bytes sent to clients", &Statistics::nSentBytes, true},
    {"connections_accepted", "Connections that were accepted", &Statistics::nAccepted, true},
    {"connections_refused", "Connections that were closed at once because their clients had too many",
     &Statistics::nTooMany, true},
    {"connections_of_strangers",
     "Connections that were closed at once because they came from no trusted proxy, with ProxyProtocol",
     &Statistics::nStrangers, true},
    {"connections_without_header",
     "Connections that were closed because they began with no header as ProxyProtocol demands",
     &Statistics::nHeaderless, true},
    {"listen_queue_overflows", "Connections that the kernel dropped because its queue of them was full",
     &Statistics::nOverflows, true},
    {"listen_queue", "Connections that wait in the kernel to be accepted", &Statistics::nListening, false},
    {"workers", "Threads that run requests", &Statistics::nWorkers, false},
    {"workers_busy", "Threads of them that run one", &Statistics::nBusy, false},
    {"workers_waiting_for_clients", "Threads of those that wait for a client to send or take something",
     &Statistics::nWaitingForClients, false},
    {"requests_waiting",
     "Requests that wait for a worker; where not all are busy, those that have waited for 100 ms",
     &Statistics::nQueued, false},
    {"connections_open", "Connections that are open", &Statistics::nConnections, false},
    {"requests_waiting_oldest_milliseconds", "How long the oldest of them has waited",
     &Statistics::nOldestQueuedMs, false},
    {"requests_in_flight", "Requests that are being answered", &Statistics::nInFlight, false},
    {"clients", "Clients that have connections, without trusted proxies and unix sockets",
     &Statistics::nClients, false},
};

/// One thread's part of the statistics, and what the thread does now, in cache lines of its own. Only the
/// owner changes it, without a lock prefix but for refusals; anybody may read it at any time.
class alignas(64) WorkerStatistics {
public:
    void countReceived(std::size_t nBytes) noexcept { raise(m_nReceivedBytes, nBytes); }
    void countSent(std::size_t nBytes) noexcept { raise(m_nSentBytes, nBytes); }
    std::uint64_t getSent() const noexcept { return m_nSentBytes.load(std::memory_order_relaxed); }

    void beginRequest() noexcept { raise(m_nInFlight, 1); }
    /// nStatus 0: nothing was sent.
    void endRequest(unsigned nStatus, const RequestTimes& rTimes) noexcept;
    void countCutOff(ECutOff e) noexcept { raise(m_tByCutOff[static_cast<unsigned>(e)], 1); }
    void countHeaderless() noexcept { raise(m_nHeaderless, 1); }
    /// pReason: a constant text. Throws std::bad_alloc.
    void countRefused(unsigned nStatus, const char* pReason);
    bool isBusy() const noexcept { return m_nInFlight.load(std::memory_order_relaxed) != 0; }

    void addTo(Statistics& rSum) const noexcept;
    void addTo(RefusalCounts& rSum) const;
    Activity& activity() noexcept { return m_tActivity; }
    Activity::Seen lookAtActivity() const noexcept { return m_tActivity.look(); }

private:
    using Count = std::atomic<std::uint64_t>;

    static void raise(Count& r, std::uint64_t n) noexcept {
        r.store(r.load(std::memory_order_relaxed) + n, std::memory_order_relaxed);
    }

    Activity m_tActivity;
    Count m_nReceivedBytes{0};
    Count m_nSentBytes{0};
    Count m_nInFlight{0};
    Count m_nRefused{0};
    Count m_nHeaderless{0};
    std::array<Count, std::tuple_size_v<decltype(Statistics::tByClass)>> m_tByClass{};
    /// Latencies whose only writer is this thread.
    struct OwnLatencies {
        std::array<Count, std::tuple_size_v<decltype(Latencies::tCounts)>> tCounts{};
        Count nSumUs{0};

        void count(std::int64_t nUs) noexcept;
        void addTo(Latencies& rSum) const noexcept;
    };
    OwnLatencies m_tWhole;
    OwnLatencies m_tWaiting;
    std::array<Count, s_ksCutOffs.size()> m_tByCutOff{};
    mutable std::mutex m_tMutex;  ///< of what follows, which refusals change, and nothing else
    RefusalCounts m_tRefusals;
};

}  // namespace webcontainer
