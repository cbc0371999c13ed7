// What text costs beside bytes: 64 MiB of mostly ASCII text, in flushes of 64 KiB, through addChars() and its
// conversion, and the same bytes through writeBinary(). Both go to a socket whose other end only counts, so
// that the user time is what a server spends. Run it alone; the ratio is "text / bytes" of the CPU column.

#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "kivserverstream.h"
#include "zq/foundation/encodingutf8.h"
#include "zq/memoryhost/memoryexchange.h"

namespace {

constexpr std::size_t knTotal = std::size_t{64} << 20;
constexpr std::size_t knFlush = 64 << 10;

/// The sending half of a socket whose other half a thread empties.
class Drain {
public:
    Drain() {
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, m_tSockets) != 0) std::abort();
        m_tThread = std::thread([nSocket = m_tSockets[1]] {
            std::vector<char> tBuffer(1 << 20);
            while (read(nSocket, tBuffer.data(), tBuffer.size()) > 0) {
            }
        });
    }
    ~Drain() {
        close(m_tSockets[0]);
        m_tThread.join();
        close(m_tSockets[1]);
    }
    int getSocket() const noexcept { return m_tSockets[0]; }

private:
    int m_tSockets[2];
    std::thread m_tThread;
};

void sendTo(int nSocket, std::string_view sBytes) {
    while (!sBytes.empty()) {
        const ssize_t n = send(nSocket, sBytes.data(), sBytes.size(), MSG_NOSIGNAL);
        if (n <= 0) std::abort();
        sBytes.remove_prefix(static_cast<std::size_t>(n));
    }
}

/// A line of prose with one character in fifty beyond ASCII: 52 bytes of UTF-8.
constexpr std::wstring_view s_ksLine = L"A line of plain words, then of the caf\u00e9 in a town.\n";

double userSeconds() {
    rusage t{};
    getrusage(RUSAGE_THREAD, &t);
    return static_cast<double>(t.ru_utime.tv_sec) + static_cast<double>(t.ru_utime.tv_usec) / 1e6;
}

template <class WriteT>
void sendAll(benchmark::State& rState, WriteT tWriteLine) {
    Drain tDrain;
    double nUser = 0;
    for ([[maybe_unused]] auto _ : rState) {
        const MemoryRequest tRequest{
            .fOnBody = [&tDrain](std::string_view s) { sendTo(tDrain.getSocket(), s); }, .bRecords = false};
        MemoryResponse tResponse;
        MemoryExchange tExchange(tRequest, tResponse);
        kiv::KIVServerHttpStream tStream(tExchange.getRequest(), tExchange.getResponse(),
                                         Handle<GDExpressionEvaluator>());
        const double nStart = userSeconds();
        for (std::size_t nSent = 0; nSent < knTotal; nSent += knFlush) {
            for (std::size_t n = 0; n < knFlush; n += tWriteLine(tStream)) {
            }
            tStream.Flush();
        }
        tStream.endResponse();
        nUser += userSeconds() - nStart;
    }
    rState.counters["user_ms"] = nUser * 1000 / static_cast<double>(rState.iterations());
    rState.SetBytesProcessed(rState.iterations() * static_cast<std::int64_t>(knTotal));
}

/// Both write nLines lines at a time.
std::wstring linesOf(std::size_t nLines) {
    std::wstring s;
    for (std::size_t n = 0; n < nLines; ++n)
        s += s_ksLine;
    return s;
}

void bytes(benchmark::State& rState) {
    NarrowStringBuffer tLines;
    W2NEncodingUTF8().encode(tLines, linesOf(static_cast<std::size_t>(rState.range(0))));
    sendAll(rState, [&](ZQHttpStream& r) {
        r.writeBinary(tLines.data(), tLines.length());
        return tLines.length();
    });
}

void text(benchmark::State& rState) {
    const std::wstring sLines = linesOf(static_cast<std::size_t>(rState.range(0)));
    NarrowStringBuffer tLines;
    W2NEncodingUTF8().encode(tLines, sLines);
    sendAll(rState, [&](ZQHttpStream& r) {
        r.addText(sLines);
        return tLines.length();
    });
}

BENCHMARK(bytes)->Unit(benchmark::kMillisecond)->Iterations(20)->Arg(1)->Arg(10)->Arg(1260);
BENCHMARK(text)->Unit(benchmark::kMillisecond)->Iterations(20)->Arg(1)->Arg(10)->Arg(1260);

}  // namespace
