#include <gmock/gmock.h>

#include <thread>

#include "zq/memoryhost/memoryexchange.h"

using namespace testing;
using Request = kiv::HttpRequestProvider;
using Response = kiv::HttpResponseProvider;

namespace {

/// Asks for a variable with that much room and returns the result and what the size has become.
std::pair<int, std::size_t> ask(Request& r, const char* pName, std::size_t nRoom, char* pBuffer = nullptr) {
    char tBuffer[32];
    const int nResult = r.getServerVariable(pName, pBuffer ? pBuffer : tBuffer, nRoom);
    return {nResult, nRoom};
}

/// Asks for a header with that much room for its name and its value.
int askHeader(Request& r, bool bFirst, Request::hdrenum_t& rCursor, std::size_t nName = 8,
              std::size_t nValue = 8) {
    char tName[8], tValue[8];
    return bFirst ? r.getFirstHeader(rCursor, tName, nName, tValue, nValue)
                  : r.getNextHeader(rCursor, tName, nName, tValue, nValue);
}

void add(Response& r, const std::string& sName, const std::string& sValue) {
    r.addHeader(sName.c_str(), sName.size(), sValue.c_str(), sValue.size());
}

void commit(Response& r, unsigned int nStatus = 200, std::optional<std::size_t> nLength = {}) {
    r.setStatusCode(nStatus);
    if (nLength) r.setContentLength(*nLength);
    r.commitHeaders();
}

const struct {
    void (*pAct)(Request&, Response&);
    const char* pBreach;  ///< the only one; null: there is none
} s_tExchanges[] = {
    {[](Request& r, Response& s) {
         Request::hdrenum_t n = 7;
         EXPECT_EQ(askHeader(r, true, n, 8, 1), 0);
         EXPECT_EQ(askHeader(r, true, n, 1, 2), 1);
         EXPECT_EQ(askHeader(r, false, n, 0), 0);
         EXPECT_EQ(askHeader(r, false, n), 1);
         EXPECT_EQ(askHeader(r, false, n), -1);
         EXPECT_EQ(ask(r, "LONG", 3), std::pair(0, std::size_t{4}));
         EXPECT_EQ(ask(r, "NONE", 3), std::pair(-1, std::size_t{3}));
         EXPECT_EQ(ask(r, "LONG", 4), std::pair(1, std::size_t{4}));
         EXPECT_EQ(ask(r, "LONG", 3).first, 0);
         std::fill_n(r.getQueryString().first, 3, 'z');
         add(s, "X-!#$%&'*+.^_`|~", "a\tb\xFF");
         s.clearHeaders();
         s.setErrorStatusCode(599), s.commitHeaders();
         s.writeToBody("a", 1), s.endResponse("b", 1);
     },
     nullptr},
    {[](Request& r, Response&) {
         Request::hdrenum_t n;
         askHeader(r, true, n), askHeader(r, true, n);
     },
     "getFirstHeader: starts a second enumeration"},
    {[](Request& r, Response&) {
         Request::hdrenum_t n;
         askHeader(r, true, n), r.closeHeaderEnum(n), askHeader(r, false, n);
     },
     "getNextHeader: comes when no header was delivered before it"},
    {[](Request& r, Response&) {
         Request::hdrenum_t n;
         askHeader(r, true, n), n = 0, askHeader(r, false, n);
     },
     "getNextHeader: comes with another cursor"},
    {[](Request& r, Response&) {
         Request::hdrenum_t n;
         askHeader(r, true, n, 8, 1), askHeader(r, true, n, 8, 1);
     },
     "getFirstHeader: comes with less room than was asked for"},
    {[](Request& r, Response&) {
         Request::hdrenum_t n;
         askHeader(r, true, n, 0), askHeader(r, true, n, 0);
     },
     "getFirstHeader: comes with less room than was asked for"},
    {[](Request& r, Response&) { ask(r, "LONG", 0), ask(r, "LONG", 3); },
     "getServerVariable: LONG comes with less room than was asked for"},
    {[](Request& r, Response&) { r.getQueryString().first[3] = '4'; },
     "getQueryString: the NUL behind the query was overwritten"},
    {[](Request& r, Response&) { std::thread([&] { r.getMethod(); }).join(); },
     "getMethod: comes on another thread than the request's"},
    {[](Request&, Response& s) { s.setStatusCode(200), s.setErrorStatusCode(200); },
     "setErrorStatusCode: the status has been set before"},
    {[](Request&, Response& s) { s.setErrorStatusCode(199); }, "setErrorStatusCode: 199 is no final status"},
    {[](Request&, Response& s) { s.setStatusCode(600); }, "setStatusCode: 600 is no final status"},
    {[](Request&, Response& s) { s.commitHeaders(); }, "commitHeaders: no status has been set"},
    {[](Request&, Response& s) { commit(s), s.commitHeaders(); }, "commitHeaders: follows the first flush"},
    {[](Request&, Response& s) { commit(s), s.clearHeaders(); }, "clearHeaders: follows the first flush"},
    {[](Request&, Response& s) { commit(s), add(s, "X", ""); }, "addHeader: X follows the first flush"},
    {[](Request&, Response& s) { add(s, "A B", ""); }, "addHeader: A B is no name of a header field"},
    {[](Request&, Response& s) { add(s, "", ""); }, "addHeader:  is no name of a header field"},
    {[](Request&, Response& s) { add(s, "X", "a\nb"); }, "addHeader: X has control characters"},
    {[](Request&, Response& s) { add(s, "X", "\x7f"); }, "addHeader: X has control characters"},
    {[](Request&, Response& s) { s.addHeader("X", 1, "ab", 1); },
     "addHeader: X has no NUL behind its name or value"},
    {[](Request&, Response& s) { add(s, "content-LENGTH", "1"); },
     "addHeader: content-LENGTH is for the front end to say, which drops it"},
    {[](Request&, Response& s) { s.setStatusCode(200), s.writeToBody("a", 1); },
     "writeToBody: comes before commitHeaders()"},
    {[](Request&, Response& s) { commit(s), s.writeToBody("a", 0); }, "writeToBody: comes without a byte"},
    {[](Request&, Response& s) { commit(s), s.writeToBody(nullptr, 9); },
     "writeToBody: comes without a byte"},
    {[](Request&, Response& s) { commit(s), s.endResponse("", 0); }, "endResponse: null and 0 go together"},
    {[](Request&, Response& s) { s.setContentLength(0); }, "setContentLength: comes before the status"},
    {[](Request&, Response& s) { s.setStatusCode(200), s.setContentLength(0), s.setContentLength(0); },
     "setContentLength: the length has been announced before"},
    {[](Request&, Response& s) { commit(s, 200, 1), s.writeToBody("a", 1); },
     "writeToBody: follows a length, which is announced of a body that ends at once"},
    {[](Request&, Response& s) { commit(s, 200, 3), s.endResponse("ab", 2); },
     "endResponse: 3 bytes were announced, and 2 came"},
    {[](Request&, Response& s) { commit(s, 304), s.endResponse("a", 1); },
     "endResponse: a response with status 304 has no body, and 1 bytes came"},
    {[](Request&, Response& s) { commit(s), s.endResponse(nullptr, 0), s.writeToBody("a", 1); },
     "writeToBody: follows endResponse()"},
    {[](Request&, Response& s) {
         commit(s), s.writeToBody("a", 1), s.writeToBody("b", 1), s.clearHeaders(), s.writeToBody("c", 1);
     },
     "writeToBody: follows a call that failed"},
};

TEST(Exchange, NamesEachBreachOfTheContractAndNothingElse) {
    const MemoryRequest tScript{.sTarget = "/?abc",
                                .tHeaders = {{"A", "12"}, {"B", ""}},
                                .tVariables = {{"LONG", "1234"}},
                                .tResults = {Response::kRCOK, Response::kRCOK, Response::kRCError}};
    for (const auto& r : s_tExchanges) {
        MemoryResponse tResponse;
        MemoryExchange tExchange(tScript, tResponse);
        ask(tExchange.getRequest(), "URL", 8);
        r.pAct(tExchange.getRequest(), tExchange.getResponse());
        tExchange.finish(r.pBreach ? std::make_exception_ptr(1) : nullptr);
        const std::vector<std::string> tExpected(r.pBreach ? 1 : 0, r.pBreach ? r.pBreach : "");
        EXPECT_EQ(tResponse.tBreaches, tExpected);
    }
    MemoryResponse tResponse;
    MemoryExchange tExchange(tScript, tResponse);
    commit(tExchange.getResponse());
    tExchange.finish();
    EXPECT_THAT(tResponse.tBreaches, ElementsAre("getServerVariable: URL was not asked for first",
                                                 "processRequest: returned without endResponse()"));
}

TEST(Exchange, AsksForTheRoomThatIsNeededAndUsesAllThatIsOffered) {
    const MemoryRequest tScript{.sTarget = "/abc?d", .tBody = {std::string(70, 'x')}};
    for (std::size_t nRoom = 0; nRoom < 8; ++nRoom) {
        MemoryResponse tResponse;
        MemoryExchange tExchange(tScript, tResponse);
        char tBuffer[9] = "--------";
        EXPECT_EQ(ask(tExchange.getRequest(), "URL", nRoom, tBuffer),
                  std::pair(nRoom < 4 ? 0 : 1, std::size_t{4}));
        const std::string sUsed = nRoom < 4 ? "" : "/abc" + std::string(nRoom - 4, '#');
        EXPECT_EQ(tBuffer, sUsed + std::string(8 - sUsed.size(), '-'));
        EXPECT_EQ(tExchange.getRequest().readFromBody(tBuffer, nRoom), nRoom);
        EXPECT_EQ(tBuffer, std::string(nRoom, 'x') + (sUsed + "--------").substr(nRoom, 8 - nRoom));
    }
}

}  // namespace
