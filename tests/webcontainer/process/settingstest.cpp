#include <gtest/gtest.h>

#include "http/reasonphrase.h"
#include "log/containerlog.h"
#include "process/containersettings.h"
#include "sockets/rateguard.h"
#include "zq/httpstream/featuretable.h"

namespace {

using namespace webcontainer;

ConfigReader reader(const char* pToml) {
    return ConfigReader(ConfigReaderInstance::fromText(pToml, "c"));
}

TEST(Settings, EveryLimitIsReadUnderItsKeyAndBounded) {
    for (const LimitInfo& r : s_tLimitInfos) {
        const std::string sKey = r.getName().substr(r.getName().find('/') + 1);
        const auto read = [&](std::uint64_t nValue) {
            const std::string sToml = "[WebContainer]\n" + sKey + " = " + std::to_string(nValue);
            return readContainerOptions(reader(sToml.c_str()), "").tLimits.*r.pMember;
        };
        EXPECT_EQ(readContainerOptions(reader(""), "").tLimits.*r.pMember, r.nDefault) << sKey;
        EXPECT_EQ(read(r.nLeast), r.nLeast) << sKey;
        EXPECT_EQ(read(r.nMost), r.nMost) << sKey;
        EXPECT_THROW(read(std::uint64_t{r.nMost} + 1), ConfigError) << sKey;
        if (r.nLeast > 0) {
            EXPECT_THROW(read(r.nLeast - 1), ConfigError) << sKey;
        }
    }
}

TEST(Settings, AddressesAreReadAndWritten) {
    for (const char* pGood : {"127.0.0.1:8080", "0.0.0.0:0", "[::1]:80", "[2001:db8::1]:65535"}) {
        SocketAddress tAddress;
        EXPECT_TRUE(SocketAddress::parse(pGood, tAddress)) << pGood;
        EXPECT_EQ(tAddress.text(), pGood);
    }
    for (const char* pBad :
         {"", ":", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:+1", "127.0.0.1:1 ",
          "localhost:80", "::1:80", "[]:80", "[::1]", "[::1:80", "127.0.0.1.1:80"}) {
        SocketAddress tAddress;
        EXPECT_FALSE(SocketAddress::parse(pBad, tAddress)) << pBad;
    }
    const auto read = [](const std::string& sListen, const std::string& sOption) {
        return readContainerOptions(reader(("[WebContainer]\nListen = \"" + sListen + "\"").c_str()), sOption)
            .tListen;
    };
    EXPECT_EQ(read("[::1]:1", "").front().text(), "[::1]:1");
    EXPECT_EQ(read("[::1]:1", "1.2.3.4:5").front().text(), "1.2.3.4:5");
    for (const char* pBeside : {"127.0.0.1:1 127.0.0.2:1", "127.0.0.1:1, 127.0.0.1:2", "0.0.0.0:1 [::]:1",
                                "127.0.0.1:0 127.0.0.1:0", "unix:/a unix:/b", "unix:/a 127.0.0.1:1"})
        EXPECT_EQ(read(pBeside, "").size(), 2u) << pBeside;
    for (const char* pClash :
         {"127.0.0.1:1 127.0.0.1:1", "0.0.0.0:1 127.0.0.1:1", "[::1]:1 [::]:1", "unix:/a unix:/b unix:/a"})
        EXPECT_THROW(read(pClash, ""), ConfigError) << pClash;
}

TEST(Settings, FeaturesBecomeTheGlobalTable) {
    applyFeatures(reader("[Features]\n\"A.b\" = true\nC = false\n"));
    const auto& rTable = *FeatureTable::getGlobal();
    EXPECT_TRUE(*rTable.find(L"A.b"));
    EXPECT_FALSE(*rTable.find(L"C"));
    EXPECT_EQ(rTable.find(L"D"), nullptr);
    EXPECT_THROW(applyFeatures(reader("[Features]\nA.b = true\n")), ConfigError);
    applyFeatures(reader(""));
}

TEST(RateGuard, ForgivesPausesButNotSlowness) {
    RateGuard tGuard(100, 2000);
    EXPECT_EQ(tGuard.patienceMs(), 2000);
    tGuard.countBytes(1000000);
    EXPECT_EQ(tGuard.patienceMs(), 2000) << "bytes earn no more than the grace";
    tGuard.countWait(1500);
    EXPECT_EQ(tGuard.patienceMs(), 500);
    tGuard.countBytes(100);
    EXPECT_EQ(tGuard.patienceMs(), 1500);
    tGuard.countWait(5000);
    EXPECT_EQ(tGuard.patienceMs(), 0);
    for (int n = 0; n < 1000; ++n) {  // exactly the rate, in drops
        tGuard.countBytes(1);
        EXPECT_EQ(tGuard.patienceMs(), 10);
        tGuard.countWait(10);
    }
    RateGuard tNone(0, 0);
    tNone.countWait(1000000);
    EXPECT_GT(tNone.patienceMs(), 1000000);
}

TEST(StatusText, EveryStatusHasAPhrase) {
    EXPECT_EQ(getReasonPhrase(200), "OK");
    EXPECT_EQ(getReasonPhrase(418), "Client Error");
    EXPECT_EQ(getReasonPhrase(511), "Network Authentication Required");
    EXPECT_EQ(getReasonPhrase(599), "Server Error");
}

}  // namespace
