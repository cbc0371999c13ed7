#include <gmock/gmock.h>

#include "serverfixture.h"
#include "support/allocationcounter.h"
#include "support/recorders.h"
#include "zq/httpstream/httpdateutils.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

constexpr std::time_t knSomeTime = 784111777;  // Sun, 06 Nov 1994 08:49:37 GMT

std::string httpDate(std::time_t nTime) {
    StringBuffer tText;
    HttpDateUtils::formatHttpDate(tText, nTime);
    return toUtf8(tText.view());
}

/// Whole responses: what an application does, and the provider calls and log that come of it. The caching
/// values are empty, as they are before the first configuration load.
struct ResponseCase {
    const char* pName;
    void (*pAct)(ZQHttpStream&);
    std::vector<std::string> tCalls;
    std::vector<std::string> tLog = {};  ///< empty: not looked at
};

const std::string s_ksHeadersLog = "infominor kiv.httpserver.response.headers: ";
const std::string s_ksChunkLog = "infominor kiv.httpserver.response: ";

const ResponseCase s_tResponses[] = {
    {"nothing at all",
     [](ZQHttpStream& r) { r.setErrorStatusCode(404), r.setStatusCode(204); },
     {"setStatusCode 204", "setContentLength 0", "commitHeaders", "endResponse (null)"},
     {s_ksHeadersLog + "Status Code: 204, Content-Length: 0",
      s_ksChunkLog + "Zero bytes flushed for status code 204."}},
    {"page with everything",
     [](ZQHttpStream& r) {
         r.AddHeader(L"X-Euro", L"\u20ac\u00e9");
         r.AddHeader(L"x-euro", L"again");
         r.SetContentType(L"text/html");
         r.SetLastModified(-1);
         r.setExpireSeconds(0);
         r.setContentDisposition(ContentDisposition(ContentDisposition::kInline, L"a/b.txt"));
         r.addResponseHint(L"b");
         r.addResponseHint(L"a");
         r.addText(L"\u00e9");
     },
     {"addHeader X-Euro: \xAC\xE9", "addHeader x-euro: again", "setStatusCode 200", "setContentLength 2",
      "addHeader Last-Modified: Wed, 31 Dec 1969 23:59:59 GMT",
      "addHeader Content-Type: text/html; charset=utf-8", "addHeader Expires: 0",
      "addHeader Cache-Control: ", "addHeader Content-Disposition: inline; filename=\"a_b.txt\"",
      "addHeader X-ZUBRE-Response-Hints: a,b", "commitHeaders", "endResponse \xC3\xA9"},
     {s_ksHeadersLog +
          "Status Code: 200, Content-Length: 2, Last-Modified: Wed, 31 Dec 1969 23:59:59 GMT, Content-Type: "
          "text/html; charset=utf-8, Expires: 0, Cache-Control: , Content-Disposition: inline; "
          "filename=\"a_b.txt\"",
      s_ksChunkLog + "\xC3\xA9"}},
    {"the type's character set is that of the text",
     [](ZQHttpStream& r) {
         r.SetContentType(L"a/b; CharSet =\t\"iso-8859-1\" ; x=\"\\\";charset=1\"; charset=utf-8; charset");
         r.setStatusCode(201);
         EXPECT_THROW(r.SetContentType(L"c/d; charset="), CharacterSet::UnknownCharset);
         r.addText(L"\u00e9");
     },
     {"setStatusCode 201", "setContentLength 1",
      "addHeader Content-Type: a/b; x=\"\\\";charset=1\"; charset; charset=iso-8859-1", "commitHeaders",
      "endResponse \xE9"}},
    {"flushed in pieces",
     [](ZQHttpStream& r) {
         r.setStatusCode(206);
         r.addText(L"one");
         r.Flush();
         r.Flush();
         r.writeBinary("\0\1", 2);
         r.Flush();
         r.addText(L"end");
     },
     {"setStatusCode 206", "addHeader Content-Type: text/plain; charset=utf-8", "commitHeaders",
      "writeToBody one", std::string("writeToBody \0\1", 14), "endResponse end"},
     {s_ksHeadersLog + "Status Code: 206, Content-Type: text/plain; charset=utf-8", s_ksChunkLog + "one",
      s_ksChunkLog + "Zero bytes flushed for status code 206.", s_ksChunkLog + "AAE=", s_ksChunkLog + "end"}},
    {"no type: the character set is not named",
     [](ZQHttpStream& r) {
         r.setStatusCode(200), r.setErrorStatusCode(500);
         r.SetLastModified(knSomeTime), r.setExpireSeconds(0);
     },
     {"setErrorStatusCode 500", "setContentLength 0", "addHeader Expires: 0",
      "addHeader Cache-Control: ", "commitHeaders", "endResponse (null)"}},
    {"no character set",
     [](ZQHttpStream& r) {
         r.setStatusCode(202);
         r.SetContentType(L"image/png");
         r.SetOutputCharset({});
         r.writeBinary("png", 3);
     },
     {"setStatusCode 202", "setContentLength 3", "addHeader Content-Type: image/png", "commitHeaders",
      "endResponse png"}},
    {"not modified, expired at once: no caching headers",
     [](ZQHttpStream& r) { r.setStatusCode(304), r.setExpireSeconds(0); },
     {"setStatusCode 304", "setContentLength 0", "commitHeaders", "endResponse (null)"}},
    {"the three shortcuts drop expiry and time",
     [](ZQHttpStream& r) {
         r.setExpireSeconds(9), r.SetLastModified(knSomeTime), r.SendNotModified();
         EXPECT_EQ(r.GetLastModified(), 0);
     },
     {"setStatusCode 304", "setContentLength 0", "commitHeaders", "endResponse (null)"}},
    {"not found",
     [](ZQHttpStream& r) {
         r.setExpireSeconds(0), r.SetLastModified(knSomeTime), r.SendNotFound();
         EXPECT_EQ(r.GetLastModified(), 0);
     },
     {"setErrorStatusCode 404", "setContentLength 0", "commitHeaders", "endResponse (null)"}},
    {"redirect",
     [](ZQHttpStream& r) {
         r.setExpireSeconds(0), r.SetLastModified(knSomeTime), r.SendRedirect(HREFString(L"/there?x=1"));
         EXPECT_EQ(r.GetLastModified(), 0);
     },
     {"addHeader Location: /there?x=1", "setStatusCode 302", "setContentLength 0", "commitHeaders",
      "endResponse (null)"}},
    {"disposition without a name, and a name without a disposition",
     [](ZQHttpStream& r) {
         r.setStatusCode(201);
         r.setContentDisposition(ContentDisposition(ContentDisposition::kNone, L"x"));
         r.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment));
     },
     {"setStatusCode 201", "setContentLength 0", "addHeader Content-Disposition: attachment", "commitHeaders",
      "endResponse (null)"}},
    {"bytes, then the mark, then text; the length counts all",
     [](ZQHttpStream& r) {
         r.setStatusCode(201);
         r.SetOutputCharset(CharacterSet::find(L"UNIcode"));
         r.addText(L"a\U0001F600");
         r.writeBinary("b", 1);
     },
     {"setStatusCode 201", "setContentLength 9", "addHeader Content-Type: text/plain; charset=UNIcode",
      "commitHeaders",
      std::string("endResponse b\xFF\xFE"
                  "a\0\x3D\xD8\x00\xDE",
                  21)},
     {}},
    {"only the first chunk carries a mark",
     [](ZQHttpStream& r) {
         r.setStatusCode(201);
         r.SetOutputCharset(CharacterSet::find(L"UNICODEfffe"));
         r.addText(L"a");
         r.Flush();
         r.addText(L"b");
     },
     {"setStatusCode 201", "addHeader Content-Type: text/plain; charset=UNICODEfffe", "commitHeaders",
      std::string("writeToBody \xFE\xFF\0a", 16), std::string("endResponse \0b", 14)},
     {}},
    {"a first flush without text leaves no mark",
     [](ZQHttpStream& r) {
         r.setStatusCode(201);
         r.SetOutputCharset(CharacterSet::find(L"unicode"));
         r.Flush();
         r.addText(L"a");
     },
     {"setStatusCode 201", "commitHeaders", std::string("endResponse a\0", 14)},
     {}},
};

