#include <gtest/gtest.h>

#include <cstring>

#include "serverfixture.h"
#include "support/allocationcounter.h"
#include "support/recorders.h"

namespace {

/// The module's allocations for a request. A GET is answered with a short page, whose making takes none.
std::size_t allocationsOf(FakeRequestProvider& rRequest) {
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
    FakeResponseProvider tResponse;
    tResponse.sBody.reserve(10000);
    const AllocationCounter tAllocations;
    tServer.processRequest(rRequest, tResponse);
    return tAllocations.getCount();
}

TEST(Allocations, ShortPageNeedsOneForTheUrl) {
    FakeRequestProvider tRequest;
    tRequest.tVariables["URL"] = "/page";
    allocationsOf(tRequest);  // the thread's logger comes into being here
    // The wide text of the URL, for checkValidServerURL(). The response takes none: text, bytes, dates and
    // header values stay in the stream's own storage.
    EXPECT_EQ(allocationsOf(tRequest), 1u);
}

TEST(Allocations, ShortBodiesNeedNone) {
    struct Case {
        std::size_t nDeclared, nBytes, nAllocations;
    };
    constexpr std::size_t knUndeclared = FakeRequestProvider::knUndeclared;
    for (const Case& c :
         {Case{16383, 16383, 0}, {16384, 16384, 1}, {knUndeclared, 8191, 0}, {knUndeclared, 8192, 1}}) {
        FakeRequestProvider tRequest;
        tRequest.sMethod = "POST";
        tRequest.tVariables.clear();
        tRequest.nContentLength = c.nDeclared;
        tRequest.tBody = {std::string(c.nBytes, 'x')};
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
        FakeRequestProvider tRequest;
        tRequest.tHeaders.assign(c.nHeaders, {c.pName, c.pValue});
        FakeResponseProvider tResponse;
        kiv::KIVServerHttpStream tStream(tRequest, tResponse, Handle<GDExpressionEvaluator>());
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
    FakeRequestProvider tRequest;
    FakeResponseProvider tResponse;
    tResponse.sBody.reserve(4000);
    kiv::KIVServerHttpStream tStream(tRequest, tResponse, Handle<GDExpressionEvaluator>());
    const std::string sBytes(4000, 'x');
    const AllocationCounter tAllocations;
    tStream.writeBinary(sBytes.data(), sBytes.size());
    tStream.Flush();
    return tAllocations.getCount();
}

/// How many allocations, and how many bytes at once, it takes to fill one record with two form fields of that
/// many bytes, one after the other.
std::pair<std::size_t, std::size_t> useOfFields(std::size_t nBytes) {
    const std::string sField =
        "--X\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n" + std::string(nBytes, 'x') + "\r\n";
    FakeRequestProvider tRequest;
    tRequest.tHeaders = {{"Content-Type", "multipart/form-data; boundary=X"}};
    tRequest.tBody = {sField + sField + "--X--\r\n"};
    FakeResponseProvider tResponse;
    kiv::KIVServerHttpStream tStream(tRequest, tResponse, Handle<GDExpressionEvaluator>());
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
