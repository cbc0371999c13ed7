#include "zq/httpstream/multipartlimits.h"

#include <gmock/gmock.h>

#include "support/asserttext.h"

namespace {

using testing::HasSubstr;

ConfigReader configured(std::string_view sToml) {
    return ConfigReader(ConfigReaderInstance::fromText(sToml, "test.toml"));
}

TEST(MultipartLimitsTest, AreReadFromTheConfigurationOnce) {
    MultipartLimits tLimits;
    EXPECT_TRUE(
        tLimits.loadConfig(configured("[Multipart]\nMaxHeaderBytesPerPart = 32768\nMaxHeadersPerPart = 1\n"
                                      "MaxParts = 2147483647\nMaxFieldBytes = 0"),
                           kConfigInitialize));
    EXPECT_EQ(tLimits.getValues(), (MultipartLimits::Values{32768, 1, 2147483647, 0}));
}

TEST(MultipartLimitsTest, RefuseValuesThatCannotWork) {
    MultipartLimits tLimits;
    for (const auto& [sToml, sMessage] : {
             std::pair{"MaxHeaderBytesPerPart = 32769",
                       "\"Multipart/MaxHeaderBytesPerPart\" is 32769; write a whole number from 1 to 32768"},
             std::pair{"MaxHeaderBytesPerPart = 7\nMaxHeadersPerPart = 0",
                       "\"Multipart/MaxHeadersPerPart\" is 0; write a whole number from 1 to 2147483647"},
             std::pair{"MaxHeaderBytesPerPart = 7\nMaxParts = 2147483648",
                       "\"Multipart/MaxParts\" is 2147483648; write a whole number from 1 to 2147483647"},
             std::pair{"MaxParts = 7\nMaxFieldBytes = -1",
                       "\"Multipart/MaxFieldBytes\" is -1; write a whole number from 0 to 2147483647"},
         }) {
        try {
            tLimits.loadConfig(configured("[Multipart]\n" + std::string(sToml)), kConfigInitialize);
            ADD_FAILURE() << sToml;
        } catch (const ConfigError& e) {
            EXPECT_THAT(toUtf8(e.getMessageText()), HasSubstr(sMessage));
        }
        EXPECT_EQ(tLimits.getValues(), MultipartLimits::Values());
    }
}

}  // namespace
