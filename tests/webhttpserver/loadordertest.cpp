#include <gmock/gmock.h>

#include "support/recorders.h"
#include "zq/foundation/exception.h"
#include "zq/foundation/libloaded.h"
#include "zq/services/performancecounters.h"
#include "zq/webhttpserver/httpservermessages.h"
#include "zq/webhttpserver/kivmakelibloaded.h"

namespace {

using debug_tools::LibLoaded;
using debug_tools::LoadJournal;
using Kind = LoadJournal::EKind;

TEST(ModuleLoad, UnitsComeUpInTheirOrder) {
    const auto tJournal = LoadJournal::list();
    const auto itModule =
        std::find(tJournal.begin(), tJournal.end(), LoadJournal::Entry{Kind::kLibrary, "webhttpserver"});
    ASSERT_GE(std::distance(itModule, tJournal.end()), 8);
    EXPECT_THAT(tl::vector<LoadJournal::Entry>(itModule, itModule + 8),
                testing::ElementsAre(LoadJournal::Entry{Kind::kLibrary, "webhttpserver"},
                                     LoadJournal::Entry{Kind::kMessageFile, "httpservermessages.xml"},
                                     LoadJournal::Entry{Kind::kLogSource, "kiv.httpserver.response"},
                                     LoadJournal::Entry{Kind::kLogSource, "kiv.httpserver.response.headers"},
                                     LoadJournal::Entry{Kind::kLogSource, "kiv.serverstream.populateparam"},
                                     LoadJournal::Entry{Kind::kCounter, "HttpServer/CurrentRequests"},
                                     LoadJournal::Entry{Kind::kCounter, "HttpServer/CompletedRequests"},
                                     LoadJournal::Entry{Kind::kCounter, "HttpServer/BadRequests"}));
}

TEST(ModuleLoad, RecordsItsNameAndVersion) {
    const auto tLibraries = LibLoaded::list();
    const auto it = std::find_if(tLibraries.begin(), tLibraries.end(),
                                 [](const auto& r) { return r.sName == "webhttpserver"; });
    ASSERT_NE(it, tLibraries.end());
    EXPECT_EQ(it->sVersion, kiv::s_version_webhttpserver3);
}

TEST(ModuleLoad, MessageTextComesFromTheMessageFile) {
    Exception e(kiv::kmsgPOSTRequestLimitException);
    e.setMsgInsert(1, GDUInteger(10485761));
    e.setMsgInsert(2, GDUInteger(10485760));
    EXPECT_EQ(e.getMessageText(),
              L"A request body of 10485761 bytes was refused: the limit is below 10485760 bytes (10 MiB).");
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
