#include <gmock/gmock.h>

#include "serverfixture.h"
#include "support/allocationcounter.h"
#include "zq/services/systemutils.h"
#include "zq/webhttpserver/httpservermessages.h"

using testing::ElementsAreArray;

namespace {

constexpr const char* s_kpForm = "application/x-www-form-urlencoded";
constexpr std::size_t knUndeclared = FakeRequestProvider::knUndeclared;

/// What an application saw of a POST: which entry point, and the body or where it is.
std::string describe(const char* pEntry, const HttpApplicationRequest& r) {
    std::string s = std::string(pEntry) + " '" + std::string(r.sQueryString.view()) + "' ";
    if (r.bBodyInStream) return s + "in stream " + std::to_string(static_cast<long>(r.nDeclaredLength));
    EXPECT_EQ(*r.sBody.m_pe, '\0') << "bodies are NUL-terminated";
    return s + "'" + std::string(r.sBody.view()) + "'";
}

struct PostFixture : ServerFixture {
    std::string sSeen = "nothing";

    PostFixture() {
        tRequest.sMethod = "POST";
        tApplication.fPost = [this](auto&, const HttpApplicationRequest& r) {
            sSeen = describe("POST", r);
            return ScriptedApplication::kOK;
        };
        tApplication.fSoap = [this](auto&, const HttpApplicationRequest& r) {
            sSeen = describe("SOAP", r);
            return ScriptedApplication::kOK;
        };
    }
    void setContentType(const char* pType) { tRequest.tHeaders = {{"content-type", pType}}; }
    /// The request-side calls, without the header enumeration that always takes the same place.
    CallLog requestCalls() const {
        CallLog tCalls;
        for (const std::string& s : tLog) {
            if (s.starts_with("setStatusCode")) break;
            if (s.find("Header") == s.npos || s.starts_with("getFirst"))
                tCalls.push_back(s.substr(0, s.find(" 256 256")));
        }
        return tCalls;
    }
};

/// The pauses between retries, in milliseconds, in place of really waiting.
std::vector<std::size_t> s_tPauses;

class PauseRecorder {
public:
    PauseRecorder()
        : m_pBefore(SystemUtils::setSleepFunction([](std::size_t n) { s_tPauses.push_back(n); })) {
        s_tPauses.clear();
    }
    ~PauseRecorder() { SystemUtils::setSleepFunction(m_pBefore); }

private:
    SystemUtils::SleepFunction m_pBefore;
};

TEST(Post, KindOfBodyDecidesWhoReadsIt) {
    struct Case {
        const char *pQuery, *pContentType;
        bool bDeclared;
        const char* pSeen;
        std::vector<std::string> tBodyCalls;
    };
    const Case tCases[] = {
        {"", "multipart/form-data; boundary=x", true, "POST '' in stream 0", {}},
        {"q", "text/xml", true, "POST 'q' in stream 0", {}},
        {"", "application/json", false, "POST '' in stream 0", {}},
        {"a=b",
         "Application/X-WWW-Form-URLencoded; charset=utf-8",
         true,
         "POST 'a=b' 'k=v&x'",
         {"getContentLength", "readFromBody 5"}},
        {"",
         "APPLICATION/XML; charset=utf-8",
         true,
         "POST '' 'k=v&x'",
         {"getContentLength", "readFromBody 5"}},
        {"", "application/xmlfoo", true, "POST '' 'k=v&x'", {"getContentLength", "readFromBody 5"}},
        {"", nullptr, true, "POST '' 'k=v&x'", {"getContentLength", "readFromBody 5"}},
        {"",
         s_kpForm,
         false,
         "POST '' 'k=v&x'",
         {"getContentLength", "readFromBody 16383", "readFromBody 16378"}},
        {"soap", s_kpForm, true, "SOAP 'soap' in stream 5", {}},
        {"SoAp=1", "multipart/form-data", true, "SOAP 'SoAp=1' in stream 5", {}},
        {"SOAPaction", nullptr, false, "SOAP 'SOAPaction' in stream -1", {}},
        {"soa", s_kpForm, true, "POST 'soa' 'k=v&x'", {"getContentLength", "readFromBody 5"}},
    };
    for (const Case& c : tCases) {
        PostFixture t;
        t.tRequest.sQuery = c.pQuery;
        if (c.pContentType) t.setContentType(c.pContentType);
        t.tRequest.tBody = {"k=v&x"};
        t.tRequest.nContentLength = c.bDeclared ? 5 : knUndeclared;
        t.run();
        CallLog tExpected{"getServerVariable URL 256", "getMethod",      "getMethod",
                          "getContentLength",          "getFirstHeader", "getQueryString"};
        tExpected.insert(tExpected.end(), c.tBodyCalls.begin(), c.tBodyCalls.end());
        EXPECT_EQ(t.sSeen, c.pSeen);
        EXPECT_THAT(t.requestCalls(), ElementsAreArray(tExpected)) << c.pSeen;
        EXPECT_EQ(t.tLog.back(), "endResponse (null)");
    }
}

TEST(Post, EmptyDeclaredBodyIsAnEmptyTextWithoutARead) {
    PostFixture t;
    t.tRequest.nContentLength = 0;
    t.run();
    EXPECT_EQ(t.sSeen, "POST '' ''");
    EXPECT_THAT(t.tLog, testing::Not(testing::Contains(testing::StartsWith("readFromBody"))));
}

/// A provider of any number of bytes that keeps none of them.
class EndlessRequest final : public kiv::HttpRequestProvider {
public:
    EndlessRequest(std::size_t nDeclared, std::size_t nBytes) : m_nDeclared(nDeclared), m_nLeft(nBytes) {}
    NarrowRefString getMethod() override { return "POST"; }
    SizedBuffer getQueryString() override { return {&m_cEmpty, 0}; }
    std::size_t getContentLength() override { return m_nDeclared; }
    int getServerVariable(const char*, char*, std::size_t&) override { return -1; }
    int getFirstHeader(hdrenum_t&, char*, std::size_t&, char*, std::size_t&) override { return -1; }
    int getNextHeader(hdrenum_t&, char*, std::size_t&, char*, std::size_t&) override { return -1; }
    void closeHeaderEnum(hdrenum_t&) override {}
    std::size_t readFromBody(void* pBuffer, std::size_t nSize) override {
        const std::size_t n = std::min({nSize, m_nLeft, std::size_t{60000}});
        std::fill_n(static_cast<char*>(pBuffer), n, 'x');
        m_nLeft -= n;
        m_nRead += n;
        return n;
    }
    std::size_t m_nRead = 0;

private:
    const std::size_t m_nDeclared;
    std::size_t m_nLeft;
    char m_cEmpty = '\0';
};

TEST(Post, LimitsAreExact) {
    struct Case {
        std::size_t nDeclared, nBytes;
        std::uint64_t nRefusedLength;  ///< 0: accepted
        bool bReads;
    };
    const Case tCases[] = {
        {10485759, 10485759, 0, true},
        {10485760, 10485760, 10485760, false},
        {std::size_t{4} << 30, 0, 0xFFFFFFFF, false},
        {(std::size_t{1} << 32) + 5, 0, 0xFFFFFFFF, false},
        {knUndeclared, 10477567, 0, true},
        {knUndeclared, 10477568, 10485760, true},
        {knUndeclared, 20000000, 0, true},
    };
    for (const Case& c : tCases) {
        ServerFixture t;
        const RequestCounters tCounters;
        std::size_t nSeen = 0;
        t.tApplication.fPost = [&](auto&, const HttpApplicationRequest& r) {
            nSeen = r.sBody.length();
            return ScriptedApplication::kOK;
        };
        EndlessRequest tRequest(c.nDeclared, c.nBytes);
        const bool bAccepted = c.nRefusedLength == 0 && c.nBytes <= 10485759;
        try {
            t.tServer.processRequest(tRequest, t.tResponse);
            EXPECT_TRUE(bAccepted) << c.nBytes;
            EXPECT_EQ(nSeen, c.nBytes);
        } catch (const Exception& e) {
            EXPECT_FALSE(bAccepted) << c.nBytes;
            EXPECT_EQ(e.getMessage(), kiv::kmsgPOSTRequestLimitException);
            const std::unique_ptr<Exception> pClone(e.clone());
            EXPECT_EQ(pClone->getMessageText(), e.getMessageText());
            const std::wstring sStart =
                L"A request body of " + std::to_wstring(c.nRefusedLength) + L" bytes was refused";
            EXPECT_TRUE(c.nRefusedLength == 0 || e.getMessageText().view().starts_with(sStart)) << c.nBytes;
            EXPECT_EQ(t.tResponse.nCalls, 0u);
        }
        EXPECT_EQ(tRequest.m_nRead != 0, c.bReads) << c.nBytes;
        EXPECT_EQ(tCounters.tCompleted.get(), 1);
        EXPECT_EQ(tCounters.tCurrent.get(), 0);
        EXPECT_EQ(tCounters.tBad.get(), 0);
    }
}

TEST(Post, StallsAreWaitedOutFiveTimesEach) {
    struct Case {
        std::vector<std::string> tBody;
        bool bComplete;
        std::size_t nPauses;
    };
    const Case tCases[] = {
        {{"abcde"}, true, 0},
        {{"abc"}, false, 5},
        {{"", "a", "", "b", "", "c", "", "d", "", "e"}, true, 5},
        {{"abc", "", "", "", "", "", "de"}, true, 5},
        {{"abc", "", "", "", "", "", "", "de"}, false, 5},
        {{"", "", "", "", "", "abc", "", "", "", "", "", "de"}, true, 10},
    };
    for (const Case& c : tCases) {
        PostFixture t;
        const PauseRecorder tRecorder;
        t.tRequest.nContentLength = 5;
        t.tRequest.tBody = c.tBody;
        if (c.bComplete) {
            t.run();
            EXPECT_EQ(t.sSeen, "POST '' 'abcde'");
        } else {
            EXPECT_THROW(t.run(), InputStream::UnexpectedEOF);
            EXPECT_EQ(t.sSeen, "nothing");
            EXPECT_EQ(t.tResponse.nCalls, 0u);
        }
        EXPECT_EQ(s_tPauses, std::vector<std::size_t>(c.nPauses, 200));
    }
}

TEST(Post, UndeclaredBodyEndsAtTheFirstEmptyReadWithoutAPause) {
    PostFixture t;
    const PauseRecorder tRecorder;
    t.tRequest.tBody = {"abc", "", "never seen"};
    t.run();
    EXPECT_EQ(t.sSeen, "POST '' 'abc'");
    EXPECT_TRUE(s_tPauses.empty());
}

TEST(Post, ShortBodiesNeedNoAllocation) {
    struct Case {
        std::size_t nDeclared, nBytes, nAllocations;
    };
    for (const Case& c :
         {Case{16383, 16383, 0}, {16384, 16384, 1}, {knUndeclared, 8191, 0}, {knUndeclared, 8192, 1}}) {
        ServerFixture t;
        std::size_t nCounted = 0;
        const AllocationCounter* pCounter = nullptr;
        t.tApplication.fPost = [&](auto&, const HttpApplicationRequest& r) {
            nCounted = pCounter->getCount();
            EXPECT_EQ(r.sBody.length(), c.nBytes);
            return ScriptedApplication::kOK;
        };
        EndlessRequest tRequest(c.nDeclared, c.nBytes);
        const AllocationCounter tCounter;
        pCounter = &tCounter;
        t.tServer.processRequest(tRequest, t.tResponse);
        EXPECT_EQ(nCounted, c.nAllocations) << c.nBytes;
    }
}

}  // namespace
