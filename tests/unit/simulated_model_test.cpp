// The simulated television fulfils the contract of the platform's interfaces.
#include <atomic>
#include <future>
#include <thread>

#include "keys.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "television_test.h"
#include "zt/apmclient/app_manager_client.h"

using namespace tests::keys;
using simulated::KeyFaults;
using simulated::Order;
using simulated::Value;
using simulated::Written;

namespace {

class Listener : public lomodelapi::ObserverNumericInteger {
  public:
    void notifyNewValue(int value) override {
        values.push_back(value);
        thread = std::this_thread::get_id();
    }
    void notifyAvailability(bool available) override { availability.push_back(available); }

    std::vector<int> values;
    std::vector<bool> availability;
    std::thread::id thread;
};

class TheSimulatedModel : public tests::TelevisionTest {
  protected:
    BizValue* connect(const std::string& key, lomodelapi::Observer* observer) {
        BizValue* value = nullptr;
        EXPECT_EQ(model.root()->connectValue(key, observer, value), 0);
        return value;
    }
};

TEST_F(TheSimulatedModel, AnnouncesChangesInOrderOnItsOwnThread) {
    Listener listener;
    BizValue* const value = connect(BRIGHTNESS, &listener);
    for (int i = 1; i <= 20; ++i) EXPECT_EQ(value->setInteger(i), 0);
    ASSERT_TRUE(model.settle());
    ASSERT_EQ(listener.values.size(), 20U);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(listener.values[static_cast<std::size_t>(i)], i + 1);
    EXPECT_NE(listener.thread, std::this_thread::get_id());
    model.root()->disconnectValue(BRIGHTNESS, &listener, value);
}

TEST_F(TheSimulatedModel, TakesARealisticTimeToAnnounceAChange) {
    Listener listener;
    BizValue* const value = connect(BRIGHTNESS, &listener);
    const auto begin = std::chrono::steady_clock::now();
    value->setInteger(51);
    ASSERT_TRUE(model.settle());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(15));
    model.root()->disconnectValue(BRIGHTNESS, &listener, value);
}

TEST_F(TheSimulatedModel, DoesNotAnnounceAnUnchangedValue) {
    Listener listener;
    BizValue* const value = connect(BRIGHTNESS, &listener);
    value->setInteger(50);
    model.set(BRIGHTNESS, 50);
    ASSERT_TRUE(model.settle());
    EXPECT_TRUE(listener.values.empty());
    model.root()->disconnectValue(BRIGHTNESS, &listener, value);
}

TEST_F(TheSimulatedModel, AppliesTheRangeOfAKeyToClientsOnly) {
    BizValue* const value = connect(BRIGHTNESS, nullptr);
    EXPECT_EQ(value->setInteger(101), simulated::STATUS_OUT_OF_RANGE);
    EXPECT_EQ(std::get<int>(model.value(BRIGHTNESS)), 50);
    model.set(BRIGHTNESS, 101);
    EXPECT_EQ(value->getInteger(), 101);
}

TEST_F(TheSimulatedModel, RefusesAnUnknownSourceAndAListOfAnotherLength) {
    Listener listener;
    BizValue* const source = connect(SOURCE, &listener);
    for (const char* const unknown : {"HDMI7", "hdmi1", ""}) {
        EXPECT_EQ(source->setString(unknown), simulated::STATUS_OUT_OF_RANGE);
        EXPECT_EQ(std::get<std::string>(model.value(SOURCE)), "TV");
    }
    EXPECT_EQ(source->setString("HDMI6"), 0);
    BizValue* const pq = connect(PQ_SETTING, nullptr);
    std::map<int, int> numbers;
    for (int position = 0; position < 29; ++position) {
        EXPECT_EQ(pq->setIntegerVector(numbers), position == 27 ? 0 : simulated::STATUS_OUT_OF_RANGE);
        numbers[position] = -position;
    }
    EXPECT_EQ(std::get<std::vector<int>>(model.value(PQ_SETTING)).size(), 27U);
    // The television itself may set any value.
    model.set(SOURCE, std::string("HDMI7"));
    model.set(PQ_SETTING, std::vector<int>{1});
    EXPECT_EQ(std::get<std::string>(model.value(SOURCE)), "HDMI7");
    model.root()->disconnectValue(SOURCE, &listener, source);
}

