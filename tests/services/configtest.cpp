#include "zq/services/config.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

#include "support/recorders.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// Notes how it is loaded.
class Owner {
public:
    explicit Owner(ConfigReloadCaps eCaps) : m_tConfig(eCaps) { m_tConfig.init(this); }

    bool loadConfig(const ConfigReader& rReader, EConfig eConfig) {
        m_tLoads.push_back(eConfig);
        m_nValue = rReader.getConfigValue(L"value", 10u);
        if (m_fOnLoad) m_fOnLoad();
        return m_bResult;
    }

    Config<Owner> m_tConfig;
    std::vector<EConfig> m_tLoads;
    unsigned int m_nValue = 0;
    bool m_bResult = true;
    std::function<void()> m_fOnLoad;
};

Handle<const ConfigReaderInstance> instance(std::string_view sToml) {
    return ConfigReaderInstance::fromText(sToml, "test.toml");
}

/// Makes an instance the process-wide one for a scope.
struct GlobalInstance {
    explicit GlobalInstance(std::string_view sToml) { ConfigReader::setGlobalInstance(instance(sToml)); }
    ~GlobalInstance() { ConfigReader::setGlobalInstance({}); }
};

TEST(Config, WaitsForTheFirstLoadWithoutAGlobalInstance) {
    Owner tOwner(kConfigDontSupportReload);
    EXPECT_TRUE(tOwner.m_tLoads.empty());
    EXPECT_TRUE(tOwner.m_tConfig.load(ConfigReader(instance("value = 1"))));
    EXPECT_THAT(tOwner.m_tLoads, ElementsAre(kConfigInitialize));
    EXPECT_EQ(tOwner.m_nValue, 1u);
}

TEST(Config, ReadsTheGlobalInstanceAtOnceAndInitialisesAgainAtTheFirstLoad) {
    const GlobalInstance tGlobal("value = 1");
    Owner tOwner(kConfigDontSupportReload);
    EXPECT_EQ(tOwner.m_nValue, 1u);
    EXPECT_TRUE(tOwner.m_tConfig.load(ConfigReader(instance("value = 2"))));
    EXPECT_THAT(tOwner.m_tLoads, ElementsAre(kConfigInitialize, kConfigInitialize));
    EXPECT_EQ(tOwner.m_nValue, 2u);
    EXPECT_FALSE(tOwner.m_tConfig.load(ConfigReader(instance("value = 3"))));
    EXPECT_EQ(tOwner.m_nValue, 2u);
}

TEST(Config, ReloadsWhereSupported) {
    Owner tOwner(kConfigSupportReload);
    tOwner.m_bResult = false;
    EXPECT_FALSE(tOwner.m_tConfig.load(ConfigReader(instance(""))));  // initialised all the same
    tOwner.m_bResult = true;
    EXPECT_TRUE(tOwner.m_tConfig.load(ConfigReader(instance(""))));
    tOwner.m_bResult = false;
    EXPECT_FALSE(tOwner.m_tConfig.load(ConfigReader(instance(""))));
    EXPECT_THAT(tOwner.m_tLoads, ElementsAre(kConfigInitialize, kConfigReload, kConfigReload));
}

TEST(Config, ReportsAFailedLoadOnceAndThrowsItOn) {
    Owner tOwner(kConfigDontSupportReload);
    LogRecorder tLog(kSevDebug);
    EXPECT_THROW(tOwner.m_tConfig.load(ConfigReader(instance("\nvalue = -5"))), ConfigError);
    EXPECT_THAT(
        tLog.takeEntries(),
        ElementsAre("error services.configuration: The configuration could not be loaded: test.toml:2: the "
                    "value of \"value\" is -5; write a whole number from 0 to 4294967295"));
    tOwner.m_fOnLoad = [] { throw std::runtime_error("caf\xC3\xA9"); };
    EXPECT_THROW(tOwner.m_tConfig.load(ConfigReader(instance(""))), std::runtime_error);
    EXPECT_THAT(tLog.takeEntries(), ElementsAre(HasSubstr("could not be loaded: caf\xC3\xA9")));
    tOwner.m_fOnLoad = nullptr;
    EXPECT_TRUE(tOwner.m_tConfig.load(ConfigReader(instance("value = 4"))));  // a failure does not initialise
    EXPECT_THAT(tOwner.m_tLoads, ElementsAre(kConfigInitialize, kConfigInitialize, kConfigInitialize));
    EXPECT_TRUE(tLog.takeEntries().empty());
}

TEST(Config, LetsFailuresOfTheFirstReadingThroughUnreported) {
    const GlobalInstance tGlobal("value = -1");
    LogRecorder tLog(kSevDebug);
    EXPECT_THROW(Owner tOwner(kConfigDontSupportReload), ConfigError);
    EXPECT_TRUE(tLog.takeEntries().empty());
    EXPECT_EQ(ConfigBase::loadAll(ConfigReader(instance(""))).nLoaded, 0u);  // it has withdrawn
}

TEST(Config, IsLoadedInTheOrderOfConstruction) {
    Owner tFirst(kConfigDontSupportReload), tSecond(kConfigSupportReload), tThird(kConfigDontSupportReload);
    std::string sOrder;
    tFirst.m_fOnLoad = [&] { sOrder += '1'; };
    tSecond.m_fOnLoad = [&] { sOrder += '2'; };
    tThird.m_fOnLoad = [&] {
        sOrder += '3';
        Owner tPassing(kConfigDontSupportReload);  // the registry is not locked during a load
    };
    auto tResult = ConfigBase::loadAll(ConfigReader(instance("")));
    EXPECT_EQ(tResult.nLoaded, 3u);
    tResult = ConfigBase::loadAll(ConfigReader(instance("")));
    EXPECT_EQ(tResult.nLoaded, 1u);
    EXPECT_EQ(tResult.nRefused, 2u);
    EXPECT_EQ(sOrder, "1232");
    tSecond.m_fOnLoad = [] { throw std::runtime_error("no"); };
    EXPECT_THROW(ConfigBase::loadAll(ConfigReader(instance(""))), std::runtime_error);
}

}  // namespace
