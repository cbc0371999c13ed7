#pragma once

#include "zq/services/setting.h"

namespace webcontainer {

/// Every bound of the front end, read from the configuration at start-up and constant afterwards. What each
/// one means, where it comes from and what happens when it is reached stands in s_tLimitInfos below, which
/// also holds the only copy of the defaults.
struct Limits {
    unsigned int nMaxConnections;
    unsigned int nMaxConnectionsPerClient;
    unsigned int nMaxWorkersPerClient;
    unsigned int nListenBacklog;
    unsigned int nMaxRequestsPerConnection;
    unsigned int nMaxEmptyLines;
    unsigned int nMaxRequestLineBytes;
    unsigned int nMaxHeadBytes;
    unsigned int nMaxHeaderFields;
    unsigned int nMaxChunkExtensionBytes;
    unsigned int nMaxTrailerBytes;
    unsigned int nPrefetchBytes;
    unsigned int nDiscardBytes;
    unsigned int nLingerBytes;
    unsigned int nHeadTimeoutMs;
    unsigned int nIdleTimeoutMs;
    unsigned int nPrefetchTimeoutMs;
    unsigned int nWriteTimeoutMs;
    unsigned int nLingerTimeoutMs;
    unsigned int nMinimumBytesPerSecond;
    unsigned int nRateGraceMs;
    unsigned int nSlowClientMs;
    unsigned int nQueueTimeoutMs;
    unsigned int nNoProgressMs;
    unsigned int nAcceptPauseMs;
    unsigned int nSweepIntervalMs;
    unsigned int nDrainDelayMs;
    unsigned int nDrainTimeoutMs;

