// Clients of a television that is killed, restarts, or starts after them.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "keys.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "remote_television_fixture.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::ATelevisionProcess;
using tests::eventually;
using tests::Int64;
using tests::Integer;
using tests::Integers;
using tests::IteratorRecorder;
using tests::LIMIT;
using tests::NUMBERS;
using tests::Received;
using tests::Service;
using tests::String;
using tests::Strings;
using tests::TelevisionProcess;
using tests::TEXT;
using tests::TEXTS;
using tests::ValueRecorder;
using tests::WIDE;

namespace {

class AKilledTelevision : public ATelevisionProcess {
  protected:
    // Returns the result of a blocking request; nothing if it did not end in time.
    static std::optional<bool> resultOf(std::future<bool>& request) {
        if (request.wait_for(LIMIT) != std::future_status::ready) return std::nullopt;
        return request.get();
    }
};

TEST_F(AKilledTelevision, FailsEveryOperationUntilItRestarts) {
    Integer brightness(BRIGHTNESS);
    String source(SOURCE);
    ASSERT_EQ(brightness.connect(1000), 0);
    ASSERT_EQ(source.connect(1000), 0);
    SystemInfo info;
    SystemSetting setting;
    television.kill();
    int number = 0;
    std::string text = "unchanged";
    EXPECT_TRUE(eventually([&] { return brightness.getValue(number) != 0; }));
    number = 5;
    EXPECT_NE(brightness.getValue(number), 0);
    EXPECT_NE(source.getValue(text), 0);
    EXPECT_EQ(number, 5);
    EXPECT_EQ(text, "unchanged");
    EXPECT_NE(brightness.setValue(1), 0);
    EXPECT_EQ(Integer(CONTRAST).connect(200), 5);
    EXPECT_EQ(ActionAccess(SWITCH_ACTION).connect(0), 5);
    EXPECT_FALSE(sourceSwitch.setChannelNext());
    EXPECT_EQ(info.getSourceType(), SOURCE_TYPE_UNKNOWN);
    EXPECT_FALSE(info.getAIPQSupported());
    EXPECT_EQ(setting.getVideoBrightness(), -1);
    std::vector<int> pq(34, 1);
    EXPECT_EQ(setting.setVideoPQParameters(pq), -1);
    SystemState unregistered("aipq");
    EXPECT_FALSE(unregistered.registerApp());
    const auto recorder = std::make_shared<IteratorRecorder>();
    EXPECT_EQ(makeIterator(recorder)->create(), 4);

    switchOn();
    EXPECT_EQ(brightness.getValue(number), 0);
    EXPECT_EQ(number, 50);
    EXPECT_EQ(brightness.setValue(51), 0);
    EXPECT_EQ(source.getValue(text), 0);
    EXPECT_TRUE(sourceSwitch.setChannelNext());
    EXPECT_EQ(info.getSourceType(), SOURCE_TYPE_TV);
    EXPECT_EQ(setting.getVideoBrightness(), 51);
    EXPECT_EQ(makeIterator(recorder)->create(), 0);
}

TEST_F(AKilledTelevision, RestoresClientsRegistrationsWhenItRestarts) {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer brightness(BRIGHTNESS, recorder);
    ASSERT_EQ(brightness.connect(1000), 0);
    const auto rows = std::make_shared<IteratorRecorder>();
    const auto iterator = makeIterator(rows);
    ASSERT_EQ(iterator->create(), 0);
    ASSERT_TRUE(rows->received.waitFor("ready 4"));
    Service service("aipq");
    for (int life = 1; life <= 3; ++life) {
        killAndSwitchOnAgain();
        EXPECT_EQ(television.subscribers(BRIGHTNESS), 1U);
        EXPECT_EQ(television.iterators(CHANNELS), 1U);
        EXPECT_THAT(television.applications(), ElementsAre("aipq"));
        television.set(BRIGHTNESS, std::int32_t{life});
        EXPECT_TRUE(recorder->received.waitFor(std::to_string(life)));
        EXPECT_TRUE(rows->received.waitFor("ready 4", 1 + life));
        EXPECT_EQ(iterator->getIterator()->readRow(), 0);
        EXPECT_TRUE(rows->received.waitFor("row 1,First", life));
        television.notify("aipq", "running");
        EXPECT_TRUE(service.received.waitFor("1", life));
    }
    // A new television starts with the value 50.
    EXPECT_THAT(recorder->received.all(), ElementsAre("1", "50", "2", "50", "3"));
}

TEST_F(AKilledTelevision, AnnouncesChangedValuesWhenItRestarts) {
    const auto follow = [](auto& access) { ASSERT_EQ(access.connect(1000), 0); };
    const auto brightnessHeard = std::make_shared<ValueRecorder>();
    const auto contrastHeard = std::make_shared<ValueRecorder>();
    const auto numbersHeard = std::make_shared<ValueRecorder>();
    const auto textsHeard = std::make_shared<ValueRecorder>();
    const auto wideHeard = std::make_shared<ValueRecorder>();
    // Known from a notification or from the subscription.
    Integer brightness(BRIGHTNESS, brightnessHeard);
    follow(brightness);
    television.set(BRIGHTNESS, std::int32_t{60});
    television.set(NUMBERS, std::vector<std::int32_t>{1, 2});
    television.set(TEXTS, std::vector<std::string>{"a", "b"});
    television.set(WIDE, std::int64_t{7});
    Integer contrast(CONTRAST, contrastHeard);
    Integers numbers(NUMBERS, numbersHeard);
    Strings texts(TEXTS, textsHeard);
    Int64 wide(WIDE, wideHeard);
    follow(contrast);
    follow(numbers);
    follow(texts);
    follow(wide);
    Received source;
    SystemInfo info;
    info.registerCallBackSourceType(
        [](SourceType type, void* it) { static_cast<Received*>(it)->add(std::to_string(type)); }, &source);
    television.set(SOURCE, std::string("HDMI2"));
    ASSERT_TRUE(source.waitFor("2"));
    ASSERT_TRUE(brightnessHeard->received.waitFor("60"));

    killAndSwitchOnAgain();
    EXPECT_TRUE(source.waitFor("1"));
    EXPECT_TRUE(brightnessHeard->received.waitFor("50"));
    for (const auto& recorder : {numbersHeard, textsHeard, wideHeard})
        EXPECT_TRUE(recorder->received.waitForBeginning(""));
    television.set(CONTRAST, std::int32_t{51});
    EXPECT_TRUE(contrastHeard->received.waitFor("51"));
    EXPECT_THAT(contrastHeard->received.all(), ElementsAre("51")) << "it was 50 before and after";
    EXPECT_THAT(brightnessHeard->received.all(), ElementsAre("60", "50"));
}

TEST_F(AKilledTelevision, DoesNotAnnounceAKeyThatItsSuccessorLacks) {
    struct Follower : lomodelapi::Observer {
        void notifyAvailability(bool available) override { received.add(available ? "back" : "away"); }
        Received received;
    };
    Follower lost;
    Follower kept;
    RootInterface* const root = ValueAccessBase::getRootInterface();
    ASSERT_NE(root, nullptr);
    BizValue* lostValue = nullptr;
    BizValue* keptValue = nullptr;
    ASSERT_EQ(root->connectValue(TEXT, &lost, lostValue), 0);
    ASSERT_EQ(root->connectValue(BRIGHTNESS, &kept, keptValue), 0);
    television.kill();
    ASSERT_TRUE(lost.received.waitFor("away"));
    TelevisionProcess next(television.name());
    ASSERT_TRUE(next.start());
    EXPECT_TRUE(kept.received.waitFor("back"));
    EXPECT_THAT(lost.received.all(), ElementsAre("away"));
    root->disconnectValue(TEXT, &lost, lostValue);
    root->disconnectValue(BRIGHTNESS, &kept, keptValue);
    EXPECT_EQ(next.stop(), 0);
}

TEST_F(AKilledTelevision, EndsAnUnansweredRequest) {
    logEverything();
    television.setFault(SWITCH_ACTION, "key.never_answer", 1);
    ASSERT_NE(sourceSwitch.connectToValue(SWITCH_ACTION), nullptr);
    std::vector<std::future<bool>> requests;
    for (int i = 0; i < 3; ++i)
        requests.push_back(std::async(std::launch::async, [&] { return sourceSwitch.setChannelNext(); }));
    EXPECT_TRUE(log.waitFor("waiting result ...  001", 3));
    television.kill();
    for (auto& request : requests) EXPECT_EQ(resultOf(request), std::optional(false));
    switchOn();
    EXPECT_TRUE(sourceSwitch.setChannelNext());
}

TEST_F(AKilledTelevision, EndsEveryUnfinishedCall) {
    Integer brightness(BRIGHTNESS);
    ASSERT_EQ(brightness.connect(1000), 0);
    ASSERT_NE(sourceSwitch.connectToValue(SWITCH_ACTION), nullptr);
    television.setFault(BRIGHTNESS, "key.answer_delay", 60000);
    television.setFault(SWITCH_ACTION, "key.answer_delay", 60000);
    std::atomic<int> begun{0};
    const auto begin = [&](auto operation) {
        return std::async(std::launch::async, [&begun, operation]() -> bool {
            ++begun;
            return operation();
        });
    };
    std::vector<std::future<bool>> calls;
    calls.push_back(begin([&] {
        int number = 0;
        return brightness.getValue(number) == 0;
    }));
    calls.push_back(begin([&] { return brightness.setValue(5) == 0; }));
    calls.push_back(begin([] { return Integer(BRIGHTNESS).connect(0) == 0; }));
    calls.push_back(begin([&] { return sourceSwitch.setChannelNext(); }));
    ASSERT_TRUE(eventually([&] { return begun == 4; }));
    for (auto& call : calls) EXPECT_EQ(call.wait_for(50ms), std::future_status::timeout);
    television.kill();
    for (auto& call : calls) EXPECT_EQ(resultOf(call), std::optional(false));
    switchOn();
    int number = 0;
    EXPECT_EQ(brightness.getValue(number), 0);
}

TEST_F(AKilledTelevision, AcceptsANewSettingAfterAnUnfinishedOne) {
    logEverything();
    television.setFault("", "notifications.delay", 100);
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer brightness(BRIGHTNESS, recorder);
    ASSERT_EQ(brightness.connect(1000), 0);
    SystemSetting setting;
    EXPECT_EQ(setting.setVideoBrightness(100), 0);
    ASSERT_TRUE(eventually([&] {
        if (recorder->received.waitFor("56", 1, 1s)) return true;
        announceAgain(BRIGHTNESS);
        return false;
    }));
    television.kill();
    switchOn();
    // The worker may have failed at a write or a read. Otherwise it waits for a notification, continues and
    // ends at its target.
    const auto ended = [&] {
        return !log.withMessage("set video brightness successed.\n").empty() ||
               log.waitFor("failed.", 1, 0ms);
    };
    for (std::int32_t announced = 1; announced <= 6 && !ended(); ++announced) {
        television.set(BRIGHTNESS, announced);
        eventually(ended, 10s);
    }
    ASSERT_TRUE(ended());
    log.clear();
    EXPECT_EQ(setting.setVideoBrightness(60), 0);
    expectWorkerToEnd("brightness", BRIGHTNESS);
    EXPECT_EQ(setting.getVideoBrightness(), 60);
}

TEST_F(AKilledTelevision, LetsConnectWaitUntilItRestarts) {
    television.kill();
    auto connecting = std::async(std::launch::async, [] {
        Integer access(BRIGHTNESS);
        return access.connect(30000) == 0;
    });
    EXPECT_EQ(connecting.wait_for(50ms), std::future_status::timeout);
    switchOn();
    EXPECT_EQ(resultOf(connecting), std::optional(true));
}

TEST_F(AKilledTelevision, MayDieDuringTheNotificationOfAnApplication) {
    struct Slow {
        SystemState state{"slow"};
        Received received;
        std::promise<void> mayReturn;
    } slow;
    slow.state.registerCallBackTVPowerState(
        [](TVPowerState state, void* self) {
            Slow& it = *static_cast<Slow*>(self);
            it.received.add(std::to_string(state));
            if (state == TV_POWER_STATE_SUSPEND) it.mayReturn.get_future().wait();
        },
        &slow);
    television.notify("slow", "suspend");
    ASSERT_TRUE(slow.received.waitFor("2"));
    television.kill();
    slow.mayReturn.set_value();
    switchOn();
    television.notify("slow", "resume");
    EXPECT_TRUE(slow.received.waitFor("4"));
}

TEST_F(AKilledTelevision, LetsItsClientsUnsubscribe) {
    const auto recorder = std::make_shared<ValueRecorder>();
    auto brightness = std::make_unique<Integer>(BRIGHTNESS, recorder);
    Integer contrast(CONTRAST, recorder);
    ASSERT_EQ(brightness->connect(1000), 0);
    ASSERT_EQ(contrast.connect(1000), 0);
    auto iterator = makeIterator(std::make_shared<IteratorRecorder>());
    ASSERT_EQ(iterator->create(), 0);
    auto service = std::make_unique<Service>("aipq");
    television.kill();
    brightness.reset();
    iterator.reset();
    service.reset();
    EXPECT_EQ(contrast.disconnect(), 0);
    switchOn();
    EXPECT_EQ(television.subscribers(BRIGHTNESS), 0U);
    EXPECT_EQ(television.subscribers(CONTRAST), 0U);
    EXPECT_EQ(television.iterators(CHANNELS), 0U);
    EXPECT_THAT(television.applications(), IsEmpty());
    EXPECT_EQ(contrast.connect(1000), 0);
    television.set(CONTRAST, std::int32_t{9});
    EXPECT_TRUE(recorder->received.waitFor("9"));
}

// Runs operations of every kind on several threads until it is destroyed.
class Traffic {
  public:
    explicit Traffic(SourceSwitchAccessImpl& sourceSwitch) {
        run([brightness = std::make_shared<Integer>(BRIGHTNESS), number = 0]() mutable {
            brightness->setValue(++number % 100);
            int back = 0;
            brightness->getValue(back);
        });
        run([] {
            String access(SOURCE, std::make_shared<ValueRecorder>());
            access.connect(0);
            access.setValue(std::string("HDMI1"));
        });
        run([&sourceSwitch] { sourceSwitch.setChannelNext(); });
        run([] {
            IteratorAccess iterator(CHANNELS, std::make_shared<IteratorRecorder>(), {1, 3}, {}, {0}, {});
            if (iterator.create() != 0 || iterator.getIterator() == nullptr) return;
            iterator.getIterator()->readRowChunk(3);
            iterator.destroy();
        });
        run([] {
            Service service("passing");
            service.state().registerApp();
        });
        run([info = std::make_shared<SystemInfo>()] {
            info->getSourceType();
            info->getAIPQAvailable();
        });
    }

