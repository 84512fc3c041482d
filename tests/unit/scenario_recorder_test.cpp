// Recording scenarios, and replaying a recording.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "keys.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "scenario_fixture.h"
#include "simulated/faults.h"
#include "simulated/scenario_recorder.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using simulated::describe;
using simulated::Lifecycle;
using simulated::parseScenario;
using simulated::Scenario;
using simulated::ScenarioRecorder;
using simulated::Step;
using testing::EndsWith;
using testing::SizeIs;
using testing::StartsWith;
using tests::actionsOf;
using tests::AipqService;
using tests::AScenario;

namespace {

// The recorded steps without the initial ones, which restore the state at the beginning of the recording.
std::vector<Step> causesOf(const Scenario& scenario) {
    std::vector<Step> causes;
    std::copy_if(scenario.steps.begin(), scenario.steps.end(), std::back_inserter(causes),
                 [](const Step& step) { return step.at.has_value(); });
    return causes;
}

// A client of the model that records its notifications.
class Client {
  public:
    explicit Client(simulated::Model& model) : m_model(model) {
        connect(m_brightness, "dovra.sl2.i32.video.brightness");
        connect(m_contrast, "dovra.sl2.i32.video.contrast");
        connect(m_source, "dovra.sl2.str.source.current.path");
        connect(m_hdr, HDR_TYPE);
        connect(m_format, VIDEO_FORMAT);
        connect(m_action, "dovra.sl2.action.source.switch");
    }
    ~Client() {
        for (const auto& [name, subscribed] : m_subscriptions)
            m_model.root()->disconnectValue(name, subscribed.first, subscribed.second);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    BizValue& value(const std::string& name) { return *m_subscriptions.at(name).second; }

    std::vector<std::string> received() {
        EXPECT_TRUE(m_model.settle());
        const std::lock_guard lock(m_mutex);
        return m_received;
    }

  private:
    template <typename Base>
    struct Follower : Base {
        explicit Follower(Client& owner) : client(owner) {}
        void notifyAvailability(bool available) override {
            client.record(name + (available ? " offered" : " withdrawn"));
        }
        Client& client;
        std::string name;
    };
    struct Numbers final : Follower<lomodelapi::ObserverNumericInteger> {
        using Follower::Follower;
        void notifyNewValue(int value) override { client.record(name + " = " + std::to_string(value)); }
    };
    struct Texts final : Follower<lomodelapi::ObserverString> {
        using Follower::Follower;
        void notifyNewValue(const std::string& value) override { client.record(name + " = " + value); }
    };
    struct Results final : Follower<lomodelapi::ObserverAction> {
        using Follower::Follower;
        void notifyResult(unsigned, const std::vector<lomodelapi::Argument>& result) override {
            client.record("result of " + std::to_string(result.size()));
        }
        void notifyExecutionError(unsigned, int error) override {
            client.record("error " + std::to_string(error));
        }
    };

    template <typename F>
    void connect(F& follower, const std::string& name) {
        follower.name = name;
        BizValue* value = nullptr;
        EXPECT_EQ(m_model.root()->connectValue(name, &follower, value), 0);
        m_subscriptions[name] = {&follower, value};
    }

    void record(const std::string& what) {
        const std::lock_guard lock(m_mutex);
        m_received.push_back(what);
    }

    simulated::Model& m_model;
    std::map<std::string, std::pair<lomodelapi::Observer*, BizValue*>> m_subscriptions;
    std::mutex m_mutex;
    std::vector<std::string> m_received;
    Numbers m_brightness{*this};
    Numbers m_contrast{*this};
    Texts m_source{*this};
    Texts m_hdr{*this};
    Texts m_format{*this};
    Results m_action{*this};
};

class ARecording : public AScenario {
  protected:
    // Performs operations of clients, users and tools.
    void performOperations(Client& client) {
        client.value(BRIGHTNESS).setInteger(52);
        client.value(BRIGHTNESS).setInteger(54);
        client.value(BRIGHTNESS).setInteger(101);  // refused
        model.set(SOURCE, std::string("HDMI1"));
        simulated::setFault(television, CONTRAST, "key.drop", 2);
        for (const int value : {51, 52, 53}) model.set(CONTRAST, value);
        simulated::setFault(television, BRIGHTNESS, "key.keep_value", 1);
        client.value(BRIGHTNESS).setInteger(70);  // the television announces the old value
        simulated::setFault(television, CONTRAST, "key.withdrawn", 1);
        unsigned id = 0;
        client.value(SWITCH_ACTION).invoke(id, {{0, 1, "8"}, {0, 3, "+1"}, {0, 5, "0"}, {0, 5, "1"}});
        client.value(SWITCH_ACTION).invoke(id, {{0, 1, "8"}, {0, 3, "nowhere"}});
        client.value(SWITCH_ACTION).invoke(id, {{0, 1, "11"}, {0, 3, "7"}});
        television.sourceSwitch().selectChannel("4");
        simulated::setFault(television, "", "notifications.hold", 1);
        television.sourceSwitch().setPlaying(false);
        television.suspend();
        television.resume();
        television.applications().notify(Lifecycle::RESUME_EX, "app://aipq", "a", 3);
        television.applications().notifyOne("aipq", Lifecycle::STR_SUSPENDING, "app://aipq", "", 3);
        clearFaults(television);
    }
};

TEST_F(ARecording, HasCausesWithoutTheirEffects) {
    AipqService service;
    Client client(model);
    const ScenarioRecorder recorder(television, "A day");
    performOperations(client);
    const Scenario recorded = recorder.scenario();
    EXPECT_EQ(recorded.title, "A day");
    EXPECT_EQ(recorded.video, "off");
    const std::string B = "\"dovra.sl2.i32.video.brightness\"";
    const std::string C = "\"dovra.sl2.i32.video.contrast\"";
    const std::string A = "invoke \"dovra.sl2.action.source.switch\", arguments ";
    EXPECT_THAT(actionsOf(causesOf(recorded)),
                testing::ElementsAreArray(std::vector<std::string>{
                    "set " + B + ", to 52",
                    "set " + B + ", to 54",
                    "set \"dovra.sl2.str.source.current.path\", to \"HDMI1\"",
                    "fault \"key.drop\", key " + C + ", to 2",
                    "set " + C + ", to 51",
                    "set " + C + ", to 52",
                    "set " + C + ", to 53",
                    "fault \"key.keep_value\", key " + B + ", to true",
                    "announce " + B,
                    "fault \"key.withdrawn\", key " + C + ", to true",
                    A + "[[1, \"8\"], [3, \"+1\"], [5, \"0\"], [5, \"1\"]]",
                    A + "[[1, \"8\"], [3, \"nowhere\"]]",
                    A + "[[1, \"11\"], [3, \"7\"]]",
                    "channel \"4\"",
                    "fault \"notifications.hold\", to true",
                    "playing false",
                    "power \"suspend\"",
                    "power \"resume\"",
                    "notify \"resume_ex\", url \"app://aipq\", text \"a\", number 3",
                    "notify \"str_suspending\", application \"aipq\", url \"app://aipq\", number 3",
                    "fault \"key.withdrawn\", key " + C + ", to false",
                    "fault \"key.keep_value\", key " + B + ", to false",
                    "fault \"notifications.hold\", to false",
                }));
}

TEST_F(ARecording, ReplaysTheSameSequence) {
    Scenario first;
    std::vector<std::string> firstReceived;
    std::vector<int> firstStates;
    {
        AipqService service;
        Client client(model);
        const ScenarioRecorder recorder(television);
        performOperations(client);
        first = recorder.scenario();
        firstReceived = client.received();
        firstStates = service.received();
    }
    EXPECT_THAT(firstReceived, SizeIs(15));
    EXPECT_THAT(firstStates, SizeIs(8));

    television.reset();
    AipqService service;
    Client client(model);
    const ScenarioRecorder recorder(television);
    expectFinished(formatScenario(first));
    const std::vector<Step> causes = causesOf(first);
    std::vector<Step> again = causesOf(recorder.scenario());
    // The steps before them restored the state at the beginning of the first recording.
    ASSERT_GE(again.size(), causes.size());
    again.erase(again.begin(), again.end() - static_cast<std::ptrdiff_t>(causes.size()));
    EXPECT_EQ(actionsOf(again), actionsOf(causes));
    for (std::size_t i = 0; i < causes.size(); ++i) {
        EXPECT_GE(*again[i].at, *causes[i].at);
        EXPECT_LT(*again[i].at, *causes[i].at + 20s);
    }
    EXPECT_EQ(client.received(), firstReceived);
    EXPECT_EQ(service.received(), firstStates);
}

// The state of a television that a user can observe.
struct TelevisionState {
    explicit TelevisionState(simulated::Television& television)
        : channel(television.sourceSwitch().channelNumber()),
          scene(television.video().programme()),
          playing(television.sourceSwitch().playing()),
          suspended(television.suspended()) {
        for (const simulated::KeyDefinition& key : television.model().keys())
            values[key.name] = describe(television.model().value(key.name));
        for (const simulated::SetFault& fault : simulated::activeFaults(television))
            faults.push_back(describe(fault));
    }
    bool operator==(const TelevisionState&) const = default;

