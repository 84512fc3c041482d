// One round of the stress test: its objects, its operations and its threads.
#ifndef TESTS_STRESS_ROUND_H
#define TESTS_STRESS_ROUND_H

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "keys.h"
#include "platform_adaptation/picture_capture.h"
#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "platform_adaptation/system_state.h"
#include "recorders.h"
#include "simulated/television.h"

namespace stress {

using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;

constexpr unsigned WORKERS = 4;

constexpr char WIDE[] = "test.stress.wide";
constexpr char CHANGING[] = "test.stress.changing";  // its type changes
constexpr char OWN[] = "test.stress.own";            // has no faults
constexpr char ACTION[] = "test.stress.action";

inline const Texts SETTING_KEYS{
    "dovra.sl2.i32.video.brightness",       "dovra.sl2.i32.video.contrast",
    "dovra.sl2.i32.video.colour.intensity", "dovra.sl2.i32.video.sharpness",
    "dovra.sl2.i32.video.enum.memc",        "dovra.sl2.i32.video.enum.dnc",
    "dovra.sl2.i32.video.color.tuner",      "dovra.sl2.i32.video.color.tuner.luma",
    "dovra.sl2.i32.video.color.tuner.sat",  "dovra.sl2.i32.video.color.tuner.hue"};

class Random {
  public:
    Random(unsigned seed, unsigned thread) : m_engine(seed * 2654435761U + thread * 40503U + 1) {}
    // Returns a number from 0 to limit - 1; the sequence is the same on every machine.
    int below(int limit) { return static_cast<int>(m_engine() / 128 % static_cast<unsigned>(limit)); }
    bool oneIn(int chances) { return below(chances) == 0; }
    // Returns a generator for one operation. Operations use varying numbers of random values, which must not
    // change the thread's sequence.
    Random another() { return {static_cast<unsigned>(m_engine()), 0}; }
    template <typename Container>
    const auto& of(const Container& choices) {
        return choices[static_cast<std::size_t>(below(static_cast<int>(choices.size())))];
    }

  private:
    std::minstd_rand m_engine;
};

// The callback threads for which an operation may wait. To avoid a deadlock, each round orders these threads,
// and a callback may wait only for threads that precede its own in that order. TO_LEAVE_...: unsubscribing or
// unregistering waits until that thread has left its callback, unless it is called on that thread.
enum Waits : unsigned {
    FOR_NOBODY = 0,
    FOR_MODEL = 1,
    FOR_MANAGER = 2,
    FOR_CHECKING = 4,
    FOR_ALL = 7,
    TO_LEAVE_MODEL = FOR_MODEL << 3,
    TO_LEAVE_MANAGER = FOR_MANAGER << 3,
};

enum Callback {
    ON_AIPQ,
    ON_SOURCE,
    ON_PLAYER,
    ON_ENCRYPTION,
    ON_HDR,
    ON_GAME,
    ON_VALUE,
    ON_RESULT,
    ON_FAILURE,
    ON_ITERATOR,
    ON_POWER,
    ON_FRAME,
    CALLBACKS
};
constexpr std::array<const char*, CALLBACKS> CALLBACK_NAMES{
    "the AIPQ callback",   "the source callback",    "the player callback", "the encryption callback",
    "the HDR callback",    "the game mode callback", "a value handler",     "an action's result",
    "an action's failure", "an iterator's handler",  "the power callback",  "the capture callback"};

struct Operation {
    std::string name;
    unsigned waits;
    bool isSlow;
    std::function<void(Random&)> run;
};

// Every callback calls it. Sometimes it performs an operation: on a thread of the platform, only one that
// this thread may wait for; on a worker thread, which called the observer itself, any operation. A nested
// callback performs none.
void inside(Callback callback, unsigned thread);

// Handlers of the client. Each of them performs an operation itself.

class Values final : public ValueHandler {
  public:
    void onNewValue(const ValueObject& value) override {
        EXPECT_FALSE(silent) << "called after disconnect() had returned";
        EXPECT_LE(value.convertToStringType().size(), 10000U);
        inside(ON_VALUE, FOR_MODEL);
    }
    std::atomic<bool> silent{false};
};

class Results final : public ActionHandler {
  public:
    void onActionResult(int, const ValueObject&) override { inside(ON_RESULT, FOR_MODEL); }
    void onActionFailed(int, int) override { inside(ON_FAILURE, FOR_MODEL); }
};

template <Callback kind, typename... Arguments>
void called(Arguments..., void*) {
    inside(kind, kind == ON_POWER ? FOR_MANAGER : FOR_MODEL);
}

inline void frame(bool success, korvale::ai::PictureData* picture, void*) {
    EXPECT_EQ(success, picture->data != nullptr);
    inside(ON_FRAME, FOR_CHECKING);
}

// The objects and operations of one seed.
class Round {
  public:
    explicit Round(unsigned roundSeed);

