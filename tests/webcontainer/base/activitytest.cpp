#include "base/activity.h"

#include <gtest/gtest.h>

#include <thread>

#include "base/monotonicclock.h"

namespace test {
namespace {

TEST(Activity, IsSeenWholeWhileItChanges) {
    webcontainer::Activity t;
    std::jthread tWorker([&](const std::stop_token& rStop) {
        for (std::int64_t n = 1; !rStop.stop_requested(); ++n) {
            t.begin(std::string(48, static_cast<char>('a' + n % 26)), n);
            t.setId(std::string(32, static_cast<char>('a' + n % 26)));
        }
    });
    int nSeen = 0;
    for (const std::int64_t nEnd = webcontainer::monotonicMs() + 500; webcontainer::monotonicMs() < nEnd;) {
        const auto tSeen = t.look();
        if (tSeen.line().empty()) continue;
        ++nSeen;
        const char c = static_cast<char>('a' + tSeen.nSinceUs % 26);
        ASSERT_EQ(tSeen.line(), std::string(48, c));
        ASSERT_TRUE(tSeen.id().empty() || tSeen.id() == std::string(32, c)) << tSeen.id();
    }
    tWorker.request_stop();
    tWorker.join();
    EXPECT_GT(nSeen, 1000);
    t.begin({}, 5);
    EXPECT_EQ(t.look().line(), "");
    EXPECT_EQ(t.look().id(), "");
    t.begin({"GET\0/", 5}, 6);
    EXPECT_EQ(t.look().line(), "GET /");
}

}  // namespace
}  // namespace test
