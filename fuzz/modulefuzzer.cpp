// Whatever a client sends and however the host's calls turn out, the module and the sample application keep
// to the providers' contract, and every request ends. The text is a request:
//
//     POST /form?a=b
//     Content-Type: application/x-www-form-urlencoded
//
//     name=World
//
// The numbers: length of the pieces in which the body comes (0: one piece); which piece stalls; how the
// length is declared; whether the client vanishes; which header cannot be had; which call throws; then the
// results of calls.

#include "samplesubject.h"

namespace {

/// After so many calls the client of an endless response is gone.
constexpr std::size_t knMostResults = 40;

void readHead(fuzz::FuzzInput& rInput, MemoryRequest& rRequest) {
    const std::string_view sLine = rInput.takeLine();
    rRequest.sMethod = sLine.substr(0, sLine.find(' '));
    rRequest.sTarget = sLine.substr(std::min(rRequest.sMethod.size() + 1, sLine.size()));
    for (std::string_view s; !(s = rInput.takeLine()).empty();) {
        const std::string_view sName = s.substr(0, s.find(": "));
        rRequest.tHeaders.emplace_back(sName, s.substr(std::min(sName.size() + 2, s.size())));
    }
}

void readBody(fuzz::FuzzInput& rInput, MemoryRequest& rRequest, std::size_t nPiece, std::size_t nStall) {
    rRequest.tBody = {std::string(rInput.getText())};
    if (nPiece != 0) rRequest.divide(nPiece);
    if (nStall != 0 && nStall <= rRequest.tBody.size())
        rRequest.tBody.emplace(rRequest.tBody.begin() + static_cast<std::ptrdiff_t>(nStall) - 1);
}

std::optional<std::size_t> declaredLength(std::size_t nHow, std::size_t nLength) {
    switch (nHow) {
        case 1:
            return MemoryRequest::knUndeclared;
        case 2:
            return nLength + 5;
        case 3:
            return nLength / 2;
        case 4:
            return 10485760;
        default:
            return {};
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    static fuzz::SampleSubject s_tSubject;
    fuzz::FuzzInput tInput(pData, nSize);
    const std::size_t nPiece = tInput.takeNumber(75), nStall = tInput.takeNumber(75);
    const std::size_t nLength = tInput.takeNumber(4);
    MemoryRequest tRequest;
    tRequest.bVanishes = tInput.takeNumber(1) == 1;
    if (const std::size_t n = tInput.takeNumber(9); n != 0) tRequest.nFailingHeader = n - 1;
    const std::size_t nThrowing = tInput.takeNumber(75);
    tRequest.fOnCall = [&](const MemoryRequest::Calls& rCalls) {
        if (rCalls.size() == nThrowing) throw std::bad_alloc();
    };
    while (tRequest.tResults.size() < knMostResults)
        tRequest.tResults.push_back(
            static_cast<kiv::HttpResponseProvider::EResponseCode>(tInput.takeNumber(3)));
    readHead(tInput, tRequest);
    tRequest.nContentLength = declaredLength(nLength, tInput.getText().size());
    readBody(tInput, tRequest, nPiece, nStall);
    s_tSubject.run(std::move(tRequest));
    return 0;
}
