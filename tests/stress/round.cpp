#include "round.h"

#include <cstdlib>
#include <future>
#include <iostream>
#include <thread>

#include "eventually.h"
#include "simulated/faults.h"

using namespace lomodelapi;
using namespace std::chrono_literals;
using namespace tests::keys;

namespace stress {

namespace {

constexpr auto ROUND = 4s;
constexpr auto LONGEST_ROUND = 150s;

std::atomic<Round*> currentRound{nullptr};
thread_local bool isWorker = false;

}  // namespace

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

Round::Round(unsigned roundSeed) : seed(roundSeed) {
    defineKeys();
    m_television.debugOutput().setSink([](unsigned, const std::string& line) { EXPECT_FALSE(line.empty()); });
    info.registerCallBackSourceType(called<ON_SOURCE, SourceType>, nullptr);
    capture.registerCallBack(frame, nullptr);
    capture.start();
    addOperations();
}

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

}  // namespace stress
