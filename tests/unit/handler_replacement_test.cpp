// Handlers that are replaced while they are called; once with the system's barrier for all threads, once
// without.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "barrier_faults.h"
#include "eventually.h"
#include "platform_adaptation/system_access/value_access.h"
#include "television_test.h"

using tests::eventually;

namespace {

using IntegerAccess = ValueAccessT<lomodelapi::ObserverNumericInteger>;

constexpr char KEY[] = "test.key";

struct Tally {
    std::atomic<int> alive{0};
    std::atomic<int> calls{0};
    std::atomic<int> calledDead{0};
};

// Plain members on purpose: a call that is not ordered before the end is a data race.
class Fragile : public ValueHandler {
  public:
    explicit Fragile(Tally& tally) : m_tally(tally) { ++m_tally.alive; }
    ~Fragile() override {
        m_inside += DEAD;
        --m_tally.alive;
    }
    void onNewValue(const ValueObject&) override {
        const std::lock_guard lock(m_mutex);
        ++m_inside;
        ++m_tally.calls;
        std::this_thread::yield();
        if (m_inside >= DEAD) ++m_tally.calledDead;
        --m_inside;
    }

  private:
    static constexpr int DEAD = 1000000;
    Tally& m_tally;
    std::mutex m_mutex;
    int m_inside = 0;
};

class AHandlerBeingReplaced : public tests::TelevisionTest {
  protected:
    void SetUp() override {
        tests::TelevisionTest::SetUp();
        television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF);
    }
    // As many calls as it takes to have met the replacements, from so many threads.
    static void callFromThreads(ValueAccessBase& access, int threads, const std::atomic<bool>& goOn) {
        std::vector<std::future<void>> callers;
        for (int i = 0; i < threads; ++i)
            callers.push_back(std::async(std::launch::async, [&] {
                while (goOn) access.onNewValue(ValueObject(1));
            }));
        for (auto& caller : callers) caller.get();
    }

    Tally tally;
};

TEST(TheHandlerOfAnAccessor, BeginsWithItsPointer) {
    int pointee = 0;
    const std::shared_ptr<void> owner = std::make_shared<int>(1);
    const std::shared_ptr<int> pointer(owner, &pointee);
    const void* first = nullptr;
    std::memcpy(&first, static_cast<const void*>(&pointer), sizeof first);
    EXPECT_EQ(first, &pointee);
}

TEST_F(AHandlerBeingReplaced, IsNeverCalledWhenItHasEnded) {
    constexpr int replacements = 400;
    IntegerAccess access(KEY, std::make_shared<Fragile>(tally));
    std::atomic<bool> goOn{true};
    auto callers = std::async(std::launch::async, [&] { callFromThreads(access, 3, goOn); });
    EXPECT_TRUE(eventually([&] { return tally.calls > 0; }));
    for (int i = 0; i < replacements; ++i) access.setNewValueHandler(std::make_shared<Fragile>(tally));
    goOn = false;
    callers.get();
    EXPECT_EQ(tally.calledDead, 0);
    EXPECT_EQ(tally.alive, 1);
    access.setNewValueHandler(nullptr);
    EXPECT_EQ(tally.alive, 0);
}

TEST_F(AHandlerBeingReplaced, MayBeReplacedBySeveralThreads) {
    constexpr int replacements = 150;
    IntegerAccess access(KEY, std::make_shared<Fragile>(tally));
    std::atomic<bool> goOn{true};
    auto callers = std::async(std::launch::async, [&] { callFromThreads(access, 2, goOn); });
    const auto replace = [&] {
        for (int i = 0; i < replacements; ++i)
            access.setNewValueHandler(i % 5 == 0 ? nullptr : std::make_shared<Fragile>(tally));
    };
    auto other = std::async(std::launch::async, replace);
    replace();
    other.get();
    goOn = false;
    callers.get();
    access.setNewValueHandler(nullptr);
    EXPECT_EQ(tally.calledDead, 0);
    EXPECT_EQ(tally.alive, 0);
}

// Every call replaces the handler that it is in, while others call it.
TEST_F(AHandlerBeingReplaced, MayReplaceItselfWhileOthersCallIt) {
    class Renewing : public Fragile {
      public:
        Renewing(Tally& tally, ValueAccessBase& access) : Fragile(tally), m_tally(tally), m_access(access) {}
        void onNewValue(const ValueObject& value) override {
            m_access.setNewValueHandler(std::make_shared<Renewing>(m_tally, m_access));
            Fragile::onNewValue(value);
        }

      private:
        Tally& m_tally;
        ValueAccessBase& m_access;
    };
    IntegerAccess access(KEY);
    access.setNewValueHandler(std::make_shared<Renewing>(tally, access));
    std::atomic<bool> goOn{true};
    auto callers = std::async(std::launch::async, [&] { callFromThreads(access, 3, goOn); });
    EXPECT_TRUE(eventually([&] { return tally.calls > 500; }));
    goOn = false;
    callers.get();
    EXPECT_EQ(tally.calledDead, 0);
    EXPECT_EQ(tally.alive, 1);
}