TEST(Response, CallsBytesAndLog) {
    for (const ResponseCase& c : s_tResponses) {
        StreamFixture t;
        LogRecorder tLog(kSevInfoMinor);
        c.pAct(t.tStream);
        t.tStream.endResponse();
        EXPECT_THAT(t.tLog, ElementsAreArray(c.tCalls)) << c.pName;
        const auto tEntries = tLog.takeEntries();
        EXPECT_THAT(tEntries, ElementsAreArray(c.tLog.empty() ? tEntries : c.tLog)) << c.pName;
        EXPECT_TRUE(t.tStream.IsCommitted()) << c.pName;
    }
}

TEST(Response, ExpiryIsCountedFromNowAndReachesAYear) {
    for (const auto& [nSeconds, nExpected] : {std::pair<std::uint32_t, std::time_t>{1, 1},
                                              {31536000, 31536000},
                                              {31536001, 31536000},
                                              {0xFFFFFFFE, 31536000}}) {
        StreamFixture t;
        LogRecorder tLog(kSevInfoMinor);
        t.tStream.setStatusCode(304);
        t.tStream.setExpireSeconds(nSeconds);
        const std::time_t nBefore = time(nullptr);
        t.tStream.endResponse();
        const std::time_t nAfter = time(nullptr);
        EXPECT_THAT(t.tLog[2], testing::AnyOf("addHeader Expires: " + httpDate(nBefore + nExpected),
                                              "addHeader Expires: " + httpDate(nAfter + nExpected)));
        EXPECT_EQ(t.tLog[3], "addHeader Cache-Control: ");
        EXPECT_EQ(tLog.takeEntries()[0], s_ksHeadersLog + "Status Code: 304, Content-Length: 0, " +
                                             t.tLog[2].substr(10) + ", Cache-Control: ");
    }
}

