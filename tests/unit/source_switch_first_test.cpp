// Tests of the first requests of a process. CTest runs each of them in a new process of this program.
#include <gmock/gmock.h>

#include <thread>

#include "keys.h"
#include "platform_adaptation/ai_common.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "television_test.h"

using namespace tests::keys;
using testing::EndsWith;
using testing::StartsWith;

namespace {

class TheFirstRequests : public tests::TelevisionTest {};

TEST_F(TheFirstRequests, AreNumberedOneAndTwoOnAnyThread) {
    SourceSwitchAccessImpl access;
    model.withdraw(SWITCH_ACTION);
    EXPECT_FALSE(access.setChannelNext());  // uses no number, because the action is unavailable
    model.offer(SWITCH_ACTION);
    std::thread([&] { EXPECT_TRUE(access.setChannelNext()); }).join();
    EXPECT_TRUE(access.setChannelNext());

    const auto invocations = model.invocations(SWITCH_ACTION);
    ASSERT_EQ(invocations.size(), 2U);
    EXPECT_THAT(invocations[0].arguments.at(0).value, EndsWith("_1"));
    EXPECT_THAT(invocations[0].arguments.at(0).value, StartsWith("ss_access_"));
    EXPECT_EQ(invocations[1].arguments.at(0).value, "ss_access_" + std::to_string(currentThread()) + "_2");
}

TEST_F(TheFirstRequests, ShareTheInstanceOfTheFirstCall) {
    SourceSwitchAccessImpl* const first = SourceSwitchAccessImpl::GetInstance();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(SourceSwitchAccessImpl::GetInstance(), first);
    EXPECT_EQ(model.connectAttempts(SWITCH_ACTION), 0U);
    EXPECT_EQ(log.countEnter("source_switch_access_impl.cpp", "GetInstance"), 2U);
    EXPECT_EQ(log.countEnter("source_switch_access_impl.cpp", "SourceSwitchAccessImpl"), 1U);
    EXPECT_EQ(log.lines().size(), 3U);
}

TEST_F(TheFirstRequests, ReachTheTelevisionsOwnSourceSwitch) {
    SourceSwitchAccessImpl access;
    const simulated::SourceSwitch& own = television.sourceSwitch();
    EXPECT_TRUE(access.setChannelNext());
    EXPECT_EQ(own.channel(), 1U);
    EXPECT_TRUE(access.pauseAV());
    EXPECT_EQ(own.takenResources(), 3);
    EXPECT_TRUE(access.pauseVideo());
    EXPECT_FALSE(own.playing());
}

}  // namespace
