// The fixture of tests that play scenarios of the simulated television.
#ifndef TESTS_SCENARIO_FIXTURE_H
#define TESTS_SCENARIO_FIXTURE_H

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <variant>
#include <vector>

#include "platform_adaptation/system_state.h"
#include "simulated/scenario.h"
#include "simulated/scenario_player.h"
#include "television_test.h"

namespace tests {

using simulated::Scenario;
using simulated::ScenarioPlayer;
using Outcome = ScenarioPlayer::Outcome;

inline std::string step(const std::string& lines) { return "[[step]]\n" + lines; }

inline const std::string SET = "set = \"dovra.sl2.i32.video.brightness\"\n";
inline const std::string SET_60 = SET + "to = 60\n";

class AScenario : public TelevisionTest {
  protected:
    static Scenario parse(const std::string& text) { return simulated::parseScenario(text, "my.toml"); }

    // Plays a scenario to its end.
    ScenarioPlayer::Result play(const std::string& text, double speed = 1) {
        ScenarioPlayer player(television, parse(text), {{}, {}}, speed);
        return player.wait();
    }

    void expectFinished(const std::string& text, double speed = 1) {
        const ScenarioPlayer::Result result = play(text, speed);
        EXPECT_EQ(result.outcome, Outcome::FINISHED) << result.text;
    }

    void expectFailed(const std::string& text, const std::string& why, double speed = 1) {
        const ScenarioPlayer::Result result = play(text, speed);
        EXPECT_EQ(result.outcome, Outcome::FAILED);
        EXPECT_EQ(result.text, why);
    }

    template <typename T>
    T valueOf(const std::string& key) const {
        return std::get<T>(model.value(key));
    }
};

inline std::vector<std::string> actionsOf(const std::vector<simulated::Step>& steps) {
    std::vector<std::string> actions;
    for (const simulated::Step& step : steps) actions.push_back(simulated::describe(step.action));
    return actions;
}

inline std::vector<std::string> actionsOf(const Scenario& scenario) { return actionsOf(scenario.steps); }

// The application "aipq", which records the power states that it receives.
class AipqService {
  public:
    AipqService() { state.registerCallBackTVPowerState(&onState, this); }

    std::vector<int> received() {
        EXPECT_TRUE(simulated::Television::instance().applications().settle());
        const std::lock_guard lock(m_mutex);
        return m_received;
    }

  private:
    static void onState(TVPowerState value, void* self) {
        AipqService& service = *static_cast<AipqService*>(self);
        const std::lock_guard lock(service.m_mutex);
        service.m_received.push_back(value);
    }

    std::mutex m_mutex;
    std::vector<int> m_received;

  public:
    SystemState state{"aipq"};  // declared last and destroyed first: no callback arrives after that
};

}  // namespace tests

#endif