TEST(Response, LastModifiedIsNowUnlessSet) {
    StreamFixture t;
    const std::time_t nBefore = time(nullptr);
    t.tStream.endResponse();
    EXPECT_THAT(t.tLog[2], testing::AnyOf("addHeader Last-Modified: " + httpDate(nBefore),
                                          "addHeader Last-Modified: " + httpDate(time(nullptr))));
}

/// A response of nResults calls that can fail, 2 or 4; the last one ends it.
void respond(kiv::KIVServerHttpStream& r, std::size_t nResults) {
    if (nResults == 4) {
        r.addText(L"one");
        r.Flush();
        r.writeBinary("two", 3);
        r.Flush();
    }
    r.addText(L"three");
    r.endResponse();
}

TEST(Response, NthCallFailsForEveryNAndCode) {
    const std::pair<int, std::string> tCodes[] = {
        {1, "ClientDead: Client no longer there."},
        {2, "HttpResponseProviderError: Error in HttpResponseProvider."},
        {3, "ResponseTimeout: Active HTTP Response running for more than threshold value. Timedout"},
        {7, "HttpResponseProviderError: Error in HttpResponseProvider."}};
    for (const std::size_t nResults : {2u, 4u})
        for (std::size_t n = 0; n < nResults; ++n)
            for (const auto& [nCode, sException] : tCodes) {
                SCOPED_TRACE(testing::Message() << n << ' ' << nCode);
                StreamFixture t;
                LogRecorder tLog(kSevInfoMinor);
                t.tRequest.tResults.resize(n);
                t.tRequest.tResults.push_back(static_cast<kiv::HttpResponseProvider::EResponseCode>(nCode));
                const bool bLast = n + 1 == nResults;
                bool bThrown = false;
                try {
                    respond(t.tStream, nResults);
                } catch (const Exception& e) {
                    bThrown = true;
                    EXPECT_EQ(describe(*std::unique_ptr<Exception>(e.clone())), describe(e));
                }
                EXPECT_EQ(bThrown, !bLast) << "the last result is only kept";
                // What went out before is in the log, and what failed is not, but for the last chunk.
                auto tEntries = tLog.takeEntries();
                EXPECT_EQ(tEntries.size(), n + 1);
                EXPECT_EQ(tEntries.back(),
                          bLast ? s_ksChunkLog + "three" : "warning exceptions: " + sException);
                EXPECT_EQ(t.tStream.isStreamDead(), !bLast);
                EXPECT_EQ(t.tStream.IsCommitted(), n > 1 || bLast);
                EXPECT_EQ(t.tStream.getUnicodeBuffer().empty() && t.tStream.getByteBuffer().empty(), bLast);
                const std::size_t nCalls = t.tLog.size();
                t.tStream.addText(L"more");
                t.tStream.AddHeader(L"X", L"1");
                t.tStream.Flush();
                t.tStream.endResponse();
                EXPECT_EQ(t.tLog.size(), nCalls) << "no call follows a failed one";
                EXPECT_THAT(tLog.takeEntries(), IsEmpty());
            }
}

