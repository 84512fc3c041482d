#include "client.h"

#include <gtest/gtest.h>

#include "television_test.h"

namespace {

class AClientInOlderCpp : public tests::TelevisionTest {};

TEST_F(AClientInOlderCpp, OverridesANotificationOfAnAccessor) {
    const auto access = client::makeAccess();
    lomodelapi::ObserverNumericInteger* const observer = client::asObserver(*access);
    ASSERT_NE(observer, nullptr);
    observer->notifyNewValue(41);
    EXPECT_EQ(client::lastValue(), 41);
}

TEST_F(AClientInOlderCpp, OverridesAnAnswerOfAnAction) {
    const auto observer = client::makeAction();
    observer->notifyResult(5, {});
    EXPECT_EQ(client::lastAction(), 5U);
    ActionAccess* const access = client::asAccess(*observer);
    ASSERT_NE(access, nullptr);
    EXPECT_EQ(access->getName(), "client.action");
    // This operation is not overridden, so the library's one is called.
    observer->notifyExecutionError(6, 1);
    EXPECT_EQ(log.countEnter("action_access.cpp", "notifyExecutionError"), 1U);
}

TEST_F(AClientInOlderCpp, ReceivesValuesFromALibraryAccessor) {
    ValueAccessT<lomodelapi::ObserverNumericInteger> access("client.value", client::makeHandler());
    access.notifyNewValue(42);
    EXPECT_EQ(client::lastValue(), 42);
}

TEST_F(AClientInOlderCpp, SeesTheErrorOfAHandlerWithoutAnOwner) {
    ValueAccessT<lomodelapi::ObserverNumericInteger> access("client.value",
                                                            client::makeHandlerWithoutOwner());
    access.notifyNewValue(43);
    EXPECT_TRUE(log.waitFor("No Observer for"));
}

TEST_F(AClientInOlderCpp, DistinguishesItsFacadeFromTheLibrarys) {
    const auto derived = client::makeSetting();
    EXPECT_EQ(derived->getVideoBrightness(), 7);
    EXPECT_NE(dynamic_cast<SystemSetting*>(derived.get()), nullptr);
    EXPECT_FALSE(client::isSystemSetting(*derived));
    SystemSetting own;
    EXPECT_TRUE(client::isSystemSetting(own));
}

}  // namespace
