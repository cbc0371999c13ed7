#include "connections/connectiontable.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "base/filedescriptor.h"

namespace test {
namespace {

using webcontainer::Connection;
using webcontainer::EPhase;
using webcontainer::Event;

/// A connection whose event comes while the sweeper looks at it is reported again, in whatever it waits for.
TEST(ConnectionTable, NoEventIsLostWhileSomebodyLooks) {
    enum { kAccepted, kLeft, kParked, kTurn };
    for (const int nHow : {kAccepted, kLeft, kParked, kTurn}) {
        webcontainer::Poller tPoller;
        const webcontainer::Limits tLimits;
        webcontainer::ConnectionTable tTable(tPoller, tLimits);
        int tPair[2];
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, tPair), 0);
        const webcontainer::FileDescriptor tClient(tPair[1]);
        const auto send = [&] { EXPECT_EQ(::write(tClient.get(), "x", 1), 1); };
        tTable.open(tPair[0], webcontainer::ConnectionEnds(), false);
        Connection* p = nullptr;
        const auto park = [&] { EXPECT_TRUE(tTable.park(*p, EPhase::kIdle)); };
        tTable.forEachWaiting([&](Connection& r) { p = &r; });
        ASSERT_TRUE(p && p->tOwnership.claim());
        if (nHow == kLeft) {
            tTable.leaveToPoller(tPair[0]);  // which finds it taken
        } else if (nHow == kAccepted) {
            EXPECT_FALSE(tTable.claimForEvent(tPair[0]));
        } else {
            if (nHow == kTurn)
                tTable.parkForTurn(*p);
            else
                park();
            ASSERT_TRUE(p->tOwnership.claim());
            EXPECT_EQ(p->nDeadline - p->nPhaseStart,
                      nHow == kTurn ? tLimits.nWriteTimeoutMs : tLimits.nIdleTimeoutMs);
            if (nHow == kParked) send();
            Event tEvent{};
            ASSERT_EQ(tPoller.wait({&tEvent, 1}, 1000), 1u);
            EXPECT_FALSE(tTable.claimForEvent(tEvent.nFd));
        }
        tTable.putBack(*p);
        if (nHow == kAccepted || nHow == kLeft) send();
        Event tEvent{};
        ASSERT_EQ(tPoller.wait({&tEvent, 1}, 1000), 1u) << nHow;
        EXPECT_EQ(tTable.claimForEvent(tEvent.nFd), p) << nHow;
    }
}

}  // namespace
}  // namespace test