/// The body of a page whose text is flushed after nCut characters, when it says anew what it is.
std::string pageBody(const wchar_t* pContentType, const wchar_t* pCharset, const std::wstring& sText,
                     std::size_t nCut) {
    StreamFixture t;
    for (const std::wstring& sPiece : {sText.substr(0, nCut), sText.substr(nCut)}) {
        t.tStream.SetContentType(pContentType);
        t.tStream.SetOutputCharset(CharacterSet::find(pCharset));
        t.tStream.addText(sPiece);
        if (!sPiece.empty()) t.tStream.Flush();
    }
    t.tStream.endResponse();
    return t.tResponse.sBody;
}

TEST(Response, TextCutAnywhereConvertsAsOnePiece) {
    // Shift states, characters that join with the next one, pairs of UTF-16 units, and what has no place.
    const std::wstring sText = L"a\u65e5\u672c\u00ca\u0304b\U0001F600\u200d\u20ac\u00e9\u8a9e";
    struct {
        const wchar_t *pContentType, *pCharset;
        std::string sBody;
    } const kpCases[] = {
        {L"text/html", L"utf-8",
         "a\xE6\x97\xA5\xE6\x9C\xAC\xC3\x8A\xCC\x84"
         "b\xF0\x9F\x98\x80\xE2\x80\x8D\xE2\x82\xAC\xC3\xA9\xE8\xAA\x9E"},
        {L"text/html", L"iso-8859-1", "a&#26085;&#26412;\xCA&#772;b&#128512;&#8205;&#8364;\xE9&#35486;"},
        {L"text/plain", L"iso-8859-1", "a??\xCA?b???\xE9?"},
        {L"text/html", L"iso-2022-jp",
         "a\x1B$BF|K\\\x1B(B&#202;&#772;b&#128512;&#8205;&#8364;&#233;\x1B$B8l\x1B(B"},
        {L"text/plain", L"iso-2022-kr",
         "\x1B$)Ca\x0Elm\\b\x0F??b???"
         "?\x0E"
         "e^\x0F"},
        {L"text/html", L"big5-hkscs",
         "a\xA4\xE9\xA5\xBB\x88\x66&#772;b&#128512;&#8205;\xA3\xE1\x88\x6D\xBB\x79"},
        {L"text/plain", L"utf-16",
         std::string("\xFF\xFE"
                     "a\0\xE5\x65\x2C\x67\xCA\0\4\3"
                     "b\0=\xD8\0\xDE\r\x20\xAC\x20\xE9\0\x9E\x8A",
                     26)},
    };
    for (const auto& r : kpCases)
        for (std::size_t nCut = 0; nCut <= sText.size(); ++nCut)
            EXPECT_EQ(pageBody(r.pContentType, r.pCharset, sText, nCut), r.sBody)
                << toUtf8(ZQWString(r.pCharset)) << nCut;
}

/// Long texts move from buffer to buffer instead of being copied; the log and the bytes must not notice.
TEST(Response, LongTextsArriveWholeAndOnceEachTime) {
    StreamFixture t;
    LogRecorder tLog(kSevInfoMinor);
    std::string sExpected;
    for (wchar_t c : std::wstring_view(L"abcd\u00e9")) {
        const std::wstring sText(20000, c);
        if (c == L'c') t.tStream.writeBinary("bytes first", 11), sExpected += "bytes first";
        t.tStream.addText(sText);
        t.tStream.Flush();
        sExpected += toUtf8(sText);
        EXPECT_EQ(tLog.takeEntries().back(), s_ksChunkLog + toUtf8(sText));
    }
    t.tStream.endResponse();
    EXPECT_EQ(t.tResponse.sBody, sExpected);
}

