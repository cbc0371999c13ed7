#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "http/chunkdecoder.h"
#include "http/fieldscanner.h"
#include "http/fieldtext.h"
#include "http/reasonphrase.h"
#include "properties/streamcalls.h"
#include "support/multipartbody.h"
#include "support/recorders.h"
#include "support/scriptedapplication.h"
#include "testserver.h"
#include "zq/webhttpserver/kivhttpserver.h"

namespace test {
namespace {

enum class EWire { kWhole, kCut, kMalformed };

/// Takes one response off the front of what a server sent, as the strictest of clients would: with our own
/// parser of requests.
EWire takeResponse(std::string& rsWire, bool bHead, bool& rbKeepAlive) {
    using namespace webcontainer;
    const std::size_t nLine = rsWire.find("\r\n");
    if (nLine == rsWire.npos) return EWire::kCut;
    if (!rsWire.starts_with("HTTP/1.1 ") || nLine < 13 || rsWire[12] != ' ') return EWire::kMalformed;
    const std::string sStatus = rsWire.substr(9, 3);
    if (sStatus.find_first_not_of("0123456789") != sStatus.npos || sStatus < "200") return EWire::kMalformed;
    const auto nStatus = static_cast<unsigned>(std::stoul(sStatus));
    if (rsWire.substr(13, nLine - 13) != getReasonPhrase(nStatus)) return EWire::kMalformed;

    FieldScanner tScanner(1000);
    std::vector<HeaderField> tFields;
    const char* p = rsWire.data() + nLine + 2;
    const char* const pEnd = rsWire.data() + rsWire.size();
    const Parsed tParsed = tScanner.scan(p, pEnd, rsWire.data(), &tFields);
    if (tParsed != Parsed::kDone) return tParsed == Parsed::kRefused ? EWire::kMalformed : EWire::kCut;
    std::vector<std::string_view> tLengths, tCodings;
    rbKeepAlive = true;
    for (const HeaderField& r : tFields) {
        const auto fText = [&](Stretch t) { return std::string_view(rsWire).substr(t.nFrom, t.nLength); };
        if (equalsNoCase(fText(r.tName), "Set-Cookie")) return EWire::kMalformed;  // which nobody added
        if (r.eKnown == EKnownField::kContentLength) tLengths.push_back(fText(r.tValue));
        if (r.eKnown == EKnownField::kTransferEncoding) tCodings.push_back(fText(r.tValue));
        if (r.eKnown == EKnownField::kConnection) rbKeepAlive = fText(r.tValue) != "close";
    }
    const bool bBodyless = nStatus == 204 || nStatus == 304;
    if (tLengths.size() + tCodings.size() != (bBodyless ? 0 : 1)) return EWire::kMalformed;
    if (bBodyless || bHead) {
        // The head is all.
    } else if (!tLengths.empty()) {
        const std::size_t nLength = std::stoul(std::string(tLengths[0]));
        if (nLength > static_cast<std::size_t>(pEnd - p)) return EWire::kCut;
        p += nLength;
    } else {
        if (tCodings[0] != "chunked") return EWire::kMalformed;
        const Limits tLimits;
        ChunkDecoder tDecoder(tLimits);
        std::string sBody(p, pEnd);
        const char* pFrom = sBody.data();
        char* pTo = sBody.data();
        const Parsed tBody = tDecoder.decode(pFrom, sBody.data() + sBody.size(), pTo);
        if (tBody != Parsed::kDone) return tBody == Parsed::kRefused ? EWire::kMalformed : EWire::kCut;
        p += pFrom - sBody.data();
    }
    rsWire.erase(0, static_cast<std::size_t>(p - rsWire.data()));
    return EWire::kWhole;
}

/// A server whose application calls what it is told to.
struct WireFixture {
    std::mutex tMutex;  ///< of what follows, which the application holds while it runs
    std::vector<StreamCall> tCalls;
    std::size_t nThrowing = 0;  ///< the application throws instead of this call
    HttpServerExtension::EStatus eStatus = HttpServerExtension::kOK;
    bool bCommitted = false;  ///< when it threw or returned
    ScriptedApplication tApplication;
    HttpServerInitContext tContext{tApplication};
    kiv::KIVHttpServer tModule{tContext};
    Server tServer{[this](Request& r, Response& rResponse) {
                       if (variable(r, "URL") == "/probe") return answer(rResponse, "probe");
                       tModule.processRequest(r, rResponse);
                   },
                   quickLimits(), 1};

    WireFixture() {
        tApplication.fGet = [this](ZQHttpStream& rStream, const HttpApplicationRequest&) {
            const std::lock_guard tLock(tMutex);
            for (std::size_t n = 0; n < tCalls.size(); ++n) {
                if (n == nThrowing) throw std::runtime_error("thrown");
                tCalls[n].apply(rStream, true);
                bCommitted = rStream.IsCommitted();
            }
            return eStatus;
        };
    }
};

RC_GTEST_PROP(Wire, CarriesOneWellFormedResponseWhateverIsCalled, ()) {
    static WireFixture s_t;
    const AssertionRecorder tAssertions;
    const QuietExceptions tQuiet;
    for (int n = 0; n < 20; ++n) {
        std::unique_lock tLock(s_t.tMutex);
        s_t.tCalls = *rc::gen::container<std::vector<StreamCall>>(
            rc::gen::map(rc::gen::inRange(0u, StreamCall::knKinds * StreamCall::knValues),
                         [](unsigned nCall) { return StreamCall(nCall); }));
        s_t.nThrowing = *rc::gen::inRange<std::size_t>(0, 200);
        s_t.eStatus = static_cast<HttpServerExtension::EStatus>(*rc::gen::inRange(-1, 12));
        s_t.bCommitted = false;
        const bool bHead = *rc::gen::arbitrary<bool>();
        tLock.unlock();
        Client tClient(s_t.tServer);
        tClient.send(
            std::string(bHead ? "HEAD" : "GET") +
            " / HTTP/1.1\r\nHost: h\r\n\r\nGET /probe HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
        std::string sWire = tClient.readAll();
        // What was asked for behind a response that was cut off is left unread.
        if (sWire.ends_with("<reset>")) sWire.resize(sWire.size() - 7);
        RC_LOG() << sWire;
        bool bKeepAlive = false;
        tLock.lock();
        const bool bFailed = sWire.find("the server failed") != sWire.npos;
        const EWire eFirst = takeResponse(sWire, bHead, bKeepAlive);
        const bool bThrew = s_t.nThrowing < s_t.tCalls.size();
        RC_ASSERT(bThrew || !bFailed);
        RC_ASSERT(eFirst == EWire::kWhole || (eFirst == EWire::kCut && bThrew && s_t.bCommitted));
        if (eFirst == EWire::kCut) continue;
        // Without a body nothing is missing of a response that was broken off.
        if (!bKeepAlive || (bThrew && s_t.bCommitted && sWire.empty())) {
            RC_ASSERT(sWire.empty());
            continue;
        }
        RC_ASSERT(sWire.ends_with("\r\n\r\nprobe"));
        RC_ASSERT(takeResponse(sWire, false, bKeepAlive) == EWire::kWhole);
        RC_ASSERT(sWire.empty());
    }
}

}  // namespace
}  // namespace test
