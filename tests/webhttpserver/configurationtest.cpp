#include <gtest/gtest.h>

#include <thread>

#include "serverfixture.h"
#include "support/childprocess.h"
#include "support/recorders.h"
#include "zq/services/timeoutconfig.h"

namespace {

Handle<const ConfigReaderInstance> configuration(const std::string& sToml) {
    return ConfigReaderInstance::fromText(sToml, "test.toml");
}

/// What responses that expire at once, later, and never say about caching.
std::string cachingHeaders() {
    std::string sResult;
    for (std::uint32_t nSeconds : {0u, 5u, HttpStreamInternals::knExpireNotSet}) {
        StreamFixture t;
        t.tStream.setStatusCode(201);
        t.tStream.setExpireSeconds(nSeconds);
        t.tStream.endResponse();
        for (const std::string& sCall : t.tLog)
            if (sCall.starts_with("addHeader Cache-Control: ")) sResult += sCall.substr(25);
        sResult += '|';
    }
    return sResult;
}

TEST(CachingConfiguration, ModeAndKeysChooseTheValues) {
    const std::string sKeys = "[ClientSideCaching.CacheControlHttpHeader]\n";
    const std::pair<std::string, const char*> tCases[] = {
        {"", "no-store|private|private|"},
        {"ClientSideCaching.GeneratedContentCaching = 'nostore'", "no-store|private|private|"},
        {"ClientSideCaching.GeneratedContentCaching = 'NONE'",
         "no-cache,no-store,must-revalidate|private|private|"},
        {"ClientSideCaching.GeneratedContentCaching = 'session'", "private|private|private|"},
        {"ClientSideCaching.GeneratedContentCaching = 'whatever'", "private|private|private|"},
        {"ClientSideCaching.GeneratedContentCaching = 'none'\n" + sKeys + "NoCache = 'mine'",
         "mine|private|private|"},
        {sKeys + "EnableCache = 'public'\nDefault = ' spaces '", "no-store|public| spaces |"},
        {sKeys + "Default = ''", "no-store|private||"},
        {sKeys + "Default = '\u20ac\u00e9'", "no-store|private|\xAC\xE9|"},
    };
    for (const auto& [sToml, pExpected] : tCases)
        EXPECT_EQ(runInChild([&sText = sToml] {
                      ConfigBase::loadAll(ConfigReader(configuration(sText)));
                      return cachingHeaders();
                  }),
                  pExpected)
            << sToml;
}

TEST(CachingConfiguration, LogShowsTheWideValues) {
    EXPECT_EQ(
        runInChild([] {
            ConfigBase::loadAll(
                ConfigReader(configuration("ClientSideCaching.CacheControlHttpHeader.Default = '\u20ac'")));
            StreamFixture t;
            LogRecorder tLog(kSevInfoMinor);
            t.tStream.setStatusCode(201);
            t.tStream.endResponse();
            return tLog.takeEntries()[0];
        }),
        "infominor kiv.httpserver.response.headers: Status Code: 201, Content-Length: 0, Cache-Control: "
        "\u20ac");
}

TEST(CachingConfiguration, IsEmptyBeforeTheFirstLoadAndFixedAfterIt) {
    EXPECT_EQ(cachingHeaders(), "|||");
    EXPECT_EQ(runInChild([] {
                  ConfigBase::loadAll(ConfigReader(configuration("")));
                  const auto tResult = ConfigBase::loadAll(
                      ConfigReader(configuration("ClientSideCaching.GeneratedContentCaching = 'none'")));
                  return cachingHeaders() + (tResult.nRefused > 0 ? "refused" : "taken");
              }),
              "no-store|private|private|refused");
}

/// The response timeout, and the default timeout of a thread that has none of its own.
std::string serverValues(kiv::KIVHttpServer& rServer) {
    unsigned int nGlobal = 0;
    std::thread([&] { nGlobal = TimeoutConfig::getDefaultTimeout(); }).join();
    return std::to_string(rServer.getResponseTimeoutMilliSeconds()) + ' ' + std::to_string(nGlobal);
}

TEST(ServerConfiguration, DefaultsWithoutAReader) {
    EXPECT_EQ(runInChild([] {
                  ServerFixture t;
                  return serverValues(t.tServer);
              }),
              "86400000 86400000");
}

TEST(ServerConfiguration, IsReadAtConstructionAndOnceMoreAndThenRefused) {
    EXPECT_EQ(
        runInChild([] {
            ConfigReader::setGlobalInstance(configuration("HTTP.LongRunningHTTPResponseTimeoutMinutes = 2"));
            ServerFixture t;
            std::string sResult = serverValues(t.tServer);
            ConfigBase::loadAll(ConfigReader(
                configuration("DefaultTimeoutMinutes = 3\nHTTP.LongRunningHTTPResponseTimeoutMinutes = 4")));
            sResult += ", " + serverValues(t.tServer);
            ConfigBase::loadAll(
                ConfigReader(configuration("HTTP.LongRunningHTTPResponseTimeoutMinutes = 5")));
            return sResult + ", " + serverValues(t.tServer);
        }),
        "120000 86400000, 240000 180000, 240000 180000");
}

TEST(ServerConfiguration, RequestsRunUnderItsValues) {
    EXPECT_EQ(
        runInChild([] {
            ConfigReader::setGlobalInstance(
                configuration("HTTP.DefaultTimeoutMinutes = 0\nURL.MaxContentDispositionFilenameLength = 3"));
            ServerFixture t;
            std::string sTimeout;
            t.tApplication.fGet = [&](ZQHttpStream& rStream, auto&) {
                sTimeout = std::to_string(TimeoutConfig::getDefaultTimeout());
                rStream.setContentDisposition(ContentDisposition(ContentDisposition::kInline, L"abcdef"));
                return ScriptedApplication::kOK;
            };
            t.run();
            for (const std::string& sCall : t.tLog)
                if (sCall.find("Disposition") != sCall.npos) return sTimeout + ' ' + sCall;
            return sTimeout;
        }),
        "0 addHeader Content-Disposition: inline; filename=\"abc\"");
}

TEST(ServerConfiguration, WrongTypeLeavesTheConstructor) {
    EXPECT_EQ(
        runInChild([] {
            ConfigReader::setGlobalInstance(configuration("URL.MaxContentDispositionFilenameLength = 'x'"));
            try {
                ServerFixture t;
            } catch (const ConfigError&) {
                return "refused";
            }
            return "taken";
        }),
        "refused");
}

}  // namespace