    ~Traffic() {
        m_ending = true;
        for (std::thread& thread : m_threads) thread.join();
    }
    Traffic(const Traffic&) = delete;
    Traffic& operator=(const Traffic&) = delete;

  private:
    void run(std::function<void()> work) {
        m_threads.emplace_back([this, work = std::move(work)] {
            while (!m_ending) work();
        });
    }

    std::atomic<bool> m_ending{false};
    std::vector<std::thread> m_threads;
};

TEST_F(AKilledTelevision, LeavesItsClientsRunningAfterManyDeaths) {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer contrast(CONTRAST, recorder);
    ASSERT_EQ(contrast.connect(1000), 0);
    Service service("aipq");
    constexpr unsigned seed = 20;
    std::mt19937 random(seed);
    ASSERT_TRUE(sourceSwitch.setChannelNext());
    {
        const Traffic traffic(sourceSwitch);
        for (int life = 0; life < 20; ++life) {
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 150));
            television.kill();
            // The television restarts either while its clients still detect its end, or after they have begun
            // to search for it.
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 2 * (random() % 150)));
            ASSERT_TRUE(television.start()) << television.process().errors();
        }
    }
    ASSERT_TRUE(isFound());
    television.set(CONTRAST, std::int32_t{99});
    EXPECT_TRUE(recorder->received.waitFor("99"));
    television.notify("aipq", "suspend");
    EXPECT_TRUE(service.received.waitFor("2"));
    EXPECT_TRUE(sourceSwitch.setChannelNext());
    const auto rows = std::make_shared<IteratorRecorder>();
    const auto iterator = makeIterator(rows);
    ASSERT_EQ(iterator->create(), 0);
    EXPECT_TRUE(rows->received.waitForBeginning("ready"));
    // The subscriptions, iterators and applications of Traffic are released.
    EXPECT_TRUE(eventually([&] {
        return television.subscribers(BRIGHTNESS) == 0 && television.subscribers(SOURCE) == 0 &&
               television.iterators(CHANNELS) == 1 && television.subscribers(CHANNELS) == 1 &&
               television.applications() == std::vector<std::string>{"aipq"};
    }));
}

