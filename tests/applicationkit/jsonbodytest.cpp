#include "zq/applicationkit/jsonbody.h"

#include "applicationkit/records.h"

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
    test::playRecords("json.txt", tHost);
    EXPECT_THAT(post("[" + std::string(98, ' ') + "]"), HasBody("[]"));
    for (const char* pType : {"application/json", "application/xml+json"})
        EXPECT_THAT(post("[" + std::string(99, ' ') + "]", pType), HasStatus(413));
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
        {fKind(0.5F), "-1.5", "-1e39"},
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
    tLimits.nMostBytes = std::numeric_limits<std::size_t>::max();
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