/// Makes the module write its log entries, and needs no memory for them.
class DeafLogWriter final : public LogWriter {
public:
    DeafLogWriter() { LogRegistry::addWriter(*this, kSevInfoMinor); }
    ~DeafLogWriter() override { LogRegistry::removeWriter(*this); }
    void write(const LogEntry&) noexcept override {}
};

/// The body of a response in three chunks, the third of which finds long buffers; each first flush of one
/// runs out of memory at its allocation number nFailing, and says so in rbThrown.
std::string bodyWithoutMemory(const wchar_t* pCharset, std::size_t nText, std::size_t nBytes,
                              std::size_t nFailing, bool& rbThrown) {
    StreamFixture t;  // whose end sees that the headers were committed once
    t.tStream.SetOutputCharset(CharacterSet::find(pCharset));
    for (const wchar_t c : {L'\u65e5', L'\u672c', L'\u8a9e'}) {
        t.tStream.writeBinary(std::string(nBytes, '.').data(), nBytes);
        t.tStream.addText(std::wstring(nText, c));
        try {
            const AllocationFailure tFailure(nFailing);
            t.tStream.Flush();
        } catch (const std::bad_alloc&) {
            rbThrown = true;
        }
        t.tStream.addText(L"\u3042");
        t.tStream.Flush();
    }
    t.tStream.endResponse();
    return t.tResponse.sBody;
}

TEST(Response, FlushThatThrewHasSentOrKeptEachByte) {
    const DeafLogWriter tWriter;
    for (const wchar_t* const pCharset : {L"utf-8", L"unicode", L"utf-16", L"iso-2022-jp"})
        for (const std::size_t nText : {1u, 20000u})
            for (const std::size_t nBytes : {0u, 1u, 20000u}) {
                bool bThrown = false;
                const std::string sWhole = bodyWithoutMemory(pCharset, nText, nBytes, 1'000'000, bThrown);
                ASSERT_FALSE(bThrown);
                std::size_t n = 0;
                do {
                    bThrown = false;
                    ASSERT_TRUE(bodyWithoutMemory(pCharset, nText, nBytes, n, bThrown) == sWhole)
                        << toUtf8(ZQWString(pCharset)) << nText << ' ' << nBytes << ' ' << n;
                } while (++n, bThrown);
                EXPECT_GT(n, 3U);
            }
    StreamFixture t;
    t.tStream.SetOutputCharset(CharacterSet::find(L"unicode"));
    t.tStream.addText(L"taken back, and its mark with it");
    {
        const AllocationFailure tFailure(0);
        EXPECT_THROW(t.tStream.Flush(), std::bad_alloc);
    }
    t.tStream.Reset(ZQHttpStream::kClearBuffer);
    t.tStream.addText(L"x");
    t.tStream.endResponse();
    EXPECT_EQ(t.tResponse.sBody, std::string("\xFF\xFEx\0", 4));
}

TEST(Response, UnknownCharacterSetIsRefusedBeforeAnythingIsSent) {
    StreamFixture t;
    EXPECT_THROW(t.tStream.SetOutputCharset(CharacterSet::find(L"no-such-charset")),
                 CharacterSet::UnknownCharset);
    EXPECT_THAT(t.tLog, IsEmpty());
}

TEST(Response, MissingFeatureTableStopsTheCommit) {
    const auto hBefore = FeatureTable::getGlobal();
    FeatureTable::setGlobal({});
    StreamFixture t;
    t.tStream.setContentDisposition(ContentDisposition(ContentDisposition::kAttachment, L"x"));
    EXPECT_THROW(t.tStream.endResponse(), InvalidHandleException);
    FeatureTable::setGlobal(hBefore);
    EXPECT_THAT(t.tLog, testing::Not(testing::Contains("commitHeaders")));
}

}  // namespace