    std::string channel;
    std::string scene;
    bool playing;
    bool suspended;
    std::map<std::string, std::string> values;
    std::vector<std::string> faults;
};

void PrintTo(const TelevisionState& state, std::ostream* out) {
    *out << "channel " << state.channel << ", scene '" << state.scene << "', playing " << state.playing
         << ", suspended " << state.suspended << '\n';
    for (const auto& [key, value] : state.values) *out << key << " = " << value << '\n';
    for (const std::string& fault : state.faults) *out << fault << '\n';
}

TEST_F(ARecording, ReachesTheRecordedFinalStateFromAnyState) {
    television.sourceSwitch().selectChannel("4");
    television.video().showProgramme("snow");
    television.sourceSwitch().setPlaying(false);
    model.set(BRIGHTNESS, 60);
    model.set(VIDEO_FORMAT, std::string("3840x2160p@60"));
    model.set(PQ_SETTING, std::vector<int>(27, 5));
    simulated::setFault(television, CONTRAST, "key.drop", 2);
    simulated::setFault(television, "", "notifications.delay", 70);
    for (const bool suspended : {false, true}) {
        if (suspended) television.suspend();
        const ScenarioRecorder recorder(television);
        model.set("dovra.sl2.i32.video.sharpness", 7);
        const std::string recorded = formatScenario(recorder.scenario());
        const TelevisionState there(television);

        television.reset();
        television.sourceSwitch().selectChannel("2");
        model.set(BRIGHTNESS, 10);
        model.set(CONTRAST, 11);
        simulated::setFault(television, CONTRAST, "key.repeat", 2);
        simulated::setFault(television, "", "notifications.hold", 1);
        television.suspend();
        expectFinished(recorded);
        EXPECT_EQ(TelevisionState(television), there);
        television.resume();
        EXPECT_EQ(valueOf<std::string>(VIDEO_FORMAT), "3840x2160p@60");
    }
}

TEST_F(ARecording, ReachesTheStateAfterARecordedReset) {
    television.sourceSwitch().selectChannel("3");
    television.sourceSwitch().setPlaying(false);
    model.set(BRIGHTNESS, 60);
    simulated::setFault(television, CONTRAST, "key.drop", 2);
    television.suspend();
    const ScenarioRecorder recorder(television);
    television.reset();
    const std::string recorded = formatScenario(recorder.scenario());
    const TelevisionState there(television);
    model.set(BRIGHTNESS, 10);
    expectFinished(recorded);
    EXPECT_EQ(TelevisionState(television), there);
}

TEST_F(ARecording, ReturnsItsTextWhileItGrows) {
    std::string text;
    const std::vector<simulated::KeyDefinition> keys = model.keys();
    const ScenarioRecorder recorder(television, "A day", [&](const std::string& part) {
        text += part;
        EXPECT_NO_THROW(parseScenario(text, "my.toml", keys));
    });
    EXPECT_THAT(text, StartsWith("title = \"A day\"\nvideo = \"off\"\n\n[[step]]\nclear_faults = true\n"));
    EXPECT_EQ(text, formatScenario(recorder.scenario()));
    model.set(BRIGHTNESS, 51);
    television.sourceSwitch().selectChannel("2");
    EXPECT_EQ(text, formatScenario(recorder.scenario()));
    EXPECT_THAT(text, EndsWith("channel = \"2\"\n"));
}

TEST_F(ARecording, ContinuesDuringConcurrentOperations) {
    const ScenarioRecorder recorder(television);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                model.set(BRIGHTNESS, 10 * t + i);
                television.sourceSwitch().selectChannel("+1");
                static_cast<void>(recorder.scenario());
            }
        });
    for (std::thread& thread : threads) thread.join();
    const Scenario recorded = recorder.scenario();
    const auto isChannel = [](const Step& step) {
        return std::holds_alternative<simulated::SelectChannel>(step.action);
    };
    const std::vector<Step> causes = causesOf(recorded);
    EXPECT_EQ(std::count_if(causes.begin(), causes.end(), isChannel), 200);
    EXPECT_TRUE(std::is_sorted(recorded.steps.begin(), recorded.steps.end(),
                               [](const Step& a, const Step& b) { return a.at < b.at; }));
    EXPECT_EQ(actionsOf(parse(formatScenario(recorded))), actionsOf(recorded));
}

}  // namespace