TEST_F(TheSimulatedModel, RefusesAnOperationOfAnotherType) {
    BizValue* const value = connect(SOURCE, nullptr);
    std::vector<int> list{7};
    EXPECT_EQ(value->setInteger(1), BizValue::WRONG_TYPE);
    EXPECT_EQ(value->getIntegerVector(list), BizValue::WRONG_TYPE);
    EXPECT_EQ(list, std::vector<int>{7});
    EXPECT_TRUE(model.writes(SOURCE).empty());
}

TEST_F(TheSimulatedModel, RefusesAnUnknownKey) {
    BizValue* value = nullptr;
    EXPECT_EQ(model.root()->connectValue("no.such.key", nullptr, value), simulated::STATUS_UNKNOWN_KEY);
    EXPECT_EQ(model.root()->disconnectValue("no.such.key", nullptr, nullptr), simulated::STATUS_UNKNOWN_KEY);
    EXPECT_THROW(model.value("no.such.key"), std::out_of_range);
}

TEST_F(TheSimulatedModel, NotifiesObserversOfChangesOfAvailability) {
    Listener listener;
    BizValue* const value = connect(BRIGHTNESS, &listener);
    model.withdraw(BRIGHTNESS);
    BizValue* again = nullptr;
    EXPECT_EQ(model.root()->connectValue(BRIGHTNESS, &listener, again), simulated::STATUS_UNAVAILABLE);
    EXPECT_EQ(value->setInteger(1), simulated::STATUS_UNAVAILABLE);
    model.offer(BRIGHTNESS);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(listener.availability, (std::vector<bool>{false, true}));
    EXPECT_EQ(value->setInteger(1), 0);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(model.root()->disconnectValue(BRIGHTNESS, &listener, value), 0);
    EXPECT_NE(model.root()->disconnectValue(BRIGHTNESS, &listener, value), 0);
}

TEST_F(TheSimulatedModel, DropsRepeatsAndReordersNotificationsOnRequest) {
    Listener listener;
    BizValue* const value = connect(BRIGHTNESS, &listener);
    KeyFaults faults;
    faults.dropNotifications = 1;
    faults.repeatNotifications = 1;
    model.setFaults(BRIGHTNESS, faults);
    model.set(BRIGHTNESS, 1);
    model.set(BRIGHTNESS, 2);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(listener.values, (std::vector<int>{2, 2}));

    model.setFaults(BRIGHTNESS, KeyFaults());
    listener.values.clear();
    model.holdNotifications();
    for (const int number : {3, 4, 5}) model.set(BRIGHTNESS, number);
    ASSERT_TRUE(model.settle());
    EXPECT_TRUE(listener.values.empty());
    model.releaseNotifications(Order::REVERSED);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(listener.values, (std::vector<int>{5, 4, 3}));
    model.root()->disconnectValue(BRIGHTNESS, &listener, value);
}

TEST_F(TheSimulatedModel, DelaysOneKeyWithoutDelayingOthers) {
    Listener late;
    Listener prompt;
    BizValue* const lateValue = connect(BRIGHTNESS, &late);
    BizValue* const promptValue = connect("dovra.sl2.i32.video.contrast", &prompt);
    KeyFaults faults;
    faults.notificationDelay = std::chrono::hours(1);
    model.setFaults(BRIGHTNESS, faults);
    model.set(BRIGHTNESS, 1);
    std::promise<void> received;
    struct Waiter : lomodelapi::ObserverNumericInteger {
        explicit Waiter(std::promise<void>& promise) : received(promise) {}
        void notifyNewValue(int) override { received.set_value(); }
        std::promise<void>& received;
    } waiter(received);
    BizValue* const waiterValue = connect("dovra.sl2.i32.video.contrast", &waiter);
    model.set("dovra.sl2.i32.video.contrast", 1);
    EXPECT_EQ(received.get_future().wait_for(std::chrono::seconds(30)), std::future_status::ready);
    model.root()->disconnectValue("dovra.sl2.i32.video.contrast", &waiter, waiterValue);
    model.root()->disconnectValue("dovra.sl2.i32.video.contrast", &prompt, promptValue);
    model.root()->disconnectValue(BRIGHTNESS, &late, lateValue);
    EXPECT_TRUE(late.values.empty());
}

