#include <gtest/gtest.h>

#include <cstring>

#include "serverfixture.h"
#include "support/allocationcounter.h"
#include "support/recorders.h"

namespace {

/// The module's allocations for a request. A GET is answered with a short page, whose making takes none.
std::size_t allocationsOf(MemoryRequest& rRequest) {
    ScriptedApplication tApplication;
    tApplication.fGet = [sHtml = ZQWString(L"text/html")](ZQHttpStream& rStream, auto&) {
        rStream.SetContentType(sHtml);
        rStream.setExpireSeconds(60);
        for (int n = 0; n < 50; ++n)
            rStream.addText(L"<p>fifty short paragraphs</p>");
        return ScriptedApplication::kOK;
    };
    HttpServerInitContext tContext(tApplication);
    kiv::KIVHttpServer tServer(tContext);
    MemoryResponse tResponse;
    tResponse.sBody.reserve(10000);
    rRequest.bRecords = false;
    MemoryExchange tExchange(rRequest, tResponse);
    const AllocationCounter tAllocations;
    tServer.processRequest(tExchange.getRequest(), tExchange.getResponse());
    return tAllocations.getCount();
}

TEST(Allocations, ShortPageNeedsOneForTheUrl) {
    MemoryRequest tRequest{.sTarget = "/page"};
    allocationsOf(tRequest);  // the thread's logger comes into being here
    // The wide text of the URL, for checkValidServerURL(). The response takes none: text, bytes, dates and
    // header values stay in the stream's own storage.
    EXPECT_EQ(allocationsOf(tRequest), 1u);
}

TEST(Allocations, ShortBodiesNeedNone) {
    struct Case {
        std::size_t nDeclared, nBytes, nAllocations;
    };
    constexpr std::size_t knUndeclared = MemoryRequest::knUndeclared;
    for (const Case& c :
         {Case{16383, 16383, 0}, {16384, 16384, 1}, {knUndeclared, 8191, 0}, {knUndeclared, 8192, 1}}) {
        MemoryRequest tRequest{.sMethod = "POST",
                               .sTarget = "",
                               .tBody = {std::string(c.nBytes, 'x')},
                               .nContentLength = c.nDeclared};
        EXPECT_EQ(allocationsOf(tRequest), c.nAllocations) << c.nBytes;
    }
}

TEST(Allocations, HeadersNeedOneForEachTextThatIsNotUsual) {
    struct Case {
        std::size_t nHeaders;
        const char *pName, *pValue;
        std::size_t nAllocations;
    };
    for (const Case& c : {Case{20, "Accept", "close", 0},
                          {21, "Accept", "close", 1},
                          {40, "Accept", "close", 20},
                          {1, "accept", "1", 1},
                          {20, "Acceptor", "closed", 40}}) {
        StreamFixture t{{.tHeaders{c.nHeaders, {c.pName, c.pValue}}, .bRecords = false}};
        kiv::KIVServerHttpStream& tStream = t.tStream;
        tl::vector<ZQWString> tValues;
        tValues.reserve(c.nHeaders);
        const ZQWString sName(L"ACCEPTOR", std::strlen(c.pName));
        const AllocationCounter tAllocations;
        tStream.getRequestHeaders(sName, tValues);
        EXPECT_EQ(tAllocations.getCount(), c.nAllocations) << c.nHeaders << c.pName;
        EXPECT_EQ(tValues.size(), c.nHeaders);
        for (std::size_t n = 0; n < 40; ++n) {
            if (n % 20 == 0) tStream.Reset(ZQHttpStream::kClearHeader);
            tStream.AddHeader(sName, sName);
        }
        EXPECT_EQ(tAllocations.getCount(), c.nAllocations) << "as many again after a reset";
    }
}

/// The allocations of sending 4000 bytes, whose base64 text does not fit the stream's own storage.
std::size_t allocationsOfAChunk() {
    StreamFixture t{{.bRecords = false}};
    t.tResponse.sBody.reserve(4000);
    const std::string sBytes(4000, 'x');
    const AllocationCounter tAllocations;
    t.tStream.writeBinary(sBytes.data(), sBytes.size());
    t.tStream.Flush();
    return tAllocations.getCount();
}

/// How many allocations, and how many bytes at once, it takes to fill one record with two form fields of that
/// many bytes, one after the other.
std::pair<std::size_t, std::size_t> useOfFields(std::size_t nBytes) {
    const std::string sField =
        "--X\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n" + std::string(nBytes, 'x') + "\r\n";
    StreamFixture t{{.tHeaders = {{"Content-Type", "multipart/form-data; boundary=X"}},
                     .tBody = {sField + sField + "--X--\r\n"},
                     .bRecords = false}};
    kiv::KIVServerHttpStream& tStream = t.tStream;
    ZQHttpStream::Param tParam;
    const AllocationCounter tAllocations;
    tStream.getFirstParam(tParam, CharacterSet::utf8());
    EXPECT_EQ(tStream.getNextParam(tParam, CharacterSet::utf8()), 1);
    EXPECT_EQ(tParam.sParamValue.length(), nBytes);
    return {tAllocations.getCount(), tAllocations.getPeak()};
}

TEST(Allocations, FieldsNeedTheirBytesAndTheirTextOnce) {
    // One for the string that the conversion takes, one for the value.
    EXPECT_EQ(useOfFields(511).first, useOfFields(1).first);
    constexpr std::size_t knBytes = 11'000'000;  // no host has set a limit here
    EXPECT_LT(useOfFields(knBytes).second, knBytes / 100 * (1 + sizeof(wchar_t)) * 101);
}

TEST(Allocations, LoggingTakesNoneWhileNobodyWantsIt) {
    EXPECT_EQ(allocationsOfAChunk(), 0u);
    const LogRecorder tLog(kSevInfoMinor);
    EXPECT_GT(allocationsOfAChunk(), 0u);
}

}  // namespace
