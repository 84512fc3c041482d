#include "change.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "bell.h"
#include "failure.h"
#include "key_access.h"
#include "television_presence.h"

namespace aipqctl {

namespace {

// The interval of additional reads: a notification may be lost.
constexpr std::chrono::seconds LOOK_PERIOD{1};
// After this time, a step that was in progress when the notifications stopped has taken effect.
constexpr std::chrono::milliseconds LAST_STEP{200};
// A setting with steps that has not moved for this time is set again. The library's worker misses a
// notification that arrives before it waits, and would then wait for a minute. The worker of the second set
// takes the next step.
constexpr std::chrono::seconds SECOND_SET{3};

// A change of one setting or key.
struct Change {
    Named named;
    Value before;
    Value wanted;

    // For a setting that moves gradually.
    std::vector<int> steps = {};
    int current = 0;
    bool arrived = false;
    bool setAgain = false;  // at the current value
    Clock::time_point lastMove = {};
    double seconds = 0;
    std::unique_ptr<KeyAccess> follower = {};

    int target() const { return std::get<int>(wanted); }

    void moveTo(int value) {
        if (value != current) {
            lastMove = Clock::now();
            setAgain = false;
        }
        current = value;
        arrived = current == target();
    }
};

// Passes the television's announcements from the model's thread to the thread that displays them.
class Announcements {
  public:
    struct Step {
        Change* change;
        int value;
    };

    void push(Step step) {
        // The library's workers take no further step without a notification.
        while (m_stopped) std::this_thread::sleep_for(LAST_STEP);
        {
            const std::lock_guard lock(m_mutex);
            m_steps.push_back(step);
        }
        Bell::ring();
    }

    std::optional<Step> next() {
        const std::lock_guard lock(m_mutex);
        if (m_steps.empty()) return {};
        const Step step = m_steps.front();
        m_steps.pop_front();
        return step;
    }

    // Blocks the model's thread at the next notification, for ever.
    void stop() { m_stopped = true; }

  private:
    std::atomic<bool> m_stopped{false};
    std::mutex m_mutex;
    std::deque<Step> m_steps;
};

// Displays the progress of a setting: a bar on a terminal, otherwise a line for each step.
class Progress {
  public:
    explicit Progress(bool asBar) : m_asBar(asBar) {}

    void show(const Change& change) {
        const std::string& name = change.named.name;
        if (!m_asBar) return printLine(name + ' ' + std::to_string(change.current));
        constexpr int width = 30;
        const int from = std::get<int>(change.before);
        const int done = std::clamp(width * (change.current - from) / (change.target() - from), 0, width);
        const auto cells = [](int count, char cell) {
            return std::string(static_cast<std::size_t>(count), cell);
        };
        print("\r" + name + ' ' + std::to_string(from) + " [" + cells(done, '#') + cells(width - done, '-') +
              "] " + std::to_string(change.target()) + "  now " + std::to_string(change.current) + "\033[K");
        m_open = true;
    }

    void end() {
        if (m_open) print("\r\033[K");
        m_open = false;
    }