// A client that starts before the television

class AProgramThatIsStartedFirst : public tests::RemoteTest {};

TEST_F(AProgramThatIsStartedFirst, FailsUntilTheTelevisionStarts) {
    Integer brightness(BRIGHTNESS);
    int number = 5;
    EXPECT_EQ(brightness.connect(0), 5);
    EXPECT_EQ(brightness.getValue(number), 5);
    EXPECT_EQ(brightness.setValue(1), 5);
    SystemInfo info;
    EXPECT_EQ(info.getSourceType(), SOURCE_TYPE_UNKNOWN);
    SourceSwitchAccessImpl sourceSwitch;
    EXPECT_FALSE(sourceSwitch.setChannelNext());
    EXPECT_FALSE(SystemState("aipq").registerApp());
    EXPECT_TRUE(log.waitFor("Failed to get an instance of AppManagerClient."));

    switchOn();
    EXPECT_EQ(brightness.getValue(number), 0);
    EXPECT_EQ(number, 50);
    EXPECT_EQ(brightness.setValue(52), 0);
    EXPECT_EQ(info.getSourceType(), SOURCE_TYPE_TV);
    EXPECT_TRUE(sourceSwitch.setChannelNext());
    Service service("aipq");
    television.notify("", "running");
    EXPECT_TRUE(service.received.waitFor("1"));
}

}  // namespace
