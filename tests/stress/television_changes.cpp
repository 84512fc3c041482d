// The random changes, failures and recoveries of the television.
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "round.h"
#include "simulated/faults.h"

using namespace lomodelapi;
using namespace tests::keys;
using simulated::KeyFaults;
using simulated::Lifecycle;

namespace stress {

namespace {

const Texts SWITCH_KEYS{"dovra.sl2.i32.video.ai.pq.switch", "dovra.sl2.i32.video.aipq.user.switch.osd",
                        "dovra.sl2.i32.video.ai.pq.available", "dovra.sl2.mpctrl.i32.media.stream.encrypted"};

}  // namespace

void Round::defineKeys() {
    m_model.define({"", WIDE, OBJECT_TYPE_NUMERIC_INT64, 5LL, {}, ""});
    m_model.define({"", CHANGING, OBJECT_TYPE_NUMERIC_INTEGER, 5, {}, ""});
    m_model.define({"", OWN, OBJECT_TYPE_NUMERIC_INTEGER, 5, {}, ""});
    m_model.define({"", ACTION, OBJECT_TYPE_ACTION, {}, {}, ""});
    m_model.setAction(ACTION, [](const std::vector<Argument>& arguments) {
        return arguments.size() % 3 == 0 ? simulated::Answer{44, {}}
                                         : simulated::Answer{0, {{0, 1, "b"}, {0, 300, "x"}, {0, 0, "a"}}};
    });
}

// Performs one random operation of the television.
void Round::misbehave(Random& random) {
    simulated::ApplicationManager& manager = m_television.applications();
    const Texts failing{BRIGHTNESS, SOURCE, PQ_SETTING, PLAY_ATTRIBUTES, CHANNELS, WIDE, HDR_TYPE, ACTION};
    switch (random.below(22)) {
        case 0:
        case 1:
            m_model.set(random.of(SETTING_KEYS), random.below(8));
            break;
        case 2:
        case 3:
        case 4:
            m_model.announce(random.of(SETTING_KEYS));
            break;
        case 5:
            m_model.set(random.of(SWITCH_KEYS), random.below(2));
            break;
        case 6:
            m_model.set(SOURCE, random.of(Texts{"TV", "HDMI1", "NETFLIX", ""}));
            m_model.set("dovra.sl2.str.video.format.info", random.of(Texts{"", "1920x1080p@50"}));
            break;
        case 7:
            m_model.set(HDR_TYPE, random.of(Texts{"sdr", "hdr_10", "hdr_hlg"}));
            m_model.set("dovra.sl2.i32.video.enum.instant.game.response", random.below(3));
            break;
        case 8:
            m_model.set(PLAY_ATTRIBUTES,
                        Texts(static_cast<std::size_t>(random.below(12)), random.oneIn(2) ? "1" : "x"));
            m_model.set(WIDE, static_cast<long long>(random.below(1000)));
            break;
        case 9:
            m_model.setRows(CHANNELS,
                            random.oneIn(2) ? m_model.rows(CHANNELS) : simulated::Rows{{"1", "One"}, {"2"}});
            break;
        case 10:
            m_television.sourceSwitch().selectChannel(random.of(Texts{"+1", "-1", "2", "99"}));
            break;
        case 11:
            m_television.sourceSwitch().setPlaying(random.oneIn(2));
            break;
        case 12:
            manager.notify(static_cast<Lifecycle>(random.below(static_cast<int>(Lifecycle::KEY_EVENT) + 1)),
                           "url");
            break;
        case 13:
            random.oneIn(2) ? m_television.suspend() : m_television.resume();
            break;
        case 14: {
            const std::string& key = random.of(failing);
            m_model.changeFaults(key, [&](KeyFaults& faults) {
                faults.connectStatus = random.oneIn(4) ? 9 : 0;
                faults.connectYieldsNothing = random.oneIn(8);
                faults.readStatus = random.oneIn(4) ? 9 : 0;
                faults.refuseWrites = random.oneIn(4);
                faults.keepValue = random.oneIn(4);
                faults.dropNotifications = random.oneIn(4) ? 2U : 0U;
                faults.repeatNotifications = random.oneIn(4) ? 1U : 0U;
                faults.notificationDelay = std::chrono::milliseconds(random.below(4));
                faults.answerDelay = std::chrono::milliseconds(random.oneIn(4) ? 1 : 0);
                faults.invokeStatus = random.oneIn(4) ? 9 : 0;
                faults.neverAnswer = random.oneIn(4);
                faults.repeatAnswers = random.oneIn(4) ? 1U : 0U;
            });
            break;
        }
        case 15:
            m_model.setFaults(random.of(failing), KeyFaults());
            break;
        case 16:
            // No fault may lose an answer: the callers wait for it without a limit.
            m_model.changeFaults(SWITCH_ACTION, [&](KeyFaults& faults) {
                faults.invokeStatus = random.oneIn(4) ? 9 : 0;
                faults.repeatAnswers = random.oneIn(2) ? 1U : 0U;
                faults.repeatNotifications = random.oneIn(4) ? 1U : 0U;
            });
            break;
        case 17:
            m_model.setNotificationDelay(std::chrono::milliseconds(random.below(5)));
            break;
        case 18:
            m_model.holdNotifications();
            std::this_thread::sleep_for(std::chrono::milliseconds(random.below(5)));
            m_model.releaseNotifications(random.oneIn(2) ? simulated::Order::REVERSED
                                                         : simulated::Order::AS_THEY_CAME);
            break;
        case 19: {
            const std::string& key = random.of(failing);
            m_model.withdraw(key);
            std::this_thread::sleep_for(std::chrono::milliseconds(random.below(3)));
            m_model.offer(key);
            break;
        }
        case 20:
            if (random.oneIn(2)) {
                m_model.define({"", CHANGING, OBJECT_TYPE_STRING, std::string("text"), {}, ""});
            } else {
                m_model.define({"", CHANGING, OBJECT_TYPE_NUMERIC_INTEGER, random.below(8), {}, ""});
            }
            break;
        default:
            m_television.threads().fail(random.oneIn(4) ? 1U : 0U);
            manager.refuseRegistrations(random.oneIn(8) ? 5 : 0);
            manager.setReachable(!random.oneIn(8));
            m_television.debugOutput().setVerbosity(
                static_cast<simulated::DebugOutput::Verbosity>(random.below(4)));
            break;
    }
}

}  // namespace stress
