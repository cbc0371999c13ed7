// What it costs to take multipart bodies apart, beside what the same bytes cost memcpy and memmem. All of
// them go over the body in pieces of 64 KiB, as it comes from a provider.

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>

#include "support/multipartbody.h"

namespace {

constexpr std::size_t knPiece = std::size_t{64} * 1024;
const std::string s_ksBoundary = "----WebKitFormBoundary7MA4YWxkTrZu0gW0";
const std::string s_ksDashes(70, '-');

std::string part(const std::string& sContent, const std::string& sBoundary = s_ksBoundary) {
    return "--" + sBoundary +
           "\r\nContent-Disposition: form-data; name=\"f\"; filename=\"f.bin\"\r\n"
           "Content-Type: application/octet-stream\r\n\r\n" +
           sContent + "\r\n";
}

std::string closed(std::string sParts, const std::string& sBoundary = s_ksBoundary) {
    return std::move(sParts) + "--" + sBoundary + "--\r\n";
}

std::string file(const std::string& sContent, const std::string& sBoundary = s_ksBoundary) {
    return closed(part(sContent, sBoundary), sBoundary);
}

std::string randomBytes(std::size_t nSize) {
    std::string s(nSize, '\0');
    std::mt19937 tRandom;  // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (char& r : s)
        r = static_cast<char>(tRandom());
    return s;
}

std::string repeated(const std::string& s, std::size_t nTimes) {
    std::string sAll;
    while (nTimes-- > 0)
        sAll += s;
    return sAll;
}

/// Makes a body when it is first asked for.
using Body = const std::string& (*)();

const std::string& largeFile() {
    static const std::string s_sBody = file(randomBytes(64 << 20));
    return s_sBody;
}

const std::string& nearBoundaries() {
    static const std::string s_sBody = file(repeated("\r\n--" + s_ksBoundary + "x", 1'000'000));
    return s_sBody;
}

const std::string& tinyParts() {
    static const std::string s_sBody = closed(repeated(part("x"), 100'000));
    return s_sBody;
}

// What somebody would send to make the search slow: the next three.

const std::string& dashes() {
    static const std::string s_sBody = file(std::string(64 << 20, '-'), s_ksDashes);
    return s_sBody;
}

const std::string& lineFeeds() {
    static const std::string s_sBody = file(std::string(64 << 20, '\n'));
    return s_sBody;
}

const std::string& nearShort() {
    static const std::string s_sBody = file(repeated("\r\n--bx", 9'000'000), "b");
    return s_sBody;
}

/// As in a table with few columns.
const std::string& shortLines() {
    static const std::string s_sBody = file(repeated("2024-05-06;17.25;a b c\r\n", 2'700'000));
    return s_sBody;
}

void reportBytes(benchmark::State& rState, const std::string& sBody) {
    rState.SetBytesProcessed(static_cast<std::int64_t>(sBody.size()) * rState.iterations());
    rState.counters["time per byte"] =
        benchmark::Counter(static_cast<double>(sBody.size()),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void memcpyRate(benchmark::State& rState, Body fBody) {
    const std::string& sBody = fBody();
    static char s_tTarget[knPiece];
    for (auto _ : rState)
        for (std::size_t nPos = 0; nPos < sBody.size(); nPos += knPiece) {
            std::memcpy(s_tTarget, sBody.data() + nPos, std::min(knPiece, sBody.size() - nPos));
            benchmark::DoNotOptimize(s_tTarget);
            benchmark::ClobberMemory();
        }
    reportBytes(rState, sBody);
}

void memmemRate(benchmark::State& rState, Body fBody) {
    const std::string& sBody = fBody();
    const std::string sNeedle = "\r\n--" + s_ksBoundary;
    for (auto _ : rState)
        for (std::size_t nPos = 0; nPos < sBody.size(); nPos += knPiece)
            benchmark::DoNotOptimize(memmem(sBody.data() + nPos, std::min(knPiece, sBody.size() - nPos),
                                            sNeedle.data(), sNeedle.size()));
    reportBytes(rState, sBody);
}

/// nReadSize 0: content is not read but skipped.
void readParts(benchmark::State& rState, Body fBody, std::size_t nReadSize,
               const std::string& sNarrowBoundary = s_ksBoundary) {
    const std::string& sBody = fBody();
    const ZQWString sBoundary(std::wstring(sNarrowBoundary.begin(), sNarrowBoundary.end()).c_str());
    MultipartLimits::Values tLimits;
    tLimits.nMaxParts = 0x7FFFFFFF;
    std::string sBuffer(nReadSize, '\0');
    for (auto _ : rState) {
        MultipartReader tReader(Handle<InputStream>(new test::PiecewiseInput(sBody)), sBoundary, tLimits);
        for (HeadersN tHeaders; tReader.nextPart(tHeaders) != MultipartReader::knNoPart;)
            while (nReadSize != 0 && tReader.readPart(sBuffer.data(), nReadSize) != 0)
                benchmark::ClobberMemory();
    }
    reportBytes(rState, sBody);
}

BENCHMARK_CAPTURE(memcpyRate, file, largeFile);
BENCHMARK_CAPTURE(memmemRate, file, largeFile);
BENCHMARK_CAPTURE(readParts, fileBy64KiB, largeFile, knPiece);
BENCHMARK_CAPTURE(readParts, fileBy512, largeFile, 512);
BENCHMARK_CAPTURE(readParts, fileSkipped, largeFile, 0);
BENCHMARK_CAPTURE(readParts, nearBoundaries, nearBoundaries, knPiece);
BENCHMARK_CAPTURE(readParts, tinyParts, tinyParts, 512);
BENCHMARK_CAPTURE(memmemRate, shortLines, shortLines);
BENCHMARK_CAPTURE(readParts, shortLines, shortLines, knPiece);
BENCHMARK_CAPTURE(readParts, dashes, dashes, knPiece, s_ksDashes);
BENCHMARK_CAPTURE(readParts, lineFeeds, lineFeeds, knPiece);
BENCHMARK_CAPTURE(readParts, nearShort, nearShort, knPiece, "b");

}  // namespace
