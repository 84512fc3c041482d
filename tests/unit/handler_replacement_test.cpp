// Handlers that are replaced while they are called; once with the system's barrier for all threads, once
// without.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
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

// The two ways to a handler.
void notify(IntegerAccess& access) { access.notifyNewValue(1); }
void handOn(IntegerAccess& access) { access.onNewValue(ValueObject(1)); }

class AHandlerBeingReplaced : public tests::TelevisionTest,
                              public testing::WithParamInterface<void (*)(IntegerAccess&)> {
  protected:
    void SetUp() override {
        tests::TelevisionTest::SetUp();
        television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF);
        callOnce();
    }
    // A thread's first call goes another way than those that follow.
    void callOnce() {
        Tally other;
        IntegerAccess access(KEY, std::make_shared<Fragile>(other));
        call(access);
        EXPECT_EQ(other.calls, 1);
    }
    // As many calls as it takes to have met the replacements, from so many threads.
    void callFromThreads(IntegerAccess& access, int threads, const std::atomic<bool>& goOn) const {
        std::vector<std::future<void>> callers;
        for (int i = 0; i < threads; ++i)
            callers.push_back(std::async(std::launch::async, [&] {
                while (goOn) call(access);
            }));
        for (auto& caller : callers) caller.get();
    }

    // Between the entry that is logged and the call of the handler, by another thread.
    void callAndReplaceBeforeTheHandler(IntegerAccess& access, std::shared_ptr<ValueHandler> handler) {
        bool replaced = false;
        simulated::DebugOutput& output = television.debugOutput();
        output.setSink([&](unsigned, const std::string& line) {
            if (line.find("onNewValue") == std::string::npos) return;
            // No line is printed while another one is.
            output.setVerbosity(simulated::DebugOutput::Verbosity::OFF);
            std::thread([&] { access.setNewValueHandler(std::move(handler)); }).join();
            replaced = true;
        });
        output.setVerbosity(simulated::DebugOutput::Verbosity::TRACE);
        call(access);
        EXPECT_TRUE(replaced);
        output.setSink(nullptr);
    }

    void (*const call)(IntegerAccess&) = GetParam();
    Tally tally;
};

INSTANTIATE_TEST_SUITE_P(ByTheModel, AHandlerBeingReplaced, testing::Values(notify));
INSTANTIATE_TEST_SUITE_P(ByTheAccessor, AHandlerBeingReplaced, testing::Values(handOn));

TEST(TheHandlerOfAnAccessor, BeginsWithItsPointer) {
    int pointee = 0;
    const std::shared_ptr<void> owner = std::make_shared<int>(1);
    const std::shared_ptr<int> pointer(owner, &pointee);
    const void* first = nullptr;
    std::memcpy(&first, static_cast<const void*>(&pointer), sizeof first);
    EXPECT_EQ(first, &pointee);
}

TEST_P(AHandlerBeingReplaced, IsNeverCalledWhenItHasEnded) {
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

TEST_P(AHandlerBeingReplaced, MayBeReplacedBySeveralThreads) {
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
TEST_P(AHandlerBeingReplaced, MayReplaceItselfWhileOthersCallIt) {
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

TEST_P(AHandlerBeingReplaced, LivesInTheOuterOfNestedCalls) {
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
    call(access);
    EXPECT_EQ(tally.calledDead, 0);
    EXPECT_EQ(tally.calls, 4);
    EXPECT_EQ(tally.alive, 1);
}

TEST_P(AHandlerBeingReplaced, OutlivesAnAccessorThatEndsInItsCall) {
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
    call(*access);
    EXPECT_EQ(access, nullptr);
    EXPECT_EQ(tally.calls, 1);
    EXPECT_EQ(tally.calledDead, 0);
    EXPECT_EQ(tally.alive, 0);
}

// Who waits for the call may then destroy what the handler uses, whatever others do at that moment.
TEST_P(AHandlerBeingReplaced, HasEndedWhenItsCallHas) {
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
            call(access);
        }
    });
    IntegerAccess access(KEY);
    for (int i = 0; i < 300; ++i) {
        access.setNewValueHandler(std::make_shared<Lingering>(tally, access));
        call(access);
        EXPECT_EQ(tally.alive, 0);
    }
    goOn = false;
    others.get();
}

