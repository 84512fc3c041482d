#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

#include "bell.h"
#include "command.h"
#include "failure.h"
#include "key_access.h"
#include "settings.h"
#include "validators.h"

namespace aipqctl {

namespace {

// The value is also looked at this often: an announcement may be lost.
constexpr std::chrono::seconds LOOK_PERIOD{1};

// The library's workers wait for a minute.
constexpr double TIMEOUT_SECONDS = 62;

struct Wish {
    std::string name;
    std::string value;
    bool wait = false;
    double timeout = TIMEOUT_SECONDS;
};

// What the television announces while a setting moves, from the model's thread to the one that shows it.
class Announcements {
  public:
    void push(int value) {
        {
            const std::lock_guard lock(m_mutex);
            m_values.push_back(value);
        }
        Bell::ring();
    }

    std::optional<int> next() {
        const std::lock_guard lock(m_mutex);
        if (m_values.empty()) return {};
        const int value = m_values.front();
        m_values.pop_front();
        return value;
    }

  private:
    std::mutex m_mutex;
    std::deque<int> m_values;
};

// How far the setting has got: a bar on a terminal, a line for each step elsewhere.
class Progress {
  public:
    Progress(const Setting& setting, int from, int to) : m_setting(setting), m_from(from), m_to(to) {}

    void show(int value) {
        if (!isTerminal()) return printLine(std::string(m_setting.name) + ' ' + std::to_string(value));
        constexpr int width = 30;
        const int way = m_to - m_from;
        const int done = std::clamp(width * (value - m_from) / way, 0, width);
        const auto cells = [](int count, char cell) {
            return std::string(static_cast<std::size_t>(count), cell);
        };
        print("\r" + std::string(m_setting.name) + ' ' + std::to_string(m_from) + " [" + cells(done, '#') +
              cells(width - done, '-') + "] " + std::to_string(m_to) + "  now " + std::to_string(value) +
              "\033[K");
        m_open = true;
    }

    void end() {
        if (m_open) print("\r\033[K");
        m_open = false;
    }

  private:
    const Setting& m_setting;
    const int m_from;
    const int m_to;
    bool m_open = false;
};

void start(const Setting& setting, int target) {
    if (setting.set == nullptr) {
        std::vector<int> tuner = readTuner();
        tuner[static_cast<std::size_t>(&setting - &SETTINGS[TUNER])] = target;
        writeTuner(tuner);
    } else if ((systemSetting().*setting.set)(target) != 0) {
        throw Failure(EXIT_REFUSED,
                      std::string(setting.name) + " cannot be changed: -v shows the platform's log");
    }
}

// Waits in every case until the television has arrived: the library changes the setting on a thread that ends
// with this program.
void set(const Wish& wish, bool json) {
    const Setting& setting = aipqctl::setting(wish.name);
    const int target = parseInteger(wish.name, definition(setting), wish.value);

    Bell bell;
    Announcements announcements;
    KeyAccess follower(setting.key, lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER,
                       [&](const Value& value) { announcements.push(std::get<int>(value)); });
    const int before = readSetting(setting);
    Progress progress(setting, before, target);
    std::vector<int> steps;
    const auto begin = Clock::now();
    auto lastMove = begin;
    int current = before;
    const auto arrivedAt = [&](int value) {
        if (value != current) lastMove = Clock::now();
        current = value;
        return current == target;
    };

    if (before != target) start(setting, target);
    bool arrived = before == target;
    while (!arrived) {
        const bool rang = bell.waitUntil(Clock::now() + LOOK_PERIOD);
        while (const std::optional<int> value = announcements.next()) {
            steps.push_back(*value);
            if (wish.wait && !json) progress.show(*value);
            arrived = arrivedAt(*value);
        }
        if (!arrived && !rang) arrived = arrivedAt(readSetting(setting));
        if (arrived) break;
        const std::string now = wish.name + " is at " + std::to_string(current);
        if (bell.interrupted()) {
            progress.end();
            throw Failure(EXIT_CUT_SHORT, now + ": stopped on its way to " + std::to_string(target));
        }
        if (Clock::now() - lastMove > std::chrono::duration<double>(wish.timeout)) {
            progress.end();
            throw Failure(EXIT_REFUSED, now + " and does not move on to " + std::to_string(target) +
                                            ": the television refuses it, or has not announced a step");
        }
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    progress.end();

    if (wish.wait) {
        if (const int now = readSetting(setting); now != target)
            throw Failure(EXIT_REFUSED, wish.name + " reads " + std::to_string(now) +
                                            " after it has been set to " + std::to_string(target) +
                                            ": something else changes it, too");
    }
    if (json)
        return printJson({{"name", wish.name},
                          {"key", setting.key},
                          {"before", before},
                          {"value", target},
                          {"steps", steps},
                          {"confirmed", wish.wait},
                          {"seconds", seconds}});
    std::array<char, 64> confirmation{};
    if (wish.wait)
        std::snprintf(confirmation.data(), confirmation.size(), ", confirmed after %.1f s", seconds);
    printLine(wish.name + ' ' + std::to_string(before) + " -> " + std::to_string(target) +
              confirmation.data());
}

}  // namespace

void addSetCommand(CLI::App& app, Context& context) {
    CLI::App& command =
        *app.add_subcommand("set", "Change a picture setting, step by step as the library does");
    const auto wish = std::make_shared<Wish>();
    command.add_option("SETTING", wish->name, "which one")->type_name("")->required();
    command.add_option("VALUE", wish->value, "what to")->type_name("")->required();
    command.add_flag("--wait", wish->wait, "show the way there, and confirm by reading back");
    command
        .add_option("--timeout", wish->timeout, "give up when it has not moved for so long; 62 unless given")
        ->type_name("SECONDS")
        ->check(isDuration());
    command.callback([wish, &context] { set(*wish, context.json); });
}

}  // namespace aipqctl
