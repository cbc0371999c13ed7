#include "zq/applicationkit/jsonbody.h"

#include "zq/memoryhost/matchers.h"
#include "zq/memoryhost/memoryhost.h"

using namespace testing;
using kit::JsonBody;

namespace {

/// Answers with what fGet makes of the JSON that it is sent, or with the error.
class Json : public Test {
protected:
    kit::JsonLimits tLimits{.nMostBytes = 100, .nMostDepth = 3};
    std::function<nlohmann::json(const JsonBody&)> fGet = [](const JsonBody& r) { return r.value(); };
    MemoryHost tHost{[this](ZQHttpStream& rStream, const HttpApplicationRequest& rRequest) {
        try {
            kit::sendJson(rStream, fGet(JsonBody(rStream, rRequest, tLimits)));
        } catch (const kit::RequestError& e) {
            rStream.setStatusCode(e.getStatus());
            rStream.addText(e.getMessageText());
        }
        return HttpApplication::kOK;
    }};

    MemoryResponse post(const std::string& sText, const std::string& sType = "application/json") {
        return tHost.run(MemoryRequest::post("/", sType, sText).divide(7));
    }
};

TEST_F(Json, IsReadOrRefusedWithItsPlace) {
    const std::string sNotHere = ": this is not expected here.", sEarly = ": it ends too early.",
                      sDeep = ": it nests too deep here.";
    const struct {
        std::string sText, sAnswer;
        unsigned nStatus = 400;
        std::string sType = "application/json";
    } tCases[] = {
        {" {\"a\": [1, {\"b\": \"\\u20ac[[[[\"}]}\n", "{\"a\":[1,{\"b\":\"€[[[[\"}]}", 200},
        {"\"\\\"[[[[\"", "\"\\\"[[[[\"", 200},
        {"null", "null", 200, "Application/JSON; charset=utf-8"},
        {"1", "1", 200, "application/problem+json"},
        {"{\"a\":1,\"a\":2}", "{\"a\":2}", 200},
        {"[" + std::string(98, ' ') + "]", "[]", 200},
        {"[" + std::string(99, ' ') + "]", "At most 100 bytes of JSON are taken.", 413},
        {"1", "This takes JSON, of the type application/json.", 415, "text/plain"},
        {"1", "This takes JSON, of the type application/json.", 415, "application/jsonp"},
        {"1", "This takes JSON, of the type application/json.", 415, "+json"},
        {"1", "This takes JSON, of the type application/json.", 415, "application/xml"},
        {"", "Line 1, column 1 of the JSON" + sEarly},
        {"{\n  \"a\": x}", "Line 2, column 8 of the JSON" + sNotHere},
        {"[1,\n2,\n\n", "Line 4, column 1 of the JSON" + sEarly},
        {"[1] 2", "Line 1, column 5 of the JSON" + sNotHere},
        {"[1,]", "Line 1, column 4 of the JSON" + sNotHere},
        {"\"\xC3(\"", "Line 1, column 3 of the JSON" + sNotHere},
        {"[[[]]]", "[[[]]]", 200},
        {"[[],[],[],[]]", "[[],[],[],[]]", 200},
        {"[[\n{\"a\":[]}]]", "Line 2, column 6 of the JSON" + sDeep},
        {std::string(90, '['), "Line 1, column 4 of the JSON" + sDeep},
        {"]]]]{", "Line 1, column 1 of the JSON" + sNotHere},
        {"1e999", "The JSON has a number that is too large."},
    };
    for (const auto& r : tCases) {
        SCOPED_TRACE(r.sText);
        EXPECT_THAT(post(r.sText, r.sType), AllOf(HasStatus(r.nStatus), HasBody(r.sAnswer)));
    }
    MemoryRequest tCut = MemoryRequest::post("/", "application/json", "123456");
    tCut.tHeaders.emplace_back("Content-Length", "6");
    EXPECT_THAT(tHost.run(tCut), HasBody("123456"));
    tCut.tBody = {"12345", "", "6"};
    EXPECT_THAT(tHost.run(tCut),
                HasBody("Line 1, column 6 of the JSON: it ends before its declared length."));
}

TEST_F(Json, GivesMembersOfTheirKindOnly) {
    const auto fKind = [](auto tDefault) {
        return [](const JsonBody& r) { return nlohmann::json(r.get<decltype(tDefault)>("x")); };
    };
    const struct {
        std::function<nlohmann::json(const JsonBody&)> fGet;
        const char *pGood, *pBad;
    } tCases[] = {
        {fKind(0), "2147483647", "2147483648"},
        {fKind(0), "-2147483648", "1.0"},
        {fKind(0U), "4294967295", "-1"},
        {fKind(std::uint64_t()), "18446744073709551615", "true"},
        {fKind(std::int64_t()), "-9223372036854775808", "9223372036854775808"},
        {fKind(0.5), "1.5", "\"1\""},
        {fKind(true), "false", "0"},
        {fKind(std::string()), "\"1\"", "1"},
        {fKind(std::vector<int>()), "[1,2]", "[\"1\"]"},
    };
    for (const auto& r : tCases) {
        fGet = r.fGet;
        EXPECT_THAT(post(std::string("{\"x\":") + r.pGood + "}"), AllOf(HasStatus(200), HasBody(r.pGood)));
        EXPECT_THAT(post(std::string("{\"x\":") + r.pBad + "}"),
                    AllOf(HasStatus(400), HasBody("\"x\" in the JSON is not of the kind expected.")))
            << r.pBad;
        EXPECT_THAT(post("{\"X\":1}"), AllOf(HasStatus(400), HasBody("The JSON should have \"x\".")));
        EXPECT_THAT(post("[1]"), HasStatus(400));
    }
    fGet = [](const JsonBody& r) { return nlohmann::json(r.get<int>("x", 7)); };
    EXPECT_THAT(post("{}"), HasBody("7"));
    EXPECT_THAT(post("{\"x\":null}"), HasBody("7"));
    EXPECT_THAT(post("{\"x\":8}"), HasBody("8"));
    EXPECT_THAT(post("{\"x\":\"8\"}"), HasStatus(400));
}

TEST_F(Json, IsSentWhatever) {
    fGet = [](const JsonBody&) { return nlohmann::json{{"a", "\xFF€</script>"}}; };
    EXPECT_THAT(post("1"), AllOf(HasHeader("Content-Type", "application/json"),
                                 HasHeader("X-Content-Type-Options", "nosniff"),
                                 HasBody("{\"a\":\"\uFFFD€</script>\"}")));
}

}  // namespace