TEST_F(TheSimulatedModel, AnnouncesTheOldValueAfterAnIgnoredWrite) {
    Listener listener;
    BizValue* const value = connect(BRIGHTNESS, &listener);
    KeyFaults faults;
    faults.keepValue = true;
    model.setFaults(BRIGHTNESS, faults);
    value->setInteger(60);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(listener.values, std::vector<int>{50});
    EXPECT_EQ(std::get<int>(model.writes(BRIGHTNESS).at(0)), 60);
    model.root()->disconnectValue(BRIGHTNESS, &listener, value);
}

TEST_F(TheSimulatedModel, WaitsInDisconnectUntilTheObserverReturns) {
    struct Slow : lomodelapi::ObserverNumericInteger {
        void notifyNewValue(int) override {
            entered.set_value();
            released.get_future().wait();
            left = true;
        }
        std::promise<void> entered;
        std::promise<void> released;
        std::atomic<bool> left{false};
    } slow;
    BizValue* const value = connect(BRIGHTNESS, &slow);
    model.set(BRIGHTNESS, 1);
    slow.entered.get_future().wait();
    std::thread release([&] { slow.released.set_value(); });
    model.root()->disconnectValue(BRIGHTNESS, &slow, value);
    EXPECT_TRUE(slow.left);
    release.join();
}

TEST_F(TheSimulatedModel, AnswersAnActionToTheClientThatInvokedIt) {
    struct Client : lomodelapi::ObserverAction {
        void notifyExecutionError(unsigned id, int) override { ids.push_back(id); }
        void notifyResult(unsigned id, const std::vector<lomodelapi::Argument>&) override {
            ids.push_back(id);
        }
        std::vector<unsigned> ids;
    } invoker, bystander;
    BizValue* const action = connect(SWITCH_ACTION, &invoker);
    BizValue* const other = connect(SWITCH_ACTION, &bystander);
    unsigned id = 0;
    EXPECT_EQ(action->invoke(id, {{0, 1, "8"}, {0, 3, "+1"}}), 0);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(invoker.ids, std::vector<unsigned>{id});
    EXPECT_TRUE(bystander.ids.empty());
    model.root()->disconnectValue(SWITCH_ACTION, &invoker, action);
    model.root()->disconnectValue(SWITCH_ACTION, &bystander, other);
}

// A television may run for months, so the record of client operations must be bounded.
TEST_F(TheSimulatedModel, KeepsTheNewestClientOperations) {
    constexpr int more = static_cast<int>(simulated::RECORDED) + 10;
    const auto write = [&](int i) { return i % 100; };
    BizValue* const value = connect(BRIGHTNESS, nullptr);
    for (int i = 1; i <= more; ++i) EXPECT_EQ(value->setInteger(write(i)), 0);
    const std::vector<Written> writes = model.writes(BRIGHTNESS);
    ASSERT_EQ(writes.size(), simulated::RECORDED);
    EXPECT_EQ(writes.front(), Written(write(more - static_cast<int>(simulated::RECORDED) + 1)));
    EXPECT_EQ(writes.back(), Written(write(more)));

    for (int i = 1; i <= more; ++i) EXPECT_EQ(model.invoke(SWITCH_ACTION, {{0, 1, std::to_string(i)}}), 0);
    const auto invocations = model.invocations(SWITCH_ACTION);
    ASSERT_EQ(invocations.size(), simulated::RECORDED);
    EXPECT_EQ(invocations.back().arguments.front().value, std::to_string(more));

    for (int i = 1; i <= more; ++i) ASSERT_TRUE(television.threads().mayCreate(nullptr, "", i));
    const auto created = television.threads().created();
    ASSERT_EQ(created.size(), simulated::RECORDED);
    EXPECT_EQ(created.back().line, more);

    zt::apmclient::AppManagerClient* const manager = television.applications().client();
    for (int i = 1; i <= more; ++i) manager->reportStatus("somebody", i);
    const auto reports = television.applications().reports();
    ASSERT_EQ(reports.size(), simulated::RECORDED);
    EXPECT_EQ(reports.back().status, more);
}

TEST_F(TheSimulatedModel, HasItsInitialStateAfterAReset) {
    model.set(BRIGHTNESS, 1);
    model.withdraw(SOURCE);
    model.reset();
    EXPECT_EQ(std::get<int>(model.value(BRIGHTNESS)), 50);
    EXPECT_NE(connect(SOURCE, nullptr), nullptr);
    EXPECT_EQ(model.connectAttempts(SOURCE), 1U);
}

}  // namespace
