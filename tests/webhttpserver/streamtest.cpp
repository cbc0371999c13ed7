#include <gmock/gmock.h>

#include "serverfixture.h"
#include "support/recorders.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Stream, NewOneIsOpenAndSilent) {
    StreamFixture t;
    EXPECT_FALSE(t.tStream.IsCommitted());
    EXPECT_EQ(t.tStream.getStatusCode(), 200u);
    t.tStream.addText(L"never sent");
    t.tStream.writeBinary("x", 1);
    EXPECT_THAT(t.tLog, IsEmpty());
}

TEST(Stream, DestroyingOneSendsNothing) {
    CallLog tLog;
    FakeRequestProvider tRequest(&tLog);
    FakeResponseProvider tResponse(&tLog);
    {
        kiv::KIVServerHttpStream tStream(tRequest, tResponse, Handle<GDExpressionEvaluator>());
        tStream.addText(L"text");
    }
    EXPECT_THAT(tLog, IsEmpty());
}

TEST(Stream, LastStatusSetDecidesItsForm) {
    StreamFixture tPlain, tError;
    tPlain.tStream.setErrorStatusCode(404);
    tPlain.tStream.setStatusCode(202);
    tPlain.tStream.endResponse();
    tError.tStream.setStatusCode(202);
    tError.tStream.setErrorStatusCode(404);
    tError.tStream.endResponse();
    EXPECT_EQ(tPlain.tLog[0], "setStatusCode 202");
    EXPECT_EQ(tError.tLog[0], "setErrorStatusCode 404");
}

TEST(Stream, ResetTakesBackWhatItsFlagsName) {
    struct Case {
        ZQHttpStream::EResetFlag eFlag;
        const char* pBody;
        bool bHeadersCleared;
        std::size_t nOnLoad;
        unsigned int nStatus;
    };
    for (const Case& c : {Case{ZQHttpStream::kClearBuffer, "", false, 1, 202},
                          {ZQHttpStream::kClearHeader, "text", true, 1, 202},
                          {ZQHttpStream::kClearOnLoadFunc, "text", false, 0, 202},
                          {ZQHttpStream::kClearStatusCode, "text", false, 1, 200},
                          {ZQHttpStream::kClearResourceRefs, "text", false, 1, 202},
                          {ZQHttpStream::kClearAll, "", true, 0, 200}}) {
        StreamFixture t;
        const AssertionRecorder tAssertions;
        t.tStream.addText(L"text");
        t.tStream.AddHeader(L"X", L"1");
        t.tStream.WindowOnLoadFunctions().push_back(L"f");
        t.tStream.SetContentType(L"text/html");
        t.tStream.setStatusCode(202);
        t.tStream.Reset(c.eFlag);
        EXPECT_EQ(t.tStream.WindowOnLoadFunctions().size(), c.nOnLoad) << c.eFlag;
        EXPECT_EQ(t.tStream.getStatusCode(), c.nStatus) << c.eFlag;
        EXPECT_EQ(t.tStream.GetContentType().empty(), c.bHeadersCleared) << c.eFlag;
        EXPECT_EQ(t.tLog.back() == "clearHeaders", c.bHeadersCleared) << c.eFlag;
        t.tStream.endResponse();
        EXPECT_EQ(t.tResponse.sBody, c.pBody) << c.eFlag;
    }
}

TEST(Stream, ResetAfterTheFirstFlushIsReportedAndCarriedOut) {
    StreamFixture t;
    AssertionRecorder tAssertions;
    t.tStream.Flush();
    t.tStream.Reset(ZQHttpStream::kClearBuffer);
    EXPECT_THAT(tAssertions.takeTexts(), IsEmpty());
    t.tStream.Reset(ZQHttpStream::kClearHeader);
    EXPECT_THAT(tAssertions.takeTexts(), ElementsAre("!m_bFlushed || eResetFlag == kClearBuffer"));
    EXPECT_EQ(t.tLog.back(), "clearHeaders");
}

TEST(Stream, HeaderAfterTheFirstFlushIsReportedAndSent) {
    StreamFixture t;
    AssertionRecorder tAssertions;
    t.tStream.Flush();
    t.tStream.AddHeader(L"X", L"1");
    EXPECT_THAT(tAssertions.takeTexts(), ElementsAre("!m_bFlushed"));
    EXPECT_EQ(t.tLog.back(), "addHeader X: 1");
}

}  // namespace
