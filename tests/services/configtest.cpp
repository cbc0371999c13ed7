#include "zq/services/config.h"

#include <gmock/gmock.h>

#include "support/recorders.h"

namespace {

using namespace testing;

ConfigReader reader(std::string_view sToml) {
    return ConfigReader(ConfigReaderInstance::fromText(sToml, "test.toml"));
}

/// Notes how it is loaded, and with which value.
class Owner {
public:
    explicit Owner(ConfigReloadCaps eCaps) : m_tConfig(eCaps) { m_tConfig.init(this); }

    bool load(std::string_view sToml) { return m_tConfig.load(reader(sToml)); }
    bool loadConfig(const ConfigReader& rReader, EConfig eConfig) {
        const unsigned int nValue = rReader.getConfigValue(L"value", 10u);
        m_tLoads.push_back((eConfig == kConfigReload ? "reload " : "initialise ") + std::to_string(nValue));
        m_fOnLoad();
        return m_bResult;
    }

    Config<Owner> m_tConfig;
    std::vector<std::string> m_tLoads;
    bool m_bResult = true;
    std::function<void()> m_fOnLoad = [] {};
};

/// Makes an instance the process-wide one for a scope.
struct GlobalInstance {
    explicit GlobalInstance(std::string_view sToml) {
        ConfigReader::setGlobalInstance(ConfigReaderInstance::fromText(sToml, "global.toml"));
    }
    ~GlobalInstance() { ConfigReader::setGlobalInstance({}); }
};

TEST(Config, ReadsTheGlobalInstanceAtOnceAndInitialisesAgainAtTheFirstLoad) {
    const GlobalInstance tGlobal("value = 1");
    Owner tOwner(kConfigDontSupportReload);
    EXPECT_THAT(tOwner.m_tLoads, ElementsAre("initialise 1"));
    EXPECT_TRUE(tOwner.load("value = 2"));
    EXPECT_FALSE(tOwner.load("value = 3"));
    EXPECT_THAT(tOwner.m_tLoads, ElementsAre("initialise 1", "initialise 2"));
}

TEST(Config, WaitsForTheFirstLoadWithoutAGlobalInstanceAndReloadsWhereSupported) {
    Owner tOwner(kConfigSupportReload);
    for (const bool bResult : {false, true, false}) {  // initialised by the first one all the same
        tOwner.m_bResult = bResult;
        EXPECT_EQ(tOwner.load(""), bResult);
    }
    EXPECT_THAT(tOwner.m_tLoads, ElementsAre("initialise 10", "reload 10", "reload 10"));
}

TEST(Config, ReportsAFailedLoadOnceAndThrowsItOn) {
    Owner tOwner(kConfigDontSupportReload);
    LogRecorder tLog(kSevDebug);
    EXPECT_THROW(tOwner.load("\nvalue = -5"), ConfigError);
    EXPECT_THAT(
        tLog.takeEntries(),
        ElementsAre("error services.configuration: The configuration could not be loaded: test.toml:2: the "
                    "value of \"value\" is -5; write a whole number from 0 to 4294967295"));
    tOwner.m_fOnLoad = [] { throw std::runtime_error("caf\xC3\xA9"); };
    EXPECT_THROW(tOwner.load(""), std::runtime_error);
    EXPECT_THAT(tLog.takeEntries(), ElementsAre(HasSubstr("could not be loaded: caf\xC3\xA9")));
    tOwner.m_fOnLoad = [] {};
    EXPECT_TRUE(tOwner.load("value = 4"));  // a failure does not initialise
    EXPECT_THAT(tOwner.m_tLoads, ElementsAre("initialise 10", "initialise 4"));
    EXPECT_THAT(tLog.takeEntries(), IsEmpty());
}

TEST(Config, LetsFailuresOfTheFirstReadingThroughUnreported) {
    const GlobalInstance tGlobal("value = -1");
    LogRecorder tLog(kSevDebug);
    EXPECT_THROW(Owner tOwner(kConfigDontSupportReload), ConfigError);
    EXPECT_THAT(tLog.takeEntries(), IsEmpty());
    EXPECT_EQ(ConfigBase::loadAll(reader("")).nLoaded, 0u);  // it has withdrawn
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
    EXPECT_EQ(ConfigBase::loadAll(reader("")).nLoaded, 3u);
    const auto tResult = ConfigBase::loadAll(reader(""));
    EXPECT_EQ(tResult.nLoaded, 1u);
    EXPECT_EQ(tResult.nRefused, 2u);
    EXPECT_EQ(tResult.tRefused, std::vector<std::string>(2, "(anonymous namespace)::Owner"));
    EXPECT_EQ(sOrder, "1232");
    tSecond.m_fOnLoad = [] { throw std::runtime_error("no"); };
    EXPECT_THROW(ConfigBase::loadAll(reader("")), std::runtime_error);
}

}  // namespace
