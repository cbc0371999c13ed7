#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace webcontainer {

/// Upper bounds of the classes by which the time of requests is counted, in microseconds; one more class
/// holds what took longer.
inline constexpr std::array<std::int64_t, 13> s_knLatencyBoundsUs{
    1000, 2500, 5000, 10000, 25000, 50000, 100000, 250000, 500000, 1000000, 2500000, 5000000, 10000000};

/// What a container has done since it was made, and does now. The values were read one after the other while
/// requests ran, so they may differ by a request in flight.
struct Statistics {
    /// Requests that have ended, by the first digit of their status; [0]: nothing was sent.
    std::array<std::uint64_t, 6> tByClass{};
    std::array<std::uint64_t, s_knLatencyBoundsUs.size() + 1> tByLatency{};
    std::uint64_t nLatencySumUs = 0;
    std::uint64_t nRefused = 0;  ///< among them: answered without running them
    std::uint64_t nInFlight = 0;
    std::uint64_t nReceivedBytes = 0;  ///< heads and framing included
    std::uint64_t nSentBytes = 0;
    std::uint64_t nAccepted = 0;     ///< connections
    std::uint64_t nTooMany = 0;      ///< connections that were closed at once: their clients had too many
    std::uint64_t nConnections = 0;  ///< open ones
    std::uint64_t nClients = 0;      ///< that have them, as far as their connections are bounded

    std::uint64_t countRequests() const noexcept;
    /// What has come on top of rBefore, an earlier state of the same container; what is now, such as
    /// nInFlight, stays as it is.
    Statistics since(const Statistics& rBefore) const noexcept;
    /// The time in microseconds that nShare (0 to 1) of the requests did not exceed, guessed within its
    /// class; the smallest and the largest bound for what lies beyond them. 0 when there were none.
    double guessLatencyUs(double nShare) const noexcept;
};

/// A number of the statistics as every page has it.
struct NumberInfo {
    /// In /metrics it stands between "webcontainer_" and, of what grows, "_total".
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
    {"requests_in_flight", "Requests that are being answered", &Statistics::nInFlight, false},
    {"connections_open", "Connections that are open", &Statistics::nConnections, false},
    {"clients", "Clients that have connections, without trusted proxies and unix sockets",
     &Statistics::nClients, false},
};

/// One thread's part of the statistics, in cache lines of its own. Only the owner changes it, without a lock
/// prefix; anybody may read it at any time.
class alignas(64) WorkerStatistics {
public:
    void countReceived(std::size_t nBytes) noexcept { raise(m_nReceivedBytes, nBytes); }
    void countSent(std::size_t nBytes) noexcept { raise(m_nSentBytes, nBytes); }
    std::uint64_t getSent() const noexcept { return m_nSentBytes.load(std::memory_order_relaxed); }

    void beginRequest() noexcept { raise(m_nInFlight, 1); }
    /// nStatus 0: nothing was sent.
    void endRequest(unsigned nStatus, std::int64_t nDurationUs) noexcept;
    void countRefused() noexcept { raise(m_nRefused, 1); }

    void addTo(Statistics& rSum) const noexcept;

private:
    using Count = std::atomic<std::uint64_t>;

    static void raise(Count& r, std::uint64_t n) noexcept {
        r.store(r.load(std::memory_order_relaxed) + n, std::memory_order_relaxed);
    }

    Count m_nReceivedBytes{0};
    Count m_nSentBytes{0};
    Count m_nInFlight{0};
    Count m_nRefused{0};
    Count m_nLatencySumUs{0};
    std::array<Count, std::tuple_size_v<decltype(Statistics::tByClass)>> m_tByClass{};
    std::array<Count, std::tuple_size_v<decltype(Statistics::tByLatency)>> m_tByLatency{};
};

}  // namespace webcontainer