TEST_P(AHandlerBeingReplaced, IsCalledByThreadsThatComeAndGo) {
    IntegerAccess access(KEY, std::make_shared<Fragile>(tally));
    for (int i = 0; i < 50; ++i) {
        std::thread caller([&] {
            call(access);
            call(access);
        });
        access.setNewValueHandler(std::make_shared<Fragile>(tally));
        caller.join();
    }
    EXPECT_EQ(tally.calls, 100);
    EXPECT_EQ(tally.calledDead, 0);
    EXPECT_EQ(tally.alive, 1);
}

TEST_P(AHandlerBeingReplaced, IsNotCalledOnceItIsReplacedBeforeItsCall) {
    class Next : public Fragile {
      public:
        Next(Tally& tally, const Tally& first) : Fragile(tally), m_first(first) {}
        void onNewValue(const ValueObject& value) override {
            EXPECT_EQ(m_first.alive, 0);
            EXPECT_EQ(value, ValueObject(1));
            Fragile::onNewValue(value);
        }

      private:
        const Tally& m_first;
    };
    Tally second;
    IntegerAccess access(KEY, std::make_shared<Fragile>(tally));
    callAndReplaceBeforeTheHandler(access, std::make_shared<Next>(second, tally));
    EXPECT_EQ(tally.calls, 0);
    EXPECT_EQ(second.calls, 1);
    EXPECT_EQ(tally.alive, 0);
    EXPECT_EQ(second.alive, 1);
    access.setNewValueHandler(nullptr);
    EXPECT_EQ(second.alive, 0);
}

TEST_P(AHandlerBeingReplaced, IsNotCalledOnceItIsReplacedByNone) {
    IntegerAccess access(KEY, std::make_shared<Fragile>(tally));
    callAndReplaceBeforeTheHandler(access, nullptr);
    EXPECT_EQ(tally.calls, 0);
    EXPECT_EQ(tally.alive, 0);
    access.setNewValueHandler(std::make_shared<Fragile>(tally));
    call(access);
    EXPECT_EQ(tally.calls, 1);
}

TEST_P(AHandlerBeingReplaced, HasEndedEvenIfItsCallThrows) {
    class Throwing : public Fragile {
      public:
        Throwing(Tally& tally, ValueAccessBase& access) : Fragile(tally), m_access(access) {}
        void onNewValue(const ValueObject& value) override {
            Fragile::onNewValue(value);
            if (++m_calls == 2) m_access.setNewValueHandler(nullptr);
            throw std::runtime_error("no handler throws, but a client's may");
        }

      private:
        ValueAccessBase& m_access;
        int m_calls = 0;
    };
    IntegerAccess access(KEY);
    for (int i = 1; i <= 3; ++i) {
        access.setNewValueHandler(std::make_shared<Throwing>(tally, access));
        EXPECT_THROW(call(access), std::runtime_error);
        EXPECT_EQ(tally.alive, 1);
        EXPECT_THROW(call(access), std::runtime_error);
        EXPECT_EQ(tally.alive, 0);
        EXPECT_EQ(tally.calls, 2 * i);
    }
}

// What the two programs are about: whether the system's barrier was asked for at all.
TEST_P(AHandlerBeingReplaced, MakesUseOfTheBarrierIfThereIsOne) {
    IntegerAccess access(KEY, std::make_shared<Fragile>(tally));
    call(access);
    const int before = tests::barriersMade();
    access.setNewValueHandler(nullptr);
    EXPECT_EQ(tests::barriersMade() - before, tests::hasBarrier() ? 1 : 0);
    EXPECT_EQ(tally.alive, 0);
}

TEST_P(AHandlerBeingReplaced, LivesForEverIfTheBarrierFails) {
    IntegerAccess access(KEY, std::make_shared<Fragile>(tally));
    call(access);
    tests::failNextBarrier();
    access.setNewValueHandler(std::make_shared<Fragile>(tally));
    EXPECT_EQ(tally.alive, tests::hasBarrier() ? 2 : 1);
    call(access);
    access.setNewValueHandler(nullptr);
    EXPECT_EQ(tally.alive, tests::hasBarrier() ? 1 : 0);
}

}  // namespace