    /// All defaults.
    constexpr Limits();
};

/// One limit: its setting, which also says why it is there, and its place in Limits.
struct LimitInfo : SettingInfo {
    unsigned int Limits::*pMember;
};

constexpr LimitInfo limit(unsigned int Limits::*pMember, const wchar_t* pKey, const char* pUnit,
                          unsigned int nDefault, unsigned int nLeast, unsigned int nMost, const char* pReason,
                          const char* pWhenReached) {
    return {numberSetting(pKey, pUnit, nDefault, nLeast, nMost, pReason, pWhenReached), pMember};
}

inline constexpr unsigned int s_knHourInMs = 3600000;
inline constexpr unsigned int s_knMebibyte = 1048576;

inline constexpr LimitInfo s_tLimitInfos[] = {
    limit(
        &Limits::nMaxConnections, L"WebContainer/MaxConnections", "connections", 10000, 1, 1000000,
        "each one costs a descriptor and kernel buffers; lowered at the start to what the limit of "
        "descriptors "
        "(ulimit -n) leaves",
        "for new clients the oldest connections without a request are closed; while all have one, they wait "
        "in the listen backlog"),
    limit(&Limits::nMaxConnectionsPerClient, L"WebContainer/MaxConnectionsPerClient", "connections", 1000, 0,
          1000000,
          "one client must not take them all; a client is an IPv4 address or 64 bits of an IPv6 address, but "
          "neither a unix socket's nor one of TrustedProxies; 0: no bound",
          "its further connections are closed at once"),
    limit(&Limits::nMaxWorkersPerClient, L"WebContainer/MaxWorkersPerClient", "threads", 0, 0, 10000,
          "so many workers may wait at once for one client, as above; 0: half of them",
          "the slowest of what they do for it is given up as slow, see below"),
    limit(&Limits::nListenBacklog, L"WebContainer/ListenBacklog", "connections", 4096, 1, 65535,
          "clients that connect faster than they are accepted", "the kernel lets further clients try again"),
    limit(&Limits::nMaxRequestsPerConnection, L"WebContainer/MaxRequestsPerConnection", "requests", 10000, 1,
          1000000000,
          "clients that never let go of a connection would hold on to one instance of a balanced server",
          "the last response says \"Connection: close\"; the connection is closed"),
    limit(&Limits::nMaxEmptyLines, L"WebContainer/MaxEmptyLines", "lines", 4, 0, 1000,
          "empty lines before a request are ignored, because some clients end a body with one; 0: none is",
          "400; the connection is closed"),
    limit(&Limits::nMaxRequestLineBytes, L"WebContainer/MaxRequestLineBytes", "bytes", 8192, 64, s_knMebibyte,
          "a target that no sensible client sends need not be received as a whole; its line end counts too",
          "414 at once; the connection is closed"),
    limit(&Limits::nMaxHeadBytes, L"WebContainer/MaxHeadBytes", "bytes", 16384, 1024, s_knMebibyte,
          "a head, from its request line to its empty line, is kept in memory until it is complete",
          "431 at once, or 414 within the request line; the connection is closed"),
    limit(&Limits::nMaxHeaderFields, L"WebContainer/MaxHeaderFields", "fields", 100, 1, 10000,
          "each field costs time in every later look-up; also bounds the trailer fields",
          "431, or 400 within the trailers; the connection is closed"),
    limit(
        &Limits::nMaxChunkExtensionBytes, L"WebContainer/MaxChunkExtensionBytes", "bytes", 256, 0, 65536,
        "extensions are ignored, so that a body of one byte a chunk could cost any number of bytes for each; "
        "0: none may come",
        "400; the connection is closed"),
    limit(&Limits::nMaxTrailerBytes, L"WebContainer/MaxTrailerBytes", "bytes", 4096, 2, s_knMebibyte,
          "trailer fields and the empty line behind them are received but serve nobody",
          "400; the connection is closed"),
    limit(&Limits::nPrefetchBytes, L"WebContainer/PrefetchBytes", "bytes", 65536, 0, 16 * s_knMebibyte,
          "a body up to this length is received before a worker is taken by its request; 0: only its first "
          "byte",
          "of a longer body so much is received before, and the worker reads on while the request runs"),
    limit(
        &Limits::nDiscardBytes, L"WebContainer/DiscardBytes", "bytes", 65536, 0, 16 * s_knMebibyte,
        "a body that the application did not read is dropped so that the connection can go on; 0: only what "
        "has come already",
        "the connection is closed after the response"),
    limit(
        &Limits::nLingerBytes, L"WebContainer/LingerBytes", "bytes", 64 * s_knMebibyte, 0,
        1024 * s_knMebibyte,
        "what a client still sends, such as the rest of a refused upload, is dropped for a while, so that a "
        "reset does not destroy the last response; 0: nothing is",
        "the connection is closed"),
    limit(
        &Limits::nHeadTimeoutMs, L"WebContainer/HeadTimeoutMilliseconds", "ms", 20000, 1, s_knHourInMs,
        "a head takes long only when somebody holds connections open; also from connecting to the first byte",
        "408 when a head has begun; the connection is closed"),
    limit(&Limits::nIdleTimeoutMs, L"WebContainer/IdleTimeoutMilliseconds", "ms", 60000, 1, s_knHourInMs,
          "a kept connection without a request holds a descriptor", "the connection is closed"),
    limit(&Limits::nPrefetchTimeoutMs, L"WebContainer/PrefetchTimeoutMilliseconds", "ms", 60000, 1,
          s_knHourInMs,
          "from the end of the head until what is received of a body in advance is complete; sooner when the "
          "client falls behind MinimumBytesPerSecond",
          "408; the connection is closed"),
    limit(&Limits::nWriteTimeoutMs, L"WebContainer/WriteTimeoutMilliseconds", "ms", 30000, 1, s_knHourInMs,
          "a client that takes no byte of the response holds a worker",
          "the client counts as gone; the connection is reset"),
    limit(&Limits::nLingerTimeoutMs, L"WebContainer/LingerTimeoutMilliseconds", "ms", 5000, 1, s_knHourInMs,
          "how long LingerBytes may take to come", "the connection is closed"),
    limit(&Limits::nMinimumBytesPerSecond, L"WebContainer/MinimumBytesPerSecond", "bytes/s", 500, 0,
          1000 * s_knMebibyte, "clients that send or take a body in drops hold a worker; 0 allows them to",
          "sending: 408; taking: the client counts as gone"),
    limit(
        &Limits::nRateGraceMs, L"WebContainer/RateGraceMilliseconds", "ms", 30000, 0, s_knHourInMs,
        "the longest pause that MinimumBytesPerSecond forgives a client that was fast enough before; 0: none",
        "408 or a client that counts as gone, as above"),
    limit(&Limits::nSlowClientMs, L"WebContainer/SlowClientMilliseconds", "ms", 1000, 0, s_knHourInMs,
          "a worker may wait so long for any client, but only half of the workers at once longer, and a "
          "quarter of it while all workers wait for clients and somebody for a worker, so that slow clients "
          "never take them all; 0: the other half waits for none",
          "408 or a client that counts as gone, as above"),
    limit(
        &Limits::nQueueTimeoutMs, L"WebContainer/QueueTimeoutMilliseconds", "ms", 10000, 0, s_knHourInMs,
        "nobody waits for an answer for ever, and while old requests are served new ones become old; a fifth "
        "of it while more comes than can be served; 0: any time will do",
        "503 with Retry-After, without the application; the connection is closed"),
    limit(&Limits::nNoProgressMs, L"WebContainer/NoProgressMilliseconds", "ms", 0, 0, 24 * s_knHourInMs,
          "a server whose workers have all been busy for so long, and none of which has ended a request, is "
          "not alive; 0: as long as a response may be in the making",
          "/live says 503, and the service manager's watchdog is told nothing"),
    limit(&Limits::nAcceptPauseMs, L"WebContainer/AcceptPauseMilliseconds", "ms", 200, 1, 60000,
          "when descriptors or memory run out, trying at once would only burn the processor",
          "clients are accepted again"),
    limit(&Limits::nSweepIntervalMs, L"WebContainer/SweepIntervalMilliseconds", "ms", 100, 1, 60000,
          "how often the deadlines of waiting connections are looked at: how late they may take effect",
          "the deadlines are looked at"),
    limit(
        &Limits::nDrainDelayMs, L"WebContainer/DrainDelayMilliseconds", "ms", 0, 0, s_knHourInMs,
        "a reverse proxy goes on sending requests until its next check of the server's health says to stop; "
        "0: not waited for",
        "new clients are refused, idle connections end, and DrainTimeoutMilliseconds begins"),
    limit(&Limits::nDrainTimeoutMs, L"WebContainer/DrainTimeoutMilliseconds", "ms", 30000, 0, s_knHourInMs,
          "how long requests in flight may still take after the signal to end; 0: not at all",
          "they are cut off and the exit code says so"),
};

constexpr Limits::Limits() {
    for (const LimitInfo& r : s_tLimitInfos)
        this->*r.pMember = r.nDefault;
}

static_assert(sizeof(Limits) == sizeof s_tLimitInfos / sizeof *s_tLimitInfos * sizeof(unsigned int),
              "every limit stands in the table");

}  // namespace webcontainer
