// Calls every public operation from several threads and inside every callback, while the television changes,
// fails and recovers at random. The seed determines the operations of each thread, but not how the threads
// interleave.
//
//   AIPQ_STRESS_SECONDS  the duration, 8 by default
//   AIPQ_STRESS_SEED     the seed of the first round, 1 by default; each round prints its seed
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "capture_test.h"
#include "eventually.h"
#include "forked_pipeline.h"
#include "keys.h"
#include "lomodelapi/table.h"
#include "platform_adaptation/ai_common.h"
#include "platform_adaptation/picture_capture.h"
#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_access/table_access.h"
#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "platform_adaptation/system_state.h"
#include "recorders.h"
#include "simulated/faults.h"
#include "simulated/television.h"

using namespace lomodelapi;
using namespace std::chrono_literals;
using namespace tests::keys;
using korvale::ai::PictureData;
using simulated::KeyFaults;
using simulated::Lifecycle;
using tests::Int64;
using tests::Integer;
using tests::Integers;
using tests::String;
using tests::Strings;

namespace {

using Clock = std::chrono::steady_clock;
using Texts = std::vector<std::string>;

constexpr unsigned WORKERS = 4;
constexpr auto ROUND = 4s;
constexpr auto LONGEST_ROUND = 150s;

constexpr char WIDE[] = "test.stress.wide";
constexpr char CHANGING[] = "test.stress.changing";  // its type changes
constexpr char OWN[] = "test.stress.own";            // has no faults
constexpr char ACTION[] = "test.stress.action";

const Texts SETTING_KEYS{"dovra.sl2.i32.video.brightness",       "dovra.sl2.i32.video.contrast",
                         "dovra.sl2.i32.video.colour.intensity", "dovra.sl2.i32.video.sharpness",
                         "dovra.sl2.i32.video.enum.memc",        "dovra.sl2.i32.video.enum.dnc",
                         "dovra.sl2.i32.video.color.tuner",      "dovra.sl2.i32.video.color.tuner.luma",
                         "dovra.sl2.i32.video.color.tuner.sat",  "dovra.sl2.i32.video.color.tuner.hue"};
const Texts SWITCH_KEYS{"dovra.sl2.i32.video.ai.pq.switch", "dovra.sl2.i32.video.aipq.user.switch.osd",
                        "dovra.sl2.i32.video.ai.pq.available", "dovra.sl2.mpctrl.i32.media.stream.encrypted"};

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

class Round;
std::atomic<Round*> currentRound{nullptr};
void inside(Callback callback, unsigned thread);

// The client's handlers. Each of them performs an operation itself.

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

class Rows final : public IteratorHandler {
  public:
    void onCommit(int) override { receive(); }
    void onTotalCount(int) override { receive(); }
    void onSeekToRow(int) override { receive(); }
    void onSeekToContent(int) override { receive(); }
    void onCursorPosition(int) override { receive(); }
    void onReadRow(const Texts&) override { receive(); }
    void onReadRowChunk(const std::vector<const Texts*>&) override { receive(); }
    void onIteratorReady(int) override { receive(); }
    void onUpdate(int) override { receive(); }
    std::atomic<bool> silent{false};

  private:
    void receive() {
        EXPECT_FALSE(silent) << "called after its accessor had been destroyed";
        inside(ON_ITERATOR, FOR_MODEL);
    }
};

class Table final : public TableHandler {
  public:
    void onUpdate(int) override { ADD_FAILURE() << "the library called TableHandler::onUpdate()"; }
};

template <Callback kind, typename... Arguments>
void called(Arguments..., void*) {
    inside(kind, kind == ON_POWER ? FOR_MANAGER : FOR_MODEL);
}

void frame(bool success, PictureData* picture, void*) {
    EXPECT_EQ(success, picture->data != nullptr);
    inside(ON_FRAME, FOR_CHECKING);
}

// The objects and operations of one seed.
class Round {
  public:
    explicit Round(unsigned roundSeed) : seed(roundSeed) {
        defineKeys();
        m_television.debugOutput().setSink(
            [](unsigned, const std::string& line) { EXPECT_FALSE(line.empty()); });
        info.registerCallBackSourceType(called<ON_SOURCE, SourceType>, nullptr);
        capture.registerCallBack(frame, nullptr);
        capture.start();
        addOperations();
    }

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
    std::shared_ptr<Rows> rows = std::make_shared<Rows>();
    std::size_t m_threadsBefore = threads();
    SystemInfo info;
    SystemSetting setting;
    PictureCapture capture;
    SourceSwitchAccessImpl sourceSwitch;
    SystemState state{"stress"};
    Integer brightness{BRIGHTNESS, values};
    Int64 wide{WIDE, values};
    String source{SOURCE, values};
    Integers numbers{PQ_SETTING, values};
    Strings texts{PLAY_ATTRIBUTES, values};
    Integer changing{CHANGING, values};
    ActionAccess action{ACTION, results};
    const ValueObject shared{std::string("shared by all")};

