#include "base/activity.h"

#include <gtest/gtest.h>

#include <thread>

namespace test {
namespace {

TEST(Activity, IsSeenWholeWhileItChanges) {
    webcontainer::Activity t;
    std::jthread tWorker([&](const std::stop_token& rStop) {
        for (std::int64_t n = 1; !rStop.stop_requested(); ++n) {
            const std::string sLine(48, static_cast<char>('a' + n % 6)),
                sId(32, static_cast<char>('a' + n % 6));
            t.begin(sLine, sId.data(), n);
            if (n % 64 == 0) std::this_thread::yield();
            t.end();
        }
    });
    std::int64_t nLast = 0;
    for (int nSeen = 0; nSeen < 30;) {
        const auto tSeen = t.look();
        if (tSeen.nSinceUs == 0 || tSeen.nSinceUs == nLast) continue;
        nLast = tSeen.nSinceUs;
        ++nSeen;
        const char c = static_cast<char>('a' + tSeen.nSinceUs % 6);
        ASSERT_EQ(tSeen.line(), std::string(48, c));
        ASSERT_EQ(tSeen.id(), std::string(32, c));
    }
    tWorker.request_stop();
    tWorker.join();
    char* const pNowhere = reinterpret_cast<char*>(16);
    const std::tuple<std::string_view, const char*, std::string_view, std::string_view> tCases[] = {
        {{}, "0af7651916cd43dd8448eb211c80319c", "", "0af7651916cd43dd8448eb211c80319c"},
        {{"GET\0/", 5}, "\0af7651916cd43dd8448eb211c80319c", "GET /", ""},
        {{pNowhere, 9}, pNowhere, "", ""},
    };
    for (const auto& [sLine, pId, sLineSeen, sIdSeen] : tCases) {
        t.begin(sLine, pId, 5);
        EXPECT_EQ(t.look().nSinceUs, 5);
        EXPECT_EQ(t.look().line(), sLineSeen);
        EXPECT_EQ(t.look().id(), sIdSeen);
        t.end();
        EXPECT_EQ(t.look().nSinceUs, 0);
    }
}

}  // namespace
}  // namespace test
