#include <gmock/gmock.h>

#include <cstdlib>
#include <iostream>
#include <thread>

#include "serverfixture.h"
#include "zq/foundation/messageformatter.h"
#include "zq/services/timeoutconfig.h"

namespace {

void setReader(const std::string& sToml) {
    ConfigReader::setGlobalInstance(ConfigReaderInstance::fromText(sToml, "test.toml"));
}

/// The host's configuration load.
bool load(const std::string& sToml) {
    return ConfigBase::loadAll(ConfigReader(ConfigReaderInstance::fromText(sToml, "test.toml"))).nRefused ==
           0;
}

/// Expects the text that f returns in a child process: for what a process configures only once.
template <class F>
void expectInChild(F f, const std::string& sExpected) {
    EXPECT_EXIT((std::cerr << '<' << f() << '>', std::_Exit(0)), testing::ExitedWithCode(0),
                testing::HasSubstr('<' + sExpected + '>'));
}

/// What responses that expire at once, later, and never say about caching; and the log, where it differs.
std::string cachingHeaders() {
    const auto fValue = [](const std::string& s) {
        constexpr std::string_view ksName = "Cache-Control: ";
        const std::size_t nName = s.find(ksName);
        return nName == s.npos ? std::string() : s.substr(nName + ksName.size());
    };
    std::string sResult;
    for (std::uint32_t nSeconds : {0u, 5u, HttpStreamInternals::knExpireNotSet}) {
        StreamFixture t;
        LogRecorder tLog(kSevInfoMinor);
        t.tStream.setStatusCode(201);
        t.tStream.setExpireSeconds(nSeconds);
        t.tStream.endResponse();
        std::string sSent;
        for (const std::string& sCall : t.tLog)
            sSent += fValue(sCall);
        const std::string sLogged = fValue(tLog.takeEntries()[0]);
        sResult += sSent + (sLogged == sSent ? "" : "/" + sLogged) + '|';
    }
    return sResult;
}

TEST(CachingConfiguration, ModeAndKeysChooseTheValues) {
    EXPECT_EQ(cachingHeaders(), "|||") << "empty before the first load";
    const std::string sMode = "ClientSideCaching.GeneratedContentCaching = ";
    const std::string sKeys = "\n[ClientSideCaching.CacheControlHttpHeader]\n";
    const std::pair<std::string, const char*> tCases[] = {
        {"", "no-store|private|private|"},
        {sMode + "'NoStore'", "no-store|private|private|"},
        {sMode + "'NONE'", "no-cache,no-store,must-revalidate|private|private|"},
        {sMode + "'session'", "private|private|private|"},
        {sMode + "'whatever'", "private|private|private|"},
        {sMode + "'none'" + sKeys + "NoCache = 'mine'", "mine|private|private|"},
        {sKeys + "EnableCache = 'public'\nDefault = ' spaces '", "no-store|public| spaces |"},
        {sKeys + "Default = ''", "no-store|private||"},
        {sKeys + "Default = '\u20ac\u00e9'", "no-store|private|\xAC\xE9/\u20ac\u00e9|"},
        {sKeys + "NoCache = '\u20ac'\nEnableCache = '\u20ad'", "\xAC/\u20ac|\xAD/\u20ad|private|"},
    };
    for (const auto& [sToml, pExpected] : tCases) {
        SCOPED_TRACE(sToml);
        expectInChild([&sText = sToml] { return load(sText) ? cachingHeaders() : "refused"; }, pExpected);
    }
    expectInChild(
        [&] {
            const bool bTaken = load("") && load(sMode + "'none'");
            return (bTaken ? "taken" : "") + cachingHeaders();
        },
        "no-store|private|private|");
}

/// The response timeout, and the default timeout of a thread that has none of its own.
std::string serverValues(const kiv::KIVHttpServer& rServer) {
    unsigned int nGlobal = 0;
    std::thread([&] { nGlobal = TimeoutConfig::getDefaultTimeout(); }).join();
    return std::to_string(rServer.getResponseTimeoutMilliSeconds()) + ' ' + std::to_string(nGlobal);
}

TEST(ServerConfiguration, IsReadAtConstructionAndOnceMoreAndThenRefused) {
    expectInChild(
        [] {
            std::string sResult = serverValues(ServerFixture().tServer);  // without a reader
            setReader("HTTP.LongRunningHTTPResponseTimeoutMinutes = 2");
            ServerFixture t;
            sResult += ", " + serverValues(t.tServer);
            load("DefaultTimeoutMinutes = 3\nHTTP.LongRunningHTTPResponseTimeoutMinutes = 71583");
            sResult += ", " + serverValues(t.tServer);
            load("HTTP.LongRunningHTTPResponseTimeoutMinutes = 5");
            return sResult + ", " + serverValues(t.tServer);
        },
        "86400000 86400000, 120000 86400000, 12704 180000, 12704 180000");
    const ServerFixture t;
    EXPECT_FALSE(MessageFormatterTagRegistrar::registerTag(L"late", nullptr)) << "so tags cannot change";
}

TEST(ServerConfiguration, RequestsRunUnderItsValues) {
    const std::pair<const char*, std::string> tCases[] = {
        {"", "600000, inline; filename=\"" + std::string(116, 'x')},
        {"HTTP.DefaultTimeoutMinutes = 0\nURL.MaxContentDispositionFilenameLength = 3",
         "0, inline; filename=\"xxx"}};
    for (const auto& [pToml, sExpected] : tCases)
        expectInChild(
            [&pText = pToml] {
                setReader(pText);
                ServerFixture t;
                t.fAct = [&](ZQHttpStream& r) {
                    t.log(std::to_string(TimeoutConfig::getDefaultTimeout()));
                    const ZQWString sName(std::wstring(200, L'x'));
                    r.setContentDisposition(ContentDisposition(ContentDisposition::kInline, sName));
                    return ScriptedApplication::kOK;
                };
                t.run();
                return t.tLog[4] + ", " + t.tLog[7].substr(31);
            },
            sExpected + '"');
}

TEST(ServerConfiguration, WrongTypeLeavesTheConstructor) {
    expectInChild(
        [] {
            setReader("URL.MaxContentDispositionFilenameLength = 'x'");
            EXPECT_THROW(ServerFixture(), ConfigError);
            return testing::Test::HasFailure() ? "taken" : "refused";
        },
        "refused");
}

}  // namespace
