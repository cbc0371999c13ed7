#include <gtest/gtest.h>

#include <algorithm>

#include "zq/foundation/libloaded.h"
#include "zq/services/performancecounters.h"
#include "zq/webhttpserver/kivmakelibloaded.h"

namespace {

using debug_tools::LibLoaded;
using debug_tools::LoadJournal;
using Kind = LoadJournal::EKind;

TEST(ModuleLoad, UnitsComeUpInTheirOrder) {
    const LoadJournal::Entry tExpected[] = {{Kind::kLibrary, "webhttpserver"},
                                            {Kind::kMessageFile, "httpservermessages.xml"},
                                            {Kind::kLogSource, "kiv.httpserver.response"},
                                            {Kind::kLogSource, "kiv.httpserver.response.headers"},
                                            {Kind::kLogSource, "kiv.serverstream.populateparam"},
                                            {Kind::kCounter, "HttpServer/CurrentRequests"},
                                            {Kind::kCounter, "HttpServer/CompletedRequests"},
                                            {Kind::kCounter, "HttpServer/BadRequests"}};
    const auto tJournal = LoadJournal::list();
    EXPECT_NE(std::search(tJournal.begin(), tJournal.end(), std::begin(tExpected), std::end(tExpected)),
              tJournal.end());
}

TEST(ModuleLoad, RecordsItsNameAndVersion) {
    const auto tLibraries = LibLoaded::list();
    const auto it = std::find_if(tLibraries.begin(), tLibraries.end(),
                                 [](const auto& r) { return r.sName == "webhttpserver"; });
    ASSERT_NE(it, tLibraries.end());
    EXPECT_EQ(it->sVersion, kiv::s_version_webhttpserver3);
}

TEST(ModuleLoad, CountersAreListedWithTheirTexts) {
    struct Case {
        const char *pName, *pDisplay, *pDescription, *pCompanion, *pCompanionDescription;
    };
    for (const Case& c :
         {Case{"HttpServer/CurrentRequests", "Current Requests",
               "The current number of requests being processed.", "Peak Requests",
               "The peak number of requests concurrently being processed."},
          Case{"HttpServer/CompletedRequests", "Completed Requests",
               "The total number of requests completed.", "Completed Requests/sec",
               "The rate at which new requests are processed."},
          Case{"HttpServer/BadRequests", "Bad Requests", "The total number of bad requests.", "", ""}}) {
        const performance::CounterInfo tInfo = performance::CounterRegistry::find(c.pName);
        ASSERT_NE(tInfo.pValue, nullptr) << c.pName;
        EXPECT_STREQ(tInfo.pDisplayName, c.pDisplay);
        EXPECT_STREQ(tInfo.pDescription, c.pDescription);
        EXPECT_STREQ(tInfo.pCompanionDisplayName, c.pCompanion);
        EXPECT_STREQ(tInfo.pCompanionDescription, c.pCompanionDescription);
    }
}

}  // namespace
