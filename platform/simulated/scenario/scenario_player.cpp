#include "simulated/scenario_player.h"

#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "simulated/faults.h"

using std::chrono::milliseconds;

namespace simulated {

namespace {

using Clock = std::chrono::steady_clock;

// The reason why a scenario cannot continue.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Stopped {};

// Whether a condition waits for this event.
struct Matches {
    const Event& event;

    template <typename What>
    const What* as() const {
        return std::get_if<What>(&event.what);
    }

    bool operator()(const KeyReaches& wanted) const {
        const auto* const set = as<SetKey>();
        return set != nullptr && set->key == wanted.key && set->value == wanted.value;
    }
    bool operator()(const KeyChanges& wanted) const {
        const auto* const set = as<SetKey>();
        return set != nullptr && set->key == wanted.key;
    }
    bool operator()(const ClientSubscribes& wanted) const {
        const auto* const client = as<ClientConnected>();
        return client != nullptr && client->key == wanted.key;
    }
    bool operator()(const ApplicationRegisters& wanted) const {
        const auto* const registered = as<ApplicationRegistered>();
        return registered != nullptr && registered->application == wanted.application;
    }
    bool operator()(const ApplicationReports& wanted) const {
        const auto* const report = as<ApplicationReported>();
        return report != nullptr && report->status == wanted.status &&
               (wanted.application.empty() || report->application == wanted.application);
    }
    bool operator()(const FramesArrive&) const { return as<FrameDelivered>() != nullptr; }
    bool operator()(const ChannelChanges& wanted) const {
        const auto* const channel = as<SelectChannel>();
        return channel != nullptr && (wanted.number.empty() || channel->number == wanted.number);
    }
};

// Whether a condition already holds, without waiting for an event.
struct Holds {
    Television& television;

    template <typename AnyOther>
    bool operator()(const AnyOther&) const {
        return false;
    }
    bool operator()(const KeyReaches& wanted) const {
        return television.model().value(wanted.key) == wanted.value;
    }
    bool operator()(const ClientSubscribes& wanted) const {
        return television.model().subscribers(wanted.key) > 0;
    }
    bool operator()(const ApplicationRegisters& wanted) const {
        for (const std::string& name : television.applications().applications())
            if (name == wanted.application) return true;
        return false;
    }
    bool operator()(const ChannelChanges& wanted) const {
        return !wanted.number.empty() && television.sourceSwitch().channelNumber() == wanted.number;
    }
};

}  // namespace

class ScenarioPlayer::Implementation {
  public:
    Implementation(Television& television, Scenario scenario, Listener listener, double speed)
        : m_television(television),
          m_scenario(std::move(scenario)),
          m_listener(std::move(listener)),
          m_speed(speed),
          m_subscription(television.events(), [this](const Event& event) { hear(event); }),
          m_thread([this] { run(); }) {}

    ~Implementation() {
        stop();
        m_thread.join();
    }

    void stop() {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
        m_changed.notify_all();
    }