TEST_F(AHandlerBeingReplaced, LivesInTheOuterOfNestedCalls) {
    class Outer : public ValueHandler {
      public:
        Outer(Tally& tally, IntegerAccess& self, IntegerAccess& other)
            : m_inner(tally), m_tally(tally), m_self(self), m_other(other) {}
        void onNewValue(const ValueObject& value) override {
            m_self.setNewValueHandler(nullptr);
            // Each nested call ends while this one goes on.
            for (int i = 0; i < 3; ++i) m_other.onNewValue(value);
            aliveInside = m_tally.alive;
            m_inner.onNewValue(value);
        }
        Fragile m_inner;
        int aliveInside = 0;

      private:
        Tally& m_tally;
        IntegerAccess& m_self;
        IntegerAccess& m_other;
    };
    IntegerAccess other(KEY, std::make_shared<Fragile>(tally));
    IntegerAccess access(KEY);
    access.setNewValueHandler(std::make_shared<Outer>(tally, access, other));
    access.onNewValue(ValueObject(1));
    EXPECT_EQ(tally.calledDead, 0);
    EXPECT_EQ(tally.calls, 4);
    EXPECT_EQ(tally.alive, 1);
}

TEST_F(AHandlerBeingReplaced, OutlivesAnAccessorThatEndsInItsCall) {
    class Ending : public Fragile {
      public:
        Ending(Tally& tally, std::unique_ptr<IntegerAccess>& access) : Fragile(tally), m_access(access) {}
        void onNewValue(const ValueObject& value) override {
            m_access.reset();
            Fragile::onNewValue(value);
        }

      private:
        std::unique_ptr<IntegerAccess>& m_access;
    };
    std::unique_ptr<IntegerAccess> access;
    access = std::make_unique<IntegerAccess>(KEY, std::make_shared<Ending>(tally, access));
    access->onNewValue(ValueObject(1));
    EXPECT_EQ(access, nullptr);
    EXPECT_EQ(tally.calls, 1);
    EXPECT_EQ(tally.calledDead, 0);
    EXPECT_EQ(tally.alive, 0);
}

// Who waits for the call may then destroy what the handler uses, whatever others do at that moment.
TEST_F(AHandlerBeingReplaced, HasEndedWhenItsCallHas) {
    class Lingering : public ValueHandler {
      public:
        Lingering(Tally& tally, ValueAccessBase& access) : m_tally(tally), m_access(access) {
            ++m_tally.alive;
        }
        ~Lingering() override {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            --m_tally.alive;
        }
        void onNewValue(const ValueObject&) override { m_access.setNewValueHandler(nullptr); }

      private:
        Tally& m_tally;
        ValueAccessBase& m_access;
    };
    std::atomic<bool> goOn{true};
    auto others = std::async(std::launch::async, [&] {
        Tally theirs;
        IntegerAccess access(KEY);
        while (goOn) {
            access.setNewValueHandler(std::make_shared<Fragile>(theirs));
            access.onNewValue(ValueObject(1));
        }
    });
    IntegerAccess access(KEY);
    for (int i = 0; i < 300; ++i) {
        access.setNewValueHandler(std::make_shared<Lingering>(tally, access));
        access.onNewValue(ValueObject(1));
        EXPECT_EQ(tally.alive, 0);
    }
    goOn = false;
    others.get();
}

TEST_F(AHandlerBeingReplaced, IsCalledByThreadsThatComeAndGo) {
    IntegerAccess access(KEY, std::make_shared<Fragile>(tally));
    for (int i = 0; i < 50; ++i) {
        std::thread caller([&] { access.onNewValue(ValueObject(1)); });
        access.setNewValueHandler(std::make_shared<Fragile>(tally));
        caller.join();
    }
    EXPECT_EQ(tally.calls, 50);
    EXPECT_EQ(tally.calledDead, 0);
    EXPECT_EQ(tally.alive, 1);
}

// What the two programs are about: whether the system's barrier was asked for at all.
TEST_F(AHandlerBeingReplaced, MakesUseOfTheBarrierIfThereIsOne) {
    IntegerAccess access(KEY, std::make_shared<Fragile>(tally));
    access.onNewValue(ValueObject(1));
    const int before = tests::barriersMade();
    access.setNewValueHandler(nullptr);
    EXPECT_EQ(tests::barriersMade() - before, tests::hasBarrier() ? 1 : 0);
    EXPECT_EQ(tally.alive, 0);
}

TEST_F(AHandlerBeingReplaced, LivesForEverIfTheBarrierFails) {
    IntegerAccess access(KEY, std::make_shared<Fragile>(tally));
    access.onNewValue(ValueObject(1));
    tests::failNextBarrier();
    access.setNewValueHandler(std::make_shared<Fragile>(tally));
    EXPECT_EQ(tally.alive, tests::hasBarrier() ? 2 : 1);
    access.onNewValue(ValueObject(1));
    access.setNewValueHandler(nullptr);
    EXPECT_EQ(tally.alive, tests::hasBarrier() ? 1 : 0);
}

}  // namespace
