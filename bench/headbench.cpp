// What it costs to receive a browser's head: the scanner alone, all of it as a request goes through, and a
// head of the greatest size that comes byte by byte.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "http/headscanner.h"
#include "http/requestinput.h"

namespace {

const std::string s_ksHead =
    "GET /shop/articles/4711?sort=price&page=2 HTTP/1.1\r\n"
    "Host: www.example.org\r\n"
    "User-Agent: Mozilla/5.0 (X11; Linux x86_64; rv:128.0) Gecko/20100101 Firefox/128.0\r\n"
    "Accept: text/html,application/xhtml+xml,application/xml;q=0.9,image/avif,image/webp,*/*;q=0.8\r\n"
    "Accept-Language: de,en-US;q=0.7,en;q=0.3\r\n"
    "Accept-Encoding: gzip, deflate, br, zstd\r\n"
    "Referer: https://www.example.org/shop/articles?sort=price\r\n"
    "Connection: keep-alive\r\n"
    "Cookie: session=5f2c8e0b7a1d4f3e9c6b; consent=all; theme=dark; cart=4711x1,0815x2\r\n"
    "Upgrade-Insecure-Requests: 1\r\n"
    "Sec-Fetch-Dest: document\r\n"
    "Sec-Fetch-Mode: navigate\r\n"
    "Sec-Fetch-Site: same-origin\r\n"
    "Sec-Fetch-User: ?1\r\n"
    "Priority: u=0, i\r\n\r\n";

void scannerAlone(benchmark::State& rState) {
    const webcontainer::Limits tLimits;
    webcontainer::RequestHead tHead;
    for (auto _ : rState) {
        webcontainer::HeadScanner tScanner(tLimits);
        std::size_t nScanned = 0;
        tHead.clear();
        if (tScanner.scan(s_ksHead.data(), nScanned, s_ksHead.size(), tHead) != webcontainer::Parsed::kDone)
            rState.SkipWithError("refused");
        benchmark::DoNotOptimize(tHead.tFields.data());
    }
}

/// Gives an input bytes in pieces; returns what it said to the last one.
webcontainer::Parsed feed(webcontainer::RequestInput& rInput, std::string_view sBytes, std::size_t nPiece) {
    webcontainer::Parsed tParsed = webcontainer::Parsed::kNeedMore;
    for (; !sBytes.empty(); sBytes.remove_prefix(std::min(nPiece, sBytes.size()))) {
        const auto tRoom = rInput.room();
        rInput.commit(sBytes.copy(tRoom.data(), std::min(nPiece, tRoom.size())));
        tParsed = rInput.advance();
    }
    return tParsed;
}

void wholeInput(benchmark::State& rState, const std::string& sHead, std::size_t nPiece) {
    const webcontainer::Limits tLimits;
    webcontainer::RequestInput tInput(tLimits, webcontainer::RequestInput::fullCapacity(tLimits));
    for (auto _ : rState) {
        if (feed(tInput, sHead, nPiece) != webcontainer::Parsed::kDone) rState.SkipWithError("refused");
        tInput.next();
    }
}

const std::string s_ksLargest =
    "GET / HTTP/1.1\r\nHost: h\r\nX: " + std::string(webcontainer::Limits().nMaxHeadBytes - 32, 'x') +
    "\r\n\r\n";

BENCHMARK(scannerAlone);
BENCHMARK_CAPTURE(wholeInput, atOnce, s_ksHead, s_ksHead.size());
BENCHMARK_CAPTURE(wholeInput, largestByteByByte, s_ksLargest, 1);

}  // namespace