    static std::size_t threads() {
        const std::filesystem::directory_iterator all("/proc/self/task");
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }
};

// Called by every callback. Sometimes it performs an operation: on a thread of the platform, only one that
// this thread may wait for; on a worker thread, which called the observer itself, any operation. A nested
// callback performs none.
void inside(Callback callback, unsigned thread) {
    struct Own {
        unsigned seed;
        Random random;
    };
    thread_local std::unique_ptr<Own> own;
    thread_local bool isInside = false;
    Round* const round = currentRound.load();
    if (round == nullptr || isInside) return;
    if (own == nullptr || own->seed != round->seed)
        own.reset(new Own{round->seed, Random(round->seed, 1000 + thread)});
    isInside = true;
    round->callBack(callback, thread, own->random);
    isInside = false;
}

thread_local bool isWorker = false;

void Round::callBack(Callback callback, unsigned thread, Random& random) {
    if (m_workersEnd || (callback != ON_FRAME && !random.oneIn(4))) return;
    unsigned mayWait = FOR_ALL | TO_LEAVE_MODEL | TO_LEAVE_MANAGER;
    if (!isWorker) {
        // The order of the callback threads is reversed in every other round.
        const bool modelIsFirst = seed % 2 == 0;
        mayWait = modelIsFirst ? thread - 1 : FOR_ALL & ~((thread << 1) - 1);
        mayWait |= (mayWait | thread) << 3;
    }
    for (int choices = 0; choices < 8; ++choices) {
        const Operation& operation = random.of(m_operations);
        if ((operation.waits & ~mayWait) != 0 || (operation.isSlow && !random.oneIn(8))) continue;
        Random own = random.another();
        operation.run(own);
        ++doneInside[callback];
        return;
    }
}

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

void Round::addOperations() {
    addInfo();
    addSettings();
    addValues();
    addModel();
    addSourceSwitch();
    addCapture();
    addState();
    addPlain();
    m_done = std::make_unique<std::atomic<unsigned>[]>(m_operations.size());
}

#define ADD(object, operation, ...) \
    add(#object "." #operation, [this](Random&) { object.operation(__VA_ARGS__); })

void Round::addInfo() {
    ADD(info, getAIPQSwitchAvailable);
    ADD(info, getAIPQSwitchState);
    ADD(info, getAIPQAvailable);
    ADD(info, getSourceType);
    ADD(info, getPlayerState);
    ADD(info, getMediaStreamEncrypted);
    ADD(info, getTvStreamEncrypted);
    ADD(info, getVideoInfoHDRType);
    ADD(info, getVideoGameMode);
    ADD(info, getAIPQSupported);
    ADD(info, registerCallBackAIPQ, called<ON_AIPQ, AIPQMode, bool>, this);
    ADD(info, registerCallBackSourceType, called<ON_SOURCE, SourceType>, this);
    ADD(info, registerCallBackPlayerState, called<ON_PLAYER, PlayerState>, this);
    ADD(info, registerCallBackStreamEncrypted, called<ON_ENCRYPTION, StreamMode, bool>, this);
    ADD(info, registerCallBackVideoInfoHDRType, called<ON_HDR, VideoInfoHDRType>, this);
    ADD(info, registerCallBackVideoGameMode, called<ON_GAME, VideoGameMode>, this);
    add("info.setNotifyValue", [this](Random& random) {
        if (random.oneIn(4)) info.setNotifyValue();
    });
    ADD(info, connect);
    ADD(info, str2SourceType, "HDMI1");
    ADD(info, str2VideoInfoHDRType, "hdr_10");
    ADD(info, str2PlayerState, "x");
    ADD(info, int2VideoGameMode, 2);
    add("info.parserTvStreamEncrypte", [this](Random& random) {
        Texts attributes(static_cast<std::size_t>(random.below(12)), "1");
        bool encrypted = false;
        EXPECT_EQ(info.parserTvStreamEncrypte(encrypted, attributes), attributes.size() > 8);
    });
    ADD(info, onAIPQSwitchAvailableChanged, 1);
    ADD(info, onAIPQSwitchStateChanged, 1);
    ADD(info, onAIPQAvailableChanged, 0);
    ADD(info, onSourceTypeChanged, "TV");
    ADD(info, onVideoFormatInfoChanged, "1920x1080p@50");
    ADD(info, onMediaStreamEncryptedModeChanged, 1);
    ADD(info, onTVServiceEncryptedModeChanged, ValueObject());
    ADD(info, onVideoInfoHDRTypeChanged, "hdr_10");
    ADD(info, onVideoGameModeChanged, 2);
    add(
        "SystemInfo lives",
        [](Random& random) {
            SystemInfo own;
            own.registerCallBackAIPQ(called<ON_AIPQ, AIPQMode, bool>, nullptr);
            own.registerCallBackSourceType(called<ON_SOURCE, SourceType>, nullptr);
            own.getAIPQSwitchState();
            if (random.oneIn(2)) own.disconnect();
            if (random.oneIn(2)) own.connect();
        },
        TO_LEAVE_MODEL);
}

void Round::addSettings() {
    // A worker that misses its notification keeps waiting, so the number of threads is limited.
    const auto set = [this](int (SystemSetting::*operation)(int)) {
        return [this, operation](Random& random) {
            if (threads() < m_threadsBefore + 60) {
                EXPECT_LE((setting.*operation)(random.below(8) - 1), 0);
            }
        };
    };
    add("setting.setVideoBrightness", set(&SystemSetting::setVideoBrightness));
    add("setting.setVideoContrast", set(&SystemSetting::setVideoContrast));
    add("setting.setVideoSaturation", set(&SystemSetting::setVideoSaturation));
    add("setting.setVideoSharpness", set(&SystemSetting::setVideoSharpness));
    add("setting.setVideoMEMC", set(&SystemSetting::setVideoMEMC));
    add("setting.setVideoNR", set(&SystemSetting::setVideoNR));
    add("setting.setVideoColorTuner", set(&SystemSetting::setVideoColorTuner));
    add("setting.setVideoColorTunerFamily", [this](Random& random) {
        std::vector<int> family{random.below(8), random.below(50), -random.below(50), random.below(60)};
        const std::unique_lock lock(m_tuner, std::try_to_lock);
        if (lock) setting.setVideoColorTunerFamily(family);
    });
    add("setting.getVideoColorTunerFamily", [this](Random& random) {
        std::vector<int> family{random.below(8), 0, 0, 0};
        const std::unique_lock lock(m_tuner, std::try_to_lock);
        if (lock) setting.getVideoColorTunerFamily(family);
    });
    add("setting.setVideoPQParameters", [this](Random& random) {
        std::vector<int> parameters(static_cast<std::size_t>(random.below(2) + 33), random.below(100));
        EXPECT_LE(setting.setVideoPQParameters(parameters), 0);
    });
    using Get = int (SystemSetting::*)();
    using Check = bool (SystemSetting::*)(int);
    using Change = void (SystemSetting::*)(const ValueObject&);
    using Run = void* (*)(void*);
    struct Named {
        const char* name;
        Get get;
        Check check;
        Change change;
        Get wait;
        Run run;
    };
#define SETTING(Name)                                                                            \
    Named {                                                                                      \
#Name, &SystemSetting::getVideo##Name, &SystemSetting::isValid##Name##Value,             \
            &SystemSetting::onVideo##Name##Changed, &SystemSetting::waitForVideo##Name##Changed, \
            &SystemSetting::setVideo##Name##Run                                                  \
    }
    for (const Named& named : {SETTING(Brightness), SETTING(Contrast), SETTING(Saturation),
                               SETTING(Sharpness), SETTING(MEMC), SETTING(NR), SETTING(ColorTuner),
                               SETTING(ColorTunerB), SETTING(ColorTunerS), SETTING(ColorTunerH)}) {
        const std::string name = named.name;
        add("setting.getVideo" + name, [this, named](Random&) {
            const int value = (setting.*named.get)();
            EXPECT_TRUE(value >= -50 && value <= 100) << value;
        });
        add("setting.isValid" + name, [this, named](Random&) { EXPECT_FALSE((setting.*named.check)(101)); });
        add("setting.onVideo" + name + "Changed", [this, named](Random&) { (setting.*named.change)(5); });
        add(
            "setting.waitForVideo" + name + "Changed",
            [this, named](Random&) { EXPECT_LE((setting.*named.wait)(), 0); }, FOR_MODEL, true);
        add("setting.setVideo" + name + "Run", [named](Random&) { EXPECT_EQ(named.run(nullptr), nullptr); });
    }
#undef SETTING
    ADD(setting, connect);
    add("setting.initValue", [this](Random& random) {
        if (random.oneIn(4)) setting.initValue();
    });
    // It starts no change, because the worker would outlive the object.
    add(
        "SystemSetting lives",
        [](Random&) {
            SystemSetting own;
            EXPECT_EQ(own.setVideoBrightness(101), -1);
            EXPECT_LE(own.getVideoBrightness(), 100);
        },
        TO_LEAVE_MODEL);
}

// An accessor is created, connected, used, disconnected, connected again and destroyed.
template <typename Access, typename Value>
void Round::lifeOf(const std::string& key, const Value& written, Random& random) {
    const auto handler = std::make_shared<Values>();
    {
        Access own(key, handler);
        if (random.oneIn(2)) expectStatus(own.connect(random.below(150)));
        Value read{};
        expectStatus(own.getValue(read));
        if (random.oneIn(2)) expectStatus(own.setValue(written));
        if (random.oneIn(2)) {
            EXPECT_EQ(own.disconnect(), 0);
            own.setNewValueHandler(random.oneIn(2) ? nullptr : handler);
            handler->silent = true;
            std::this_thread::sleep_for(std::chrono::microseconds(random.below(2000)));
            handler->silent = false;
            expectStatus(own.setValue(written));
        }
    }
    handler->silent = true;
}

// Removes itself and disconnects its accessor once, unless the owner has prevented that.
class Leaving final : public ValueHandler {
  public:
    void onNewValue(const ValueObject&) override {
        int idle = 0;
        if (!begun.compare_exchange_strong(idle, 1)) return;
        access.load()->setNewValueHandler(nullptr);
        EXPECT_EQ(access.load()->disconnect(), 0);
        left.set_value();
    }
    std::atomic<Integer*> access{nullptr};
    std::atomic<int> begun{0};
    std::promise<void> left;
};

void Round::addValues() {
    // Connecting to a key of another type disconnects again, so connect() may wait for the model's thread.
#define VALUE_OPERATIONS(access, Type, written, notification, notified)                                \
    ADD(access, getType);                                                                              \
    add(#access ".getName", [this](Random&) { EXPECT_FALSE(access.getName().empty()); });              \
    add(                                                                                               \
        #access ".tryConnectIfNeeded", [this](Random&) { expectStatus(access.tryConnectIfNeeded()); }, \
        TO_LEAVE_MODEL);                                                                               \
    add(                                                                                               \
        #access ".connect", [this](Random& random) { expectStatus(access.connect(random.below(2))); }, \
        TO_LEAVE_MODEL);                                                                               \
    add(                                                                                               \
        #access ".getValue",                                                                           \
        [this](Random&) {                                                                              \
            Type value{};                                                                              \
            expectStatus(access.getValue(value));                                                      \
        },                                                                                             \
        TO_LEAVE_MODEL);                                                                               \
    add(                                                                                               \
        #access ".setValue",                                                                           \
        [this](Random& random) {                                                                       \
            const int number = random.below(8);                                                        \
            expectStatus(access.setValue(written));                                                    \
        },                                                                                             \
        TO_LEAVE_MODEL);                                                                               \
    add(                                                                                               \
        #access ".getValue of another type",                                                           \
        [this](Random&) {                                                                              \
            std::vector<int> ints;                                                                     \
            std::vector<std::string> strings;                                                          \
            expectStatus(access.getValue(ints));                                                       \
            expectStatus(access.getValue(strings));                                                    \
        },                                                                                             \
        TO_LEAVE_MODEL);                                                                               \
    ADD(access, onNewValue, ValueObject(5));                                                           \
    ADD(access, notification, notified)

    VALUE_OPERATIONS(brightness, int, number, notifyNewValue, 5);
    VALUE_OPERATIONS(wide, long long, number + 5'000'000'000LL, notifyNewValue, 5LL);
    VALUE_OPERATIONS(source, std::string, std::string(number % 2 == 0 ? "TV" : "HDMI1"), notifyNewValue,
                     std::string("TV"));
    VALUE_OPERATIONS(numbers, std::vector<int>, std::vector<int>(27, number), notifyIntegerVector,
                     std::vector<int>(3, 1));
    VALUE_OPERATIONS(texts, Texts, Texts(10, std::to_string(number)), notifyStringVector, Texts(3, "1"));
    VALUE_OPERATIONS(changing, int, number, notifyNewValue, 5);
#undef VALUE_OPERATIONS
    add("ValueAccessBase::getRootInterface",
        [](Random&) { EXPECT_NE(ValueAccessBase::getRootInterface(), nullptr); });
    add("ValueAccessBase::accessTypeName", [](Random& random) {
        EXPECT_NE(ValueAccessBase::accessTypeName(static_cast<ObjectTypeSpec>(random.below(10))), nullptr);
    });
    add(
        "ValueAccessT of integers lives",
        [this](Random& random) { lifeOf<Integer>(random.of(SETTING_KEYS), random.below(8), random); },
        TO_LEAVE_MODEL);
    add(
        "ValueAccessT of 64 bits lives", [this](Random& random) { lifeOf<Int64>(WIDE, 7LL, random); },
        TO_LEAVE_MODEL);
    add(
        "ValueAccessT of texts lives",
        [this](Random& random) { lifeOf<String>(SOURCE, std::string("HDMI1"), random); }, TO_LEAVE_MODEL);
    add(
        "ValueAccessT of lists lives",
        [this](Random& random) { lifeOf<Integers>(PQ_SETTING, std::vector<int>(27, 3), random); },
        TO_LEAVE_MODEL);
    add(
        "ValueAccessT of lists of texts lives",
        [this](Random& random) { lifeOf<Strings>(PLAY_ATTRIBUTES, Texts(10, "1"), random); }, TO_LEAVE_MODEL);
    add(
        "ValueAccessT of a changing type lives",
        [this](Random& random) { lifeOf<Integer>(CHANGING, 5, random); }, TO_LEAVE_MODEL);
    add(
        "ValueAccessT is disconnected in its own callback",
        [this](Random& random) {
            const auto handler = std::make_shared<Leaving>();
            Integer own(OWN, handler);
            handler->access = &own;
            ASSERT_EQ(own.connect(0), 0);
            m_model.set(OWN, random.below(1000));
            m_model.announce(OWN);
            std::future<void> left = handler->left.get_future();
            if (left.wait_for(100ms) != std::future_status::ready) {
                int idle = 0;
                if (!handler->begun.compare_exchange_strong(idle, 2)) left.wait();
            }
            // Disconnecting waits until the callback has returned, but only if there is a subscription.
            ASSERT_EQ(own.connect(0), 0);
            EXPECT_EQ(own.disconnect(), 0);
        },
        FOR_MODEL, true);
}

void Round::addModel() {
    add("action.invoke", [this](Random& random) {
        unsigned id = 0;
        const int status =
            action.invoke(id, std::vector<Argument>(static_cast<std::size_t>(random.below(4))));
        EXPECT_TRUE(status == 0 || status == 7 || status == 9 || status == -1) << status;
    });
    ADD(action, connect, 0);
    ADD(action, notifyExecutionError, 7, 44);
    ADD(action, notifyResult, 7, {{0, 1, "b"}, {0, 0, "a"}});
    add(
        "ActionAccess lives",
        [](Random& random) {
            ActionAccess own(ACTION);
            own.setActionResultHandler(random.oneIn(2) ? nullptr : std::make_shared<Results>());
            own.connect(random.below(100));
            unsigned id = 0;
            own.invoke(id, {});
            if (random.oneIn(2)) own.disconnect();
        },
        TO_LEAVE_MODEL);
    add(
        "TableAccess lives",
        [](Random& random) {
            TableAccess own(CHANNELS, std::make_shared<Table>());
            own.setActionResultHandler(random.oneIn(2) ? nullptr : std::make_shared<Table>());
            if (own.connect(random.below(100)) == 0) {
                EXPECT_NE(own.getAccess(), nullptr);
            }
            own.notifyUpdate(0);
            if (random.oneIn(2)) own.disconnect();
        },
        TO_LEAVE_MODEL);
    add(
        "IteratorAccess lives",
        [](Random& random) {
            const auto handler = std::make_shared<Rows>();
            {
                IteratorAccess own(CHANNELS, handler, {random.below(2), 3}, {{6, "0"}}, {0, 1}, {{1, true}});
                if (random.oneIn(2)) own.setActionResultHandler(std::make_shared<Rows>());
                const int status = own.create();
                EXPECT_TRUE(status == 0 || status == 4) << status;
                EXPECT_EQ(own.connect(0), 0);
                EXPECT_EQ(own.disconnect(), 0);
                if (TableIterator* const iterator = own.getIterator()) {
                    iterator->requestTotalCount();
                    iterator->requestCursorPosition();
                    iterator->seekToRow(random.below(6));
                    iterator->seekToContent(1, "Night");
                    iterator->readRow();
                    iterator->readRowChunk(random.below(6));
                    iterator->commit();
                    if (random.oneIn(4))
                        std::this_thread::sleep_for(std::chrono::milliseconds(random.below(20)));
                }
                own.notifyReadRow({"1"});
                if (random.oneIn(2)) {
                    EXPECT_EQ(own.destroy(), 0);
                }
            }
            handler->silent = true;
        },
        TO_LEAVE_MODEL);
}

void Round::addSourceSwitch() {
    using S = SourceSwitchAccessImpl;
    const auto addRequest = [this](const char* name, bool (S::*request)()) {
        add(
            std::string("sourceSwitch.") + name, [this, request](Random&) { (sourceSwitch.*request)(); },
            FOR_MODEL);
    };
    addRequest("pauseVideo", &S::pauseVideo);
    addRequest("pausePSI", &S::pausePSI);
    addRequest("pauseAV", &S::pauseAV);
    addRequest("pausePSIAV", &S::pausePSIAV);
    addRequest("resumeVideo", &S::resumeVideo);
    addRequest("resumePSI", &S::resumePSI);
    addRequest("resumeAV", &S::resumeAV);
    addRequest("resumePSIAV", &S::resumePSIAV);
    addRequest("setChannelNext", &S::setChannelNext);
    addRequest("setChannelPrev", &S::setChannelPrev);
    const auto addOfResource = [this](const char* name, bool (S::*request)(S::_ResourceType)) {
        add(
            std::string("sourceSwitch.") + name,
            [this, request](Random& random) {
                (sourceSwitch.*request)(static_cast<S::_ResourceType>(random.below(7) + 1));
            },
            FOR_MODEL);
    };
    addOfResource("requestResourceFromSystem", &S::requestResourceFromSystem);
    addOfResource("releaseResourceToSystem", &S::releaseResourceToSystem);
    addOfResource("changeDTVPlaybackStatus", &S::changeDTVPlaybackStatus);
    add("sourceSwitch.setQuietFlag",
        [this](Random& random) { expectStatus(sourceSwitch.setQuietFlag(random.below(2))); });
    add(
        "sourceSwitch.setChannelByURI",
        [this](Random& random) { sourceSwitch.setChannelByURI("dvb://1.2.3", random.oneIn(2)); }, FOR_MODEL);
    add(
        "sourceSwitch.setChannelByUUIDs",
        [this](Random& random) { sourceSwitch.setChannelByUUIDs("channel-2", "folder", random.oneIn(2)); },
        FOR_MODEL);
    add("sourceSwitch.connectToValue", [this](Random&) { sourceSwitch.connectToValue(SWITCH_ACTION); });
    add("sourceSwitch.onActionResult and waitForResult", [this](Random&) {
        const unsigned id = 0x80000000U + m_names++;
        sourceSwitch.onActionResult(static_cast<int>(id), ValueObject());
        EXPECT_TRUE(sourceSwitch.waitForResult(id));
    });
    add("sourceSwitch.onActionFailed and waitForResult", [this](Random&) {
        const unsigned id = 0x80000000U + m_names++;
        sourceSwitch.onActionFailed(static_cast<int>(id), 44);
        EXPECT_FALSE(sourceSwitch.waitForResult(id));
    });
    add("SourceSwitchAccessImpl::GetInstance",
        [](Random&) { EXPECT_NE(SourceSwitchAccessImpl::GetInstance(), nullptr); });
    add(
        "SourceSwitchAccessImpl lives",
        [](Random&) {
            SourceSwitchAccessImpl own;
            own.setChannelNext();
        },
        FOR_MODEL);
}

void Round::addCapture() {
    const auto wanted = [](Random& random) {
        return PictureData{nullptr, static_cast<unsigned>(random.below(224) + 1),
                           static_cast<unsigned>(random.below(224) + 1),
                           static_cast<korvale::ai::ColorMode>(random.below(4) + 1), 0};
    };
    const auto expectPicture = [](bool success, const PictureData& picture) {
        EXPECT_EQ(success, picture.data != nullptr);
        if (success) {
            EXPECT_EQ(picture.colorMode, korvale::ai::COLOR_MODE_RGB);
        }
    };
    add(
        "capture.getPicture that waits",
        [this, wanted, expectPicture](Random& random) {
            PictureData picture = wanted(random);
            const bool success = capture.getPicture(true, &picture);
            expectPicture(success, picture);
        },
        FOR_NOBODY, true);
    add(
        "capture.getPicture",
        [this, wanted](Random& random) {
            PictureData picture = wanted(random);
            EXPECT_TRUE(capture.getPicture(false, random.oneIn(2) ? &picture : nullptr));
        },
        FOR_CHECKING, true);
    add(
        "capture.picutreCaptureFinished",
        [this, expectPicture](Random&) {
            PictureData picture{};
            expectPicture(capture.picutreCaptureFinished(&picture), picture);
            EXPECT_FALSE(capture.picutreCaptureFinished(nullptr));
        },
        FOR_NOBODY, true);
    add("capture.registerCallBack",
        [this](Random& random) { capture.registerCallBack(random.oneIn(8) ? nullptr : frame, this); });
    add("capture.start", [this](Random&) {
        const std::unique_lock lock(m_restart, std::try_to_lock);
        if (lock) capture.start();
    });
    // Each start attaches the block and never detaches it, so the number of restarts is limited.
    add(
        "capture.stop and start",
        [this](Random&) {
            const std::unique_lock lock(m_restart, std::try_to_lock);
            if (!lock || ++m_attachments > 100) return;
            capture.stop();
            capture.start();
        },
        FOR_CHECKING, true);
    add("capture.initShareMemory", [this](Random& random) {
        if (random.oneIn(4) && ++m_attachments < 100) {
            EXPECT_TRUE(capture.initShareMemory());
        }
    });
}

void Round::addState() {
    add("state.registerCallBackTVPowerState", [this](Random& random) {
        state.registerCallBackTVPowerState(random.oneIn(8) ? nullptr : called<ON_POWER, TVPowerState>, this);
    });
    ADD(state, registerApp);
    add(
        "state.unRegisterApp",
        [this](Random& random) {
            if (random.oneIn(4)) {
                EXPECT_TRUE(state.unRegisterApp());
            }
            EXPECT_TRUE(state.registerApp());
        },
        TO_LEAVE_MANAGER);
    add("state.getName", [this](Random&) { EXPECT_EQ(state.getName(), "stress"); });
    ADD(state, notifyTVPowerState, TV_POWER_STATE_SUSPEND);
    ADD(state, onRunning, "url", "parameter");
    ADD(state, onDestroy, "url");
    ADD(state, onSuspend, "url", "parameter");
    ADD(state, onSuspendEx, "url", "parameter");
    ADD(state, onResume, "url", "parameter");
    ADD(state, onResumeEx, "url", "parameter");
    ADD(state, onSTRSuspending, "url", 1);
    ADD(state, onSTRSuspend, "url", 1);
    ADD(state, onSTRResume, "url", 1);
    ADD(state, onSTRResuming, "url", 1);
    ADD(state, onGetFocus, "url");
    ADD(state, onLostFocus, "url");
    ADD(state, onResourceReady, "url", 1);
    ADD(state, onReleaseResource, "url", 1);
    ADD(state, onUIAppStatusNotify, "url", 1);
    ADD(state, notifyAppEventMessage, "message");
    ADD(state, onKeyEvent, 1, 2);
    add(
        "SystemState lives",
        [this](Random& random) {
            SystemState own(("own " + std::to_string(m_names++)).c_str());
            own.registerCallBackTVPowerState(called<ON_POWER, TVPowerState>, nullptr);
            m_television.applications().notifyOne(own.getName(), Lifecycle::STR_SUSPEND, "url");
            if (random.oneIn(4)) std::this_thread::sleep_for(1ms);
        },
        TO_LEAVE_MANAGER);
}

void Round::addPlain() {
    add("ValueObject", [this](Random& random) {
        const std::vector<ValueObject> kinds{ValueObject(),
                                             random.below(100),
                                             static_cast<unsigned>(random.below(100)),
                                             static_cast<long long>(random.below(100)),
                                             static_cast<unsigned long long>(random.below(100)),
                                             random.oneIn(2),
                                             0.5F,
                                             2.5,
                                             std::to_string(random.below(100)),
                                             Point{1, random.below(100)},
                                             shared};
        ValueObject list;
        list.kind = ValueObject::TYPE_VECTOR;
        list.items = kinds;
        ValueObject copy(random.of(kinds));
        EXPECT_TRUE(copy == copy);
        list = ValueObject(list);
        copy = list.items[static_cast<std::size_t>(random.below(static_cast<int>(kinds.size())))];
        ValueObject moved(std::move(list));
        EXPECT_EQ(static_cast<Texts>(moved).size(), kinds.size());
        EXPECT_EQ(static_cast<std::vector<int>>(moved).size(), kinds.size());
        EXPECT_EQ(static_cast<std::vector<unsigned>>(shared).size(), 1U);
        EXPECT_EQ(shared.convertToStringType(), "shared by all");
        EXPECT_EQ(static_cast<long long>(copy), static_cast<long long>(ValueObject(copy)));
    });
    add("ai_common", [](Random& random) {
        PictureData picture;
        initPictureData(picture);
        EXPECT_EQ(getChannels(picture.colorMode), 3);
        const int number = random.below(1000) + 1;
        EXPECT_EQ(str2int(std::to_string(number).c_str(), 5), number);
        outputCharSerial("stress", "bytes", 5);
        EXPECT_TRUE(fileExist("/proc/self/status"));
        EXPECT_FALSE(fileExist("/no/such/file"));
        EXPECT_GT(currentThread(), 0);
    });
}
#undef ADD

// The workers first perform each operation once, then random ones.
void Round::work(unsigned worker) {
    isWorker = true;
    Random random(seed, worker);
    const auto end = Clock::now() + ROUND;
    for (std::size_t step = worker; step < m_operations.size() || Clock::now() < end; step += WORKERS) {
        const std::size_t index =
            step < m_operations.size()
                ? step
                : static_cast<std::size_t>(random.below(static_cast<int>(m_operations.size())));
        const Operation& operation = m_operations[index];
        if (step >= m_operations.size() && operation.isSlow && !random.oneIn(8)) continue;
        m_doing[worker] = operation.name.c_str();
        Random own = random.another();
        operation.run(own);
        ++m_done[index];
        std::this_thread::sleep_for(std::chrono::microseconds(random.below(500)));
    }
    m_doing[worker] = "finished";
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

void Round::run() {
    // The first use of the action and of the flag must come from one thread.
    EXPECT_NE(sourceSwitch.connectToValue(SWITCH_ACTION), nullptr);
    EXPECT_EQ(sourceSwitch.setQuietFlag(0), 0);
    currentRound = this;
    std::vector<std::future<void>> workers;
    for (unsigned worker = 0; worker < WORKERS; ++worker)
        workers.push_back(std::async(std::launch::async, [this, worker] { work(worker); }));
    std::thread television([this] {
        for (Random random(seed, WORKERS); !m_workersEnd;) {
            misbehave(random);
            std::this_thread::sleep_for(std::chrono::microseconds(random.below(2000)));
        }
    });
    const auto begin = Clock::now();
    std::atomic<bool> ends{false};
    // A thread that waits for a change may have missed its notification, and one notification wakes only one
    // thread.
    std::thread waker([&] {
        while (!ends) {
            if (Clock::now() > begin + ROUND) wakeAll();
            std::this_thread::sleep_for(5ms);
        }
    });
    for (std::future<void>& worker : workers) {
        if (worker.wait_until(begin + LONGEST_ROUND) == std::future_status::ready) continue;
        std::cerr << "With the seed " << seed << ", a worker does not end. The workers' operations:\n";
        for (const auto& doing : m_doing) std::cerr << "  " << doing << '\n';
        std::abort();
    }
    m_workersEnd = true;
    television.join();
    simulated::clearFaults(m_television);
    m_television.resume();
    {
        const std::lock_guard lock(m_restart);
        capture.stop();
    }
    EXPECT_TRUE(m_television.applications().settle());
    ends = true;
    waker.join();
    finish();
}

void Round::wakeAll() {
    for (const auto wake :
         {&SystemSetting::onVideoBrightnessChanged, &SystemSetting::onVideoContrastChanged,
          &SystemSetting::onVideoSaturationChanged, &SystemSetting::onVideoSharpnessChanged,
          &SystemSetting::onVideoMEMCChanged, &SystemSetting::onVideoNRChanged,
          &SystemSetting::onVideoColorTunerChanged, &SystemSetting::onVideoColorTunerBChanged,
          &SystemSetting::onVideoColorTunerSChanged, &SystemSetting::onVideoColorTunerHChanged})
        for (int i = 0; i < 10; ++i) (setting.*wake)(0);
}

// Ends all threads, resets the television, and expects the accessors to work.
void Round::finish() {
    // Workers of settings may still wait, or keep changing a value in opposite directions. Reading a key of
    // another type fails, which ends them.
    for (const std::string& key : SETTING_KEYS)
        m_model.define({"", key, OBJECT_TYPE_STRING, std::string(), {}, ""});
    EXPECT_TRUE(tests::eventually([this] {
        wakeAll();
        return threads() <= m_threadsBefore;
    })) << threads()
        << " threads instead of " << m_threadsBefore;
    EXPECT_TRUE(m_model.settle());
    currentRound = nullptr;
    m_television.reset();
    m_television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF);
    for (std::size_t i = 0; i < m_operations.size(); ++i) done[m_operations[i].name] += m_done[i];
    int value = 0;
    EXPECT_EQ(brightness.getValue(value), 0);
    EXPECT_EQ(value, 50);
    EXPECT_EQ(info.getSourceType(), SOURCE_TYPE_TV);
    EXPECT_EQ(setting.getVideoContrast(), 50);
    EXPECT_TRUE(sourceSwitch.setChannelNext());
}

// Answers most requests: some late, some with another size, and some not at all.
void answer(unsigned number, video::CaptureBlock& block) {
    if (number % 16 == 0) return;
    if (number % 5 == 0) usleep(100'000);
    if (number % 7 == 0) {
        tests::fillFrame(block, 160, 90, 1);
    } else {
        tests::fillFrame(block, block.width, block.height, 2);
    }
}

// Captures never detach their blocks; in hours, too many would stay attached.
void detachBlocks() {
    std::ifstream maps("/proc/self/maps");
    std::vector<std::uintptr_t> blocks;
    for (std::string line; std::getline(maps, line);)
        if (line.find("/SYSV") != std::string::npos) blocks.push_back(std::stoul(line, nullptr, 16));
    for (const std::uintptr_t block : blocks) shmdt(reinterpret_cast<void*>(block));
}

double numberOf(const char* variable, double otherwise) {
    const char* const text = std::getenv(variable);
    return text != nullptr ? std::strtod(text, nullptr) : otherwise;
}

TEST(TheLibrary, SupportsConcurrentUseWhileTheTelevisionFails) {
    simulated::Television& television = simulated::Television::instance();
    television.reset();
    tests::Peer::removeAll();
    const tests::ForkedPipeline pipeline(answer);
    ASSERT_NE(SourceSwitchAccessImpl::GetInstance(), nullptr);
    auto seed = static_cast<unsigned>(numberOf("AIPQ_STRESS_SEED", 1));
    const auto end = Clock::now() + std::chrono::duration<double>(numberOf("AIPQ_STRESS_SECONDS", 8));
    // A slow machine may need more than the given time to perform each operation once.
    const auto isMissing = [] {
        const auto isZero = [](const auto& count) { return count == 0; };
        return std::any_of(Round::doneInside.begin(), Round::doneInside.end(), isZero) ||
               std::any_of(Round::done.begin(), Round::done.end(),
                           [&](const auto& operation) { return isZero(operation.second); });
    };
    // At least two rounds, one for each order of the callback threads.
    for (int rounds = 0; rounds < 2 || Clock::now() < end || (isMissing() && rounds < 20); ++rounds, ++seed) {
        std::cout << "AIPQ_STRESS_SEED=" << seed << std::endl;
        {
            Round round(seed);
            round.run();
        }
        for (const simulated::KeyDefinition& key : television.model().keys()) {
            EXPECT_EQ(television.model().iterators(key.name), 0U) << key.name;
            // The process-wide instance of the source switch keeps its subscription.
            const unsigned remaining = key.name == SWITCH_ACTION ? 1U : 0U;
            EXPECT_LE(television.model().subscribers(key.name), remaining) << key.name;
        }
        EXPECT_TRUE(television.applications().applications().empty());
        detachBlocks();
        if (HasFailure()) break;
    }
    unsigned operations = 0;
    for (const auto& [name, times] : Round::done) operations += times;
    std::cout << operations << " operations of " << Round::done.size() << " kinds; in callbacks";
    for (std::size_t kind = 0; kind < CALLBACKS; ++kind) std::cout << ' ' << Round::doneInside[kind];
    std::cout << '\n';
    for (const auto& [name, times] : Round::done) EXPECT_GT(times, 0U) << name;
    for (std::size_t kind = 0; kind < CALLBACKS; ++kind)
        EXPECT_GT(Round::doneInside[kind], 0U)
            << "no operation was performed inside " << CALLBACK_NAMES[kind];
    television.debugOutput().reset();
    tests::Peer::removeAll();
}

}  // namespace