    Result wait() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_ended; });
        return *m_result;
    }

    std::optional<Result> result() const {
        const std::lock_guard lock(m_mutex);
        return m_result;
    }

  private:
    // Counts the events that a condition waits for.
    struct Watch {
        std::optional<Condition> condition;
        unsigned seen = 0;

        void hear(const Event& event) {
            if (condition && std::visit(Matches{event}, *condition)) ++seen;
        }
        bool sawEnough() const {
            const auto* const frames = condition ? std::get_if<FramesArrive>(&*condition) : nullptr;
            return seen >= (frames != nullptr ? frames->count : 1);
        }
    };

    void hear(const Event& event) {
        const std::lock_guard lock(m_mutex);
        m_next.hear(event);
        m_expected.hear(event);
        m_changed.notify_all();
    }

    void run() {
        Result result{Outcome::FINISHED, {}};
        m_line = 0;
        try {
            play();
        } catch (const Stopped&) {
            result.outcome = Outcome::STOPPED;
        } catch (const std::exception& error) {
            const std::string where = m_line != 0 ? ':' + std::to_string(m_line) : std::string();
            result = {Outcome::FAILED, m_scenario.name + where + ": " + error.what()};
        }
        {
            const std::lock_guard lock(m_mutex);
            m_result = result;
        }
        // A listener may play the next scenario as soon as it is notified of the end.
        if (m_listener.onEnd) m_listener.onEnd(result);
        const std::lock_guard lock(m_mutex);
        m_ended = true;
        m_changed.notify_all();
    }

    void play() {
        if (!m_scenario.video.empty()) {
            const Events::Consequences scope;
            showVideo(m_scenario.video);
        }
        m_start = Clock::now();
        for (std::size_t i = 0; i < m_scenario.steps.size(); ++i) {
            const Step& step = m_scenario.steps[i];
            m_line = step.line;
            if (i == 0) watch(m_next, step.after);
            if (step.at) sleepUntil(m_start + scaled(*step.at));
            if (step.after && !await(m_next, limit(step.after->within)))
                throw Failure(describe(step.after->condition) + " did not occur within " +
                              describe(step.after->within) + " s");
            sleepUntil(Clock::now() + scaled(step.wait));
            // Watched before the action: the action may cause the event that the next step waits for.
            watch(m_next, i + 1 < m_scenario.steps.size() ? m_scenario.steps[i + 1].after : std::nullopt);
            std::visit([this](const auto& action) { perform(action); }, step.action);
            report(step);
        }
    }

    void report(const Step& step) {
        if (!m_listener.onStep) return;
        const auto time = std::chrono::duration<double, std::milli>(Clock::now() - m_start) * m_speed;
        m_listener.onStep({step.line, std::chrono::duration_cast<milliseconds>(time), describe(step.action)});
    }

    Clock::duration scaled(milliseconds time) const {
        return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double, std::milli>(time) /
                                                           m_speed);
    }

    Clock::duration limit(milliseconds within) const {
        return m_scenario.scaleLimits ? scaled(within) : Clock::duration(within);
    }

    void watch(Watch& watch, const std::optional<After>& after) {
        const std::lock_guard lock(m_mutex);
        watch.condition = after ? std::optional(after->condition) : std::nullopt;
        watch.seen = 0;
    }

    void sleepUntil(Clock::time_point time) {
        std::unique_lock lock(m_mutex);
        if (m_changed.wait_until(lock, time, [this] { return m_stopping; })) throw Stopped();
    }

    bool await(Watch& watch, Clock::duration limit) {
        if (std::visit(Holds{m_television}, *watch.condition)) return true;
        std::unique_lock lock(m_mutex);
        const bool ended = m_changed.wait_for(lock, limit, [&] { return m_stopping || watch.sawEnough(); });
        if (m_stopping) throw Stopped();
        return ended;
    }

    void showVideo(const std::string& video) {
        if (!m_television.showVideo(video)) throw Failure("no picture: " + m_television.video().error());
    }

    void perform(const SetKey& set) { m_television.model().set(set.key, set.value); }
    void perform(const Announce& announce) { m_television.model().announce(announce.key); }
    void perform(const Invoke& invoke) {
        const int status = m_television.model().invoke(invoke.key, invoke.arguments);
        if (status != 0)
            throw Failure("the television refused the action with status " + std::to_string(status));
    }
    void perform(const SelectChannel& select) {
        if (!m_television.sourceSwitch().selectChannel(select.number))
            throw Failure("the television has no channel " + select.number);
    }
    void perform(const SetPlaying& set) { m_television.sourceSwitch().setPlaying(set.playing); }
    void perform(const ShowVideo& show) { showVideo(show.video); }
    void perform(const ShowScene& show) { m_television.video().showProgramme(show.scene); }
    void perform(const Notify& notify) {
        ApplicationManager& manager = m_television.applications();
        if (notify.application.empty()) {
            manager.notify(notify.notification, notify.url, notify.text, notify.number);
        } else {
            manager.notifyOne(notify.application, notify.notification, notify.url, notify.text,
                              notify.number);
        }
    }
    void perform(const SetPower& set) {
        if (set.suspended) {
            m_television.suspend();
        } else {
            m_television.resume();
        }
    }
    void perform(const SetFault& set) { setFault(m_television, set.key, set.fault, set.value); }
    void perform(const ClearFaults&) { clearFaults(m_television); }
    void perform(const Expect& expect) {
        watch(m_expected, After{KeyReaches{expect.key, expect.value}, expect.within});
        const bool reached = await(m_expected, limit(expect.within));
        watch(m_expected, std::nullopt);
        if (reached) return;
        const std::string within =
            expect.within.count() != 0 ? " within " + describe(expect.within) + " s" : std::string();
        throw Failure("expected " + expect.key + " to be " + describe(expect.value) + within +
                      ", but it is " + describe(m_television.model().value(expect.key)));
    }

    Television& m_television;
    const Scenario m_scenario;
    const Listener m_listener;
    const double m_speed;
    Clock::time_point m_start;  // used on the player's thread only, like m_line
    std::size_t m_line = 0;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_stopping = false;
    std::optional<Result> m_result;
    bool m_ended = false;  // the last call of the listener has returned
    Watch m_next;          // the condition of the next step
    Watch m_expected;      // the condition that this step expects

    Events::Subscription m_subscription;
    std::thread m_thread;  // last: it uses all of the above
};

ScenarioPlayer::ScenarioPlayer(Television& television, Scenario scenario, Listener listener, double speed) {
    if (!(speed >= LOWEST_SPEED && speed <= HIGHEST_SPEED))
        throw std::invalid_argument("the speed is from 0.001 to 1000000");
    m_implementation =
        std::make_unique<Implementation>(television, std::move(scenario), std::move(listener), speed);
}

ScenarioPlayer::~ScenarioPlayer() = default;

void ScenarioPlayer::stop() { m_implementation->stop(); }

ScenarioPlayer::Result ScenarioPlayer::wait() { return m_implementation->wait(); }

std::optional<ScenarioPlayer::Result> ScenarioPlayer::result() const { return m_implementation->result(); }

}  // namespace simulated
