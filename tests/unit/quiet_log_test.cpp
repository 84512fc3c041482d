// With all log levels off, failures have the same results, and nothing is printed.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "keys.h"
#include "lomodelapi/observer.h"
#include "platform_adaptation/ai_common.h"
#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "platform_adaptation/system_state.h"
#include "television_test.h"

using namespace tests::keys;

namespace {

using IntegerAccess = ValueAccessT<lomodelapi::ObserverNumericInteger>;
using StringAccess = ValueAccessT<lomodelapi::ObserverString>;

class ADisabledLog : public tests::TelevisionTest {
  protected:
    void SetUp() override { television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF); }
    void TearDown() override { EXPECT_EQ(log.lines().size(), 0U); }

    void makeUnavailable(const char* key) {
        simulated::KeyFaults faults;
        faults.connectStatus = simulated::STATUS_UNAVAILABLE;
        model.setFaults(key, faults);
    }
};

TEST_F(ADisabledLog, PrintsNothingForTheCommonFunctions) {
    EXPECT_EQ(str2int("a", 7), 7);
    EXPECT_EQ(str2int("99999999999", 7), 7);
    outputCharSerial("title", nullptr, 1);
    outputCharSerial("title", "ab", 2);
}

TEST_F(ADisabledLog, PrintsNothingForAccessors) {
    EXPECT_EQ(IntegerAccess("missing").connect(0), 8);
    EXPECT_EQ(IntegerAccess(BRIGHTNESS).getType(), 0);

    IntegerAccess integer(BRIGHTNESS);
    EXPECT_EQ(integer.setValue(1LL + INT_MAX), 6);
    StringAccess text(SOURCE);
    EXPECT_EQ(text.setValue(5), 6);
    EXPECT_EQ(text.setValue(5LL), 6);

    EXPECT_EQ(ActionAccess(SOURCE).connect(0), 6);
    IteratorAccess iterator("test.unknown", nullptr, {0, 1}, {}, {}, {});
    EXPECT_EQ(iterator.create(), 4);

    television.framework().failLookups(1);
    EXPECT_EQ(ValueAccessBase::getRootInterface(), nullptr);
    television.framework().failLookups(0);
}

TEST_F(ADisabledLog, PrintsNothingForSourceSwitchRequests) {
    makeUnavailable(SWITCH_ACTION);
    SourceSwitchAccessImpl access;
    EXPECT_FALSE(access.pausePSI());
}

TEST_F(ADisabledLog, PrintsNothingForSystemInfo) {
    model.set(PLAY_ATTRIBUTES, std::vector<std::string>(32, "99999999999"));
    makeUnavailable(GAME_MODE);
    makeUnavailable(AIPQ_USER_SWITCH);
    SystemInfo info;
    EXPECT_EQ(info.getVideoGameMode(), VIDEO_GAME_MODE_0);
    EXPECT_FALSE(info.getAIPQSwitchState());
    EXPECT_FALSE(info.getTvStreamEncrypted());

    ValueHandlerT<SystemInfo>(&info, &SystemInfo::onSourceTypeChanged).onNewValue(ValueObject("HDMI1"));
    ValueHandlerT<SystemInfo>(nullptr, &SystemInfo::onSourceTypeChanged).onNewValue(ValueObject("HDMI1"));
}

TEST_F(ADisabledLog, PrintsNothingForSystemSetting) {
    makeUnavailable(BRIGHTNESS);
    makeUnavailable(COLOR_TUNER);
    SystemSetting setting;
    EXPECT_EQ(setting.getVideoBrightness(), -1);
    EXPECT_EQ(setting.setVideoColorTuner(3), 0);
}

TEST_F(ADisabledLog, PrintsNothingForSystemState) {
    television.applications().setReachable(false);
    SystemState state("quiet");
    EXPECT_FALSE(state.registerApp());
    EXPECT_FALSE(state.unRegisterApp());
}

}  // namespace