    void run();
    void callBack(Callback callback, unsigned thread, Random& random);

    const unsigned seed;
    // The counts of all rounds.
    static inline std::map<std::string, unsigned> done;
    static inline std::array<std::atomic<unsigned>, CALLBACKS> doneInside{};

  private:
    void defineKeys();
    void addOperations();
    void addInfo();
    void addSettings();
    void addValues();
    void addModel();
    void addSourceSwitch();
    void addCapture();
    void addState();
    void addPlain();
    void work(unsigned worker);
    void misbehave(Random& random);
    void wakeAll();
    void finish();

    void add(const std::string& name, std::function<void(Random&)> run, unsigned waits = FOR_NOBODY,
             bool isSlow = false) {
        m_operations.push_back({name, waits, isSlow, std::move(run)});
    }

    // The statuses that an accessor may return while the model fails.
    static void expectStatus(int status) {
        EXPECT_TRUE(status == 0 || status == 5 || status == 6 || status == 7 || status == 9) << status;
    }

    template <typename Access, typename Value>
    void lifeOf(const std::string& key, const Value& written, Random& random);

    simulated::Television& m_television = simulated::Television::instance();
    simulated::Model& m_model = m_television.model();
    std::vector<Operation> m_operations;
    std::vector<std::atomic<const char*>> m_doing = std::vector<std::atomic<const char*>>(WORKERS);
    std::unique_ptr<std::atomic<unsigned>[]> m_done;
    std::atomic<bool> m_workersEnd{false};
    std::atomic<unsigned> m_names{0};
    std::mutex m_tuner;    // one caller at a time
    std::mutex m_restart;  // start and stop one at a time
    std::atomic<int> m_attachments{0};

    std::shared_ptr<Values> values = std::make_shared<Values>();
    std::shared_ptr<Results> results = std::make_shared<Results>();
    std::size_t m_threadsBefore = threads();
    SystemInfo info;
    SystemSetting setting;
    PictureCapture capture;
    SourceSwitchAccessImpl sourceSwitch;
    SystemState state{"stress"};
    tests::Integer brightness{tests::keys::BRIGHTNESS, values};
    tests::Int64 wide{WIDE, values};
    tests::String source{tests::keys::SOURCE, values};
    tests::Integers numbers{tests::keys::PQ_SETTING, values};
    tests::Strings texts{tests::keys::PLAY_ATTRIBUTES, values};
    tests::Integer changing{CHANGING, values};
    ActionAccess action{ACTION, results};
    const ValueObject shared{std::string("shared by all")};

    static std::size_t threads() {
        const std::filesystem::directory_iterator all("/proc/self/task");
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }
};

// Adds an operation that calls a member function of one of the round's objects.
#define ADD(object, operation, ...) \
    add(#object "." #operation, [this](Random&) { object.operation(__VA_ARGS__); })

}  // namespace stress

#endif