  private:
    const bool m_asBar;
    bool m_open = false;
};

// True for "+5", and for "-5" if the value cannot be negative.
bool isRelative(const Assignment& assignment, const KeyDefinition& key) {
    if (assignment.sign != 0) return true;
    if (assignment.texts.size() != 1 || assignment.texts.front().size() < 2) return false;
    const char first = assignment.texts.front().front();
    const bool hasNegative = !key.range || key.range->lowest < 0;
    return first == '+' || (first == '-' && !hasNegative);
}

Value wantedValue(const Assignment& assignment, const Named& named, const Value& before) {
    const KeyDefinition& key = *named.key;
    const bool isNumber = std::holds_alternative<int>(before) || std::holds_alternative<long long>(before);
    if (!isNumber || !isRelative(assignment, key)) {
        if (named.setting != nullptr && assignment.texts.size() == 1 && assignment.sign == 0) {
            const std::string& word = assignment.texts.front();
            if (const std::optional<int> menu = menuValue(*named.setting, word)) return *menu;
            const std::string hint = suggestion(word, menuNames(*named.setting));
            if (!hint.empty())
                throw Failure(EXIT_WRONG_TYPE, named.name + " has no value '" + word + "'" + hint);
        }
        return parseValue(named.name, key, assignment.texts);
    }
    // The range applies to the sum, not to the difference.
    KeyDefinition anyNumber = key;
    anyNumber.range.reset();
    std::string text = assignment.texts.size() == 1 ? assignment.texts.front() : "";
    if (text.starts_with('+')) text.erase(0, 1);
    const auto toNumber = [](const Value& value) {
        return std::holds_alternative<int>(value) ? std::get<int>(value) : std::get<long long>(value);
    };
    const long long difference = toNumber(parseValue(named.name, anyNumber, {text}));
    long long sum = 0;
    if (__builtin_add_overflow(toNumber(before), assignment.sign < 0 ? -difference : difference, &sum))
        throw Failure(EXIT_OUT_OF_RANGE, named.name + " does not accept such a large number");
    return parseValue(named.name, key, {std::to_string(sum)});
}

// Sets the parts of the colour tuner together, because the library sets all four at once.
void start(const std::vector<Change*>& moving) {
    std::optional<std::vector<int>> tuner;
    for (const Change* const change : moving) {
        const Setting& setting = *change->named.setting;
        if (setting.set == nullptr) {
            if (!tuner) tuner = readTuner();
            tuner->at(static_cast<std::size_t>(&setting - &SETTINGS[TUNER])) = change->target();
        }
    }
    const Setting& mode = SETTINGS[TUNER];
    for (const Change* const change : moving) {
        const Setting& setting = *change->named.setting;
        if (setting.set == nullptr) continue;
        if (tuner && &setting == &mode) {
            tuner->front() = change->target();
        } else if ((systemSetting().*setting.set)(change->target()) != 0) {
            requireSameTelevision();
            throw Failure(EXIT_REFUSED,
                          change->named.name + " cannot be changed: -v shows the platform's log");
        }
    }
    if (tuner) writeTuner(*tuner);
}

void requireMoving(const Change& change, double timeout) {
    if (Clock::now() - change.lastMove <= std::chrono::duration<double>(timeout)) return;
    throw Failure(EXIT_REFUSED, change.named.name + " is at " + std::to_string(change.current) +
                                    " and does not move on to " + std::to_string(change.target()) +
                                    ": the television refuses it, or has not announced a step");
}

bool isStuck(const Change& change) {
    return !change.arrived && !change.setAgain && change.named.setting->step > 0 &&
           Clock::now() - change.lastMove > SECOND_SET;
}

// Returns true when all settings have arrived, false after Ctrl-C.
bool follow(const std::vector<Change*>& moving, Announcements& announcements, const ChangeOptions& options,
            Progress& progress) {
    Bell bell;
    const auto begin = Clock::now();
    for (Change* const change : moving) change->lastMove = begin;
    start(moving);
    const auto isMoving = [](const Change* change) { return !change->arrived; };
    while (std::any_of(moving.begin(), moving.end(), isMoving)) {
        const bool rang = bell.waitUntil(Clock::now() + LOOK_PERIOD);
        while (const std::optional<Announcements::Step> step = announcements.next()) {
            Change& change = *step->change;
            if (change.arrived) continue;
            change.steps.push_back(step->value);
            change.moveTo(step->value);
            if (options.wait && !options.json) progress.show(change);
        }
        for (Change* const change : moving) {
            if (change->arrived) continue;
            if (!rang) change->moveTo(readSetting(*change->named.setting));
        }
        if (bell.interrupted() && std::any_of(moving.begin(), moving.end(), isMoving)) return false;
        for (Change* const change : moving) {
            if (!change->arrived) requireMoving(*change, options.timeout);
            if (isStuck(*change)) {
                change->setAgain = true;
                start({change});
            }
            if (change->arrived && change->seconds == 0)
                change->seconds = std::chrono::duration<double>(Clock::now() - begin).count();
        }
    }
    return true;
}

// Prints how far the settings have got and ends the program at once. If the model's thread continued, the
// library's workers would run during the destruction of static objects.
[[noreturn]] void endInterrupted(const std::vector<Change*>& moving, Announcements& announcements) {
    announcements.stop();
    std::this_thread::sleep_for(LAST_STEP);
    std::string text;
    for (const Change* const change : moving)
        if (!change->arrived)
            text += (text.empty() ? "" : "; ") + change->named.name + " is at " +
                    std::to_string(readSetting(*change->named.setting)) + ": stopped on its way to " +
                    std::to_string(change->target());
    complain(text);
    std::fflush(nullptr);
    std::_Exit(EXIT_CUT_SHORT);
}

void moveSettings(std::vector<Change>& changes, const ChangeOptions& options) {
    std::vector<Change*> moving;
    for (Change& change : changes) {
        if (change.named.setting == nullptr) continue;
        change.current = std::get<int>(change.before);
        change.arrived = change.before == change.wanted;
        if (!change.arrived) moving.push_back(&change);
    }
    if (moving.empty()) return;

    // Never destroyed: the followers still call it.
    static Announcements& announcements = *new Announcements;
    for (Change* const change : moving)
        change->follower = std::make_unique<KeyAccess>(
            change->named.key->name, lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER, [change](const Value& value) {
                announcements.push({change, std::get<int>(value)});
            });
    Progress progress(isTerminal() && moving.size() == 1);
    try {
        const bool arrived = follow(moving, announcements, options, progress);
        progress.end();
        if (!arrived) endInterrupted(moving, announcements);
    } catch (...) {
        progress.end();
        throw;
    }
    for (Change* const change : moving) change->follower.reset();
}

void writeKey(const Change& change) {
    KeyAccess access(change.named.key->name, change.named.key->type);
    access.write(change.wanted);
    if (!reads(access, change.wanted))
        throw Failure(EXIT_REFUSED, change.named.name + " stays at " + toText(access.read()) +
                                        ": the television does not accept " + toText(change.wanted));
}

void report(const Change& change, const ChangeOptions& options) {
    const bool isSetting = change.named.setting != nullptr;
    if (options.wait && isSetting) {
        if (const int now = readSetting(*change.named.setting); now != change.target())
            throw Failure(EXIT_REFUSED, change.named.name + " reads " + std::to_string(now) +
                                            " after it has been set to " + toText(change.wanted) +
                                            ": something else changes it, too");
    }
    if (options.json)
        return printJson({{"name", change.named.name},
                          {"key", change.named.key->name},
                          {"before", toJson(change.before)},
                          {"value", toJson(change.wanted)},
                          {"steps", change.steps},
                          {"confirmed", options.wait || !isSetting},
                          {"seconds", change.seconds}});
    std::array<char, 64> confirmation{};
    if (options.wait && isSetting)
        std::snprintf(confirmation.data(), confirmation.size(), ", confirmed after %.1f s", change.seconds);
    printLine(change.named.name + ' ' + toText(change.before) + " -> " + toText(change.wanted) +
              confirmation.data());
}

}  // namespace

Named check(const Assignment& assignment) {
    const Named named = findNamed(assignment.name);
    if (!isRelative(assignment, *named.key)) wantedValue(assignment, named, named.key->initial);
    return named;
}

void change(const std::vector<Assignment>& assignments, const ChangeOptions& options) {
    std::vector<Named> names;
    for (const Assignment& assignment : assignments) {
        names.push_back(check(assignment));
        const Named& named = names.back();
        for (const Named& other : names)
            if (&other != &named && other.key == named.key)
                throw Failure(EXIT_WRONG_USE, "'" + other.name + "' and '" + named.name + "' are the same");
    }
    std::vector<Change> changes;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const Value before = readNamed(names[i]);
        changes.push_back({names[i], before, wantedValue(assignments[i], names[i], before)});
    }
    moveSettings(changes, options);
    for (const Change& change : changes) {
        if (change.named.setting == nullptr) writeKey(change);
        report(change, options);
    }
}

}  // namespace aipqctl
