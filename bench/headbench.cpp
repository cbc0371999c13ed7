// What it costs to receive a browser's head: the parsing library alone, the strict scan in front of it, all
// of it as a request goes through, and a head of the greatest size that comes byte by byte.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/beast/http/basic_parser.hpp>
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

namespace http = boost::beast::http;
using boost::beast::error_code;
using boost::beast::string_view;

/// Keeps what a server needs and checks nothing.
class LibraryAlone final : public http::basic_parser<true> {
public:
    explicit LibraryAlone(std::vector<std::pair<string_view, string_view>>& rFields) : m_rFields(rFields) {}

private:
    void on_request_impl(http::verb, string_view, string_view, int, error_code&) override {}
    void on_field_impl(http::field, string_view sName, string_view sValue, error_code&) override {
        m_rFields.emplace_back(sName, sValue);
    }
    void on_header_impl(error_code&) override {}
    std::size_t on_body_impl(string_view, error_code&) override { return 0; }
    std::size_t on_chunk_body_impl(std::uint64_t, string_view, error_code&) override { return 0; }
    void on_response_impl(int, string_view, int, error_code&) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t>&, error_code&) override {}
    void on_chunk_header_impl(std::uint64_t, string_view, error_code&) override {}
    void on_finish_impl(error_code&) override {}

    std::vector<std::pair<string_view, string_view>>& m_rFields;
};

void libraryAlone(benchmark::State& rState) {
    std::vector<std::pair<string_view, string_view>> tFields;
    for (auto _ : rState) {
        tFields.clear();
        LibraryAlone tParser(tFields);
        error_code eError;
        tParser.put({s_ksHead.data(), s_ksHead.size()}, eError);
        if (eError.failed()) rState.SkipWithError("refused");
        benchmark::DoNotOptimize(tFields.data());
    }
}

void strictScanAlone(benchmark::State& rState) {
    const webcontainer::Limits tLimits;
    for (auto _ : rState) {
        webcontainer::HeadScanner tScanner(tLimits);
        std::size_t nScanned = 0;
        if (tScanner.scan(s_ksHead.data(), nScanned, s_ksHead.size()) != webcontainer::EParsed::kDone)
            rState.SkipWithError("refused");
        benchmark::DoNotOptimize(nScanned);
    }
}

/// Gives an input bytes in pieces; returns what it said to the last one.
webcontainer::RequestInput::EStatus feed(webcontainer::RequestInput& rInput, std::string_view sBytes,
                                         std::size_t nPiece) {
    auto eStatus = webcontainer::RequestInput::EStatus::kNeedMore;
    for (; !sBytes.empty(); sBytes.remove_prefix(std::min(nPiece, sBytes.size()))) {
        const auto tRoom = rInput.room();
        rInput.commit(sBytes.copy(tRoom.data(), std::min(nPiece, tRoom.size())));
        eStatus = rInput.advance();
    }
    return eStatus;
}

void wholeInput(benchmark::State& rState, const std::string& sHead, std::size_t nPiece) {
    const webcontainer::Limits tLimits;
    webcontainer::RequestInput tInput(tLimits, webcontainer::RequestInput::fullCapacity(tLimits));
    for (auto _ : rState) {
        if (feed(tInput, sHead, nPiece) != webcontainer::RequestInput::EStatus::kReady)
            rState.SkipWithError("refused");
        tInput.next();
    }
}

const std::string s_ksLargest =
    "GET / HTTP/1.1\r\nHost: h\r\nX: " + std::string(webcontainer::Limits().nMaxHeadBytes - 32, 'x') +
    "\r\n\r\n";

BENCHMARK(libraryAlone);
BENCHMARK(strictScanAlone);
BENCHMARK_CAPTURE(wholeInput, atOnce, s_ksHead, s_ksHead.size());
BENCHMARK_CAPTURE(wholeInput, largestByteByByte, s_ksLargest, 1);

}  // namespace
