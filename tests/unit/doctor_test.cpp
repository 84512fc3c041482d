// The checks of a platform against platforms with one fault each.
#include "checks.h"

#include <gmock/gmock.h>

#include <boost/make_shared.hpp>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <ostream>
#include <set>
#include <stdexcept>
#include <thread>

#include "doctor_report.h"
#include "doctor_results.h"
#include "frame/process.h"
#include "keys.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "television_test.h"
#include "visit.h"

using namespace lomodelapi;
using namespace std::chrono_literals;
using namespace tests::keys;
using conformance::Check;
using conformance::Examination;
using conformance::Passed;
using conformance::Result;
using conformance::Selection;
using conformance::Verdict;
using conformance::Visit;
using simulated::KeyDefinition;
using simulated::KeyFaults;
using simulated::Order;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using tests::eventually;
using tests::examine;
using tests::expectAllPassed;
using tests::expectOnlyFailure;
using tests::Names;

namespace {

// Set by a test for a platform that the simulated television cannot be.
std::atomic<RootInterface*> otherRoot{nullptr};

class OtherInterface final : public frame::Interface {
  public:
    RootInterface* getRootInterface() override {
        if (RootInterface* const other = otherRoot) return other;
        simulated::Television& television = simulated::Television::instance();
        return television.framework().givesRoot() ? television.model().root() : nullptr;
    }
};

}  // namespace

// Stands before that of the simulated television.
int frame::Process::getInterfaceReference(boost::shared_ptr<Interface>& reference, const std::string& name) {
    if (const int status = simulated::Television::instance().framework().lookUp(name); status != 0)
        return status;
    reference = boost::make_shared<OtherInterface>();
    return 0;
}

namespace {

RootInterface& television() { return *simulated::Television::instance().model().root(); }

// A platform that continues to notify an observer of integers after it has disconnected.
class Talkative final : public RootInterface {
  public:
    int connectValue(const std::string& name, Observer* observer, BizValue*& value) override {
        const std::lock_guard lock(m_mutex);
        m_relays.push_back(std::make_unique<Relay>(dynamic_cast<ObserverNumericInteger*>(observer)));
        return television().connectValue(name, m_relays.back().get(), value);
    }
    int disconnectValue(const std::string&, Observer*, BizValue*) override { return 0; }

    // Ends what the clients believe to have ended. Connecting once more yields the object of the key.
    void end(const std::string& name) {
        const std::lock_guard lock(m_mutex);
        BizValue* value = nullptr;
        for (const auto& relay : m_relays) {
            television().connectValue(name, relay.get(), value);
            television().disconnectValue(name, relay.get(), value);
        }
    }

  private:
    struct Relay final : ObserverNumericInteger {
        explicit Relay(ObserverNumericInteger* client) : to(client) {}
        void notifyNewValue(int value) override {
            if (to != nullptr) to->notifyNewValue(value);
        }
        ObserverNumericInteger* const to;
    };

    std::mutex m_mutex;
    std::vector<std::unique_ptr<Relay>> m_relays;
};

// A platform that notifies on the writer's own stack.
class OnTheWritersStack final : public RootInterface, public BizValue {
  public:
    int connectValue(const std::string&, Observer* observer, BizValue*& value) override {
        if (auto* const follower = dynamic_cast<ObserverNumericInteger*>(observer)) m_observer = follower;
        value = this;
        return 0;
    }
    int disconnectValue(const std::string&, Observer*, BizValue*) override {
        m_observer = nullptr;
        return 0;
    }
    ObjectTypeSpec getType() override { return OBJECT_TYPE_NUMERIC_INTEGER; }
    int getInteger() override { return m_value; }
    int setInteger(int value) override {
        m_value = value;
        if (m_observer != nullptr) m_observer->notifyNewValue(value);
        return 0;
    }
    int value() const { return m_value; }

  private:
    ObserverNumericInteger* m_observer = nullptr;
    int m_value = 50;
};

// A platform whose tables do not take iterators back.
class KeepsIterators final : public RootInterface, public BizValue {
  public:
    int connectValue(const std::string& name, Observer* observer, BizValue*& value) override {
        const int status = television().connectValue(name, observer, m_table);
        value = this;
        return status;
    }
    int disconnectValue(const std::string& name, Observer* observer, BizValue*) override {
        return television().disconnectValue(name, observer, m_table);
    }
    ObjectTypeSpec getType() override { return m_table->getType(); }
    TableIterator* createIterator(const IteratorType& type, ObserverTableIterator* observer,
                                  const std::vector<TableSelection>& selections,
                                  const std::vector<int>& columns,
                                  const std::vector<TableOrder>& orders) override {
        return m_table->createIterator(type, observer, selections, columns, orders);
    }
    int releaseIterator(TableIterator*) override { return 0; }

  private:
    BizValue* m_table = nullptr;
};

const std::string KEY_CHECK = std::string("key ") + BRIGHTNESS;
const std::string WRITE_CHECK = std::string("write ") + BRIGHTNESS;
const std::string ORDER_CHECK = std::string("order ") + BRIGHTNESS;
const std::string SILENCE_CHECK = std::string("silence ") + BRIGHTNESS;
const std::string ACTION_CHECK = std::string("action ") + SWITCH_ACTION;
const std::string CHANNELS_CHECK = std::string("channels ") + CHANNELS;

class ADoctor : public tests::TelevisionTest {
  protected:
    ~ADoctor() override { otherRoot = nullptr; }
};

TEST_F(ADoctor, FindsNothingOnATelevisionWithoutAFault) {
    const tests::State before = tests::State::now();
    {
        Examination examination(select(conformance::allChecks(), {.video = false}));
        const std::atomic<bool> stop{false};
        const std::vector<Result> results = examination.run(stop);
        expectAllPassed(results);
        EXPECT_EQ(exitCodeOf(results), EXIT_DONE);
    }
    EXPECT_EQ(tests::State::now(), before);
}

TEST_F(ADoctor, RunsNothingElseWithoutTheProcessFramework) {
    television.framework().failLookups(5);
    const std::vector<Result> results = examine({});
    expectOnlyFailure(results, "framework", "does not give the model's root");
    for (std::size_t i = 1; i < results.size(); ++i) EXPECT_EQ(results[i].verdict, Verdict::NOT_RUN);
    EXPECT_EQ(exitCodeOf(results), EXIT_NO_TELEVISION);
}

TEST_F(ADoctor, RunsNothingElseWithoutTheModelsRoot) {
    television.framework().withholdRoot(true);
    const std::vector<Result> results = examine({});
    expectOnlyFailure(results, "framework", "does not give the model's root");
    EXPECT_EQ(exitCodeOf(results), EXIT_NO_TELEVISION);
}

// One defect each

struct Defect {
    const char* name;
    const char* group;  // of the check that fails
    const char* key;    // whose checks run; empty for all checks of the group
    std::function<void(simulated::Television&, const std::string& key)> cause;
    const char* finding;
};

auto faulty(const KeyFaults& faults) {
    return [faults](auto& television, const auto& key) { television.model().setFaults(key, faults); };
}

auto becomes(ObjectTypeSpec type, const simulated::Value& value) {
    return [=](auto& television, const auto& key) {
        television.model().define({"", key, type, value, {}, ""});
    };
}

auto reads(const simulated::Value& value) {
    return [=](auto& television, const auto& key) { television.model().set(key, value); };
}

const Defect DEFECTS[]{
    {"AKeyThatIsAbsent", "key", BRIGHTNESS,
     [](auto& television, const auto& key) { television.model().withdraw(key); },
     "cannot be connected within 1000 ms (status 5)"},
    {"AKeyWithoutAnObject", "key", BRIGHTNESS, faulty({.connectYieldsNothing = true}), "cannot be connected"},
    {"AKeyOfAnotherType", "key", BRIGHTNESS, becomes(OBJECT_TYPE_STRING, std::string("50")),
     "is of the type text (OBJECT_TYPE_STRING), not integer (OBJECT_TYPE_NUMERIC_INTEGER)"},
    {"AnActionOfAnotherType", "key", SWITCH_ACTION, becomes(OBJECT_TYPE_NUMERIC_INTEGER, 1),
     "is of the type integer"},
    {"ATableOfAnotherType", "key", CHANNELS, becomes(OBJECT_TYPE_NUMERIC_INTEGER, 1),
     "is of the type integer"},
    {"AnUnreadableValue", "key", SOURCE, faulty({.readStatus = 7}), "cannot be read (status 7)"},
    {"AValueOutOfRange", "key", BRIGHTNESS, reads(137), "137 is not in 0..100"},
    {"AListOfAnotherLength", "key", PQ_SETTING, reads(std::vector<int>{1, 2}),
     "has 2 elements instead of 27"},
    {"AKeyThatAnswersLate", "key", BRIGHTNESS, faulty({.answerDelay = 1200ms}), ", more than 2 s"},

    {"AWriteThatIsRefused", "write", BRIGHTNESS, faulty({.refuseWrites = true}),
     "nothing was announced within 4 s after 51 was written, and it reads 50"},
    {"AWriteThatIsNotKept", "write", BRIGHTNESS, faulty({.keepValue = true}),
     "50 was announced after 51 was written"},
    {"AWriteThatIsNotAnnounced", "write", BRIGHTNESS, faulty({.dropNotifications = 1}),
     "nothing was announced within 4 s after 51 was written, and it reads 51"},
    {"AWriteThatIsAnnouncedTwice", "write", BRIGHTNESS, faulty({.repeatNotifications = 1}),
     "2 writes were announced 4 times: [51, 51, 50, 50]"},
    {"AWriteThatIsAnnouncedLate", "write", BRIGHTNESS, faulty({.notificationDelay = 2500ms}),
     "after the write, later than 2 s"},
    {"AListThatIsNotKept", "write", PQ_SETTING, faulty({.keepValue = true}), "was announced after ["},

    {"AnInvocationThatIsRefused", "action", SWITCH_ACTION, faulty({.invokeStatus = 7}),
     "the request was refused (status 7)"},
    {"AnInvocationWithoutAnAnswer", "action", SWITCH_ACTION, faulty({.neverAnswer = true}),
     "was not answered within 4 s"},
    {"AnInvocationAnsweredTwice", "action", SWITCH_ACTION, faulty({.repeatAnswers = 1}),
     "was answered 2 times"},
    {"AnInvocationAnsweredLate", "action", SWITCH_ACTION, faulty({.notificationDelay = 2500ms}),
     "later than 2 s"},
    {"AnInvocationThatFails", "action", SWITCH_ACTION,
     [](auto& television, const auto& key) {
         television.model().setAction(key, [](const auto&) { return simulated::Answer{22, {}}; });
     },
     "the request was answered with the error 22"},

    {"ATableWithUnreadableRows", "channels", CHANNELS, faulty({.readStatus = 7}),
     "reading rows was refused (status 7)"},
    {"AnIteratorThatIsNeverReady", "channels", CHANNELS, faulty({.dropNotifications = 1}),
     "the notification that the iterator is ready did not come within 4 s"},
    {"AnIteratorThatAnswersLate", "channels", CHANNELS, faulty({.notificationDelay = 2500ms}),
     "later than 2 s"},

    {"AManagerOutOfReach", "application-manager", "",
     [](auto& television, const auto&) { television.applications().setReachable(false); },
     "cannot be reached"},
    {"AManagerThatRefuses", "application-manager", "",
     [](auto& television, const auto&) { television.applications().refuseRegistrations(13); },
     "the registration was refused (status 13)"},
};

void PrintTo(const Defect& defect, std::ostream* out) { *out << defect.name; }

class ADefect : public ADoctor, public testing::WithParamInterface<Defect> {};

TEST_P(ADefect, IsTheOnlyFinding) {
    const auto& [name, group, key, cause, finding] = GetParam();
    cause(television, key);
    const tests::State before = tests::State::now();
    expectOnlyFailure(examine({*key == '\0' ? group : key}), conformance::nameOf(group, key), finding);
    EXPECT_EQ(tests::State::now(), before);
}

INSTANTIATE_TEST_SUITE_P(Of, ADefect, testing::ValuesIn(DEFECTS),
                         [](const auto& defect) { return defect.param.name; });

TEST_F(ADoctor, ShowsTextsWithoutControlCharacters) {
    model.set(SOURCE, std::string("\x1b[2J\"<\xff"));
    const std::vector<Result> results = examine({SOURCE});
    EXPECT_EQ(results.back().finding, "text, \"\\x1b[2J\"<\\xff\"");
}

TEST_F(ADoctor, FindsAnAnnouncementOnTheWritersThread) {
    OnTheWritersStack platform;
    otherRoot = &platform;
    expectOnlyFailure(examine({BRIGHTNESS}), WRITE_CHECK, "was announced on the writer's own thread");
    EXPECT_EQ(platform.value(), 50);
}

TEST_F(ADoctor, StepsDownFromTheTopOfTheRange) {
    model.set(BRIGHTNESS, 100);
    ASSERT_TRUE(model.settle());
    expectAllPassed(examine({BRIGHTNESS}));
    EXPECT_EQ(model.value(BRIGHTNESS), simulated::Value(100));
    EXPECT_EQ(model.writes(BRIGHTNESS).front(), simulated::Written(99));
}

TEST_F(ADoctor, FindsQuickWritesThatAreAnnouncedInAnotherOrder) {
    model.holdNotifications();
    auto results = std::async(std::launch::async, [&] { return examine({ORDER_CHECK}); });
    ASSERT_TRUE(eventually([&] { return model.writes(BRIGHTNESS).size() == 2; }));
    model.releaseNotifications(Order::REVERSED);
    expectOnlyFailure(results.get(), ORDER_CHECK, "[50, 51] was announced after 51 and then 50 were written");
    EXPECT_EQ(model.value(BRIGHTNESS), simulated::Value(50));
}

TEST_F(ADoctor, FindsQuickWritesOfWhichOneIsNotAnnounced) {
    model.setFaults(BRIGHTNESS, {.dropNotifications = 1});
    expectOnlyFailure(examine({ORDER_CHECK}), ORDER_CHECK, "of 2 writes without a pause, 1 were announced");
    EXPECT_EQ(model.value(BRIGHTNESS), simulated::Value(50));
}

TEST_F(ADoctor, FindsAnAnnouncementAfterDisconnecting) {
    Talkative platform;
    otherRoot = &platform;
    const std::vector<Result> results = examine({SILENCE_CHECK});
    platform.end(BRIGHTNESS);
    expectOnlyFailure(results, SILENCE_CHECK, "50 was announced to a subscriber that had disconnected");
    EXPECT_EQ(model.value(BRIGHTNESS), simulated::Value(50));
}

TEST_F(ADoctor, FindsAnInvocationThatIsAnsweredUnderAnotherId) {
    model.setFaults(SWITCH_ACTION, {.neverAnswer = true});
    auto results = std::async(std::launch::async, [&] { return examine({ACTION_CHECK}); });
    ASSERT_TRUE(eventually([&] { return !model.invocations(SWITCH_ACTION).empty(); }));
    model.answer(SWITCH_ACTION, 987654, {});
    expectOnlyFailure(results.get(), ACTION_CHECK, "there were answers with other ids: 987654");
}

TEST_F(ADoctor, FindsAnIteratorThatTalksAfterItsRelease) {
    KeepsIterators platform;
    otherRoot = &platform;
    expectOnlyFailure(examine({CHANNELS_CHECK}), CHANNELS_CHECK, "was notified after its release");
    EXPECT_EQ(model.iterators(CHANNELS), 0U);
}

TEST_F(ADoctor, WarnsOfAnEmptyChannelTable) {
    model.setRows(CHANNELS, {});
    const std::vector<Result> results = examine({CHANNELS_CHECK});
    expectAllPassed(results);
    EXPECT_THAT(results.back().advice, HasSubstr("There is no channel"));
}

// Which checks are run

Names namesOf(const Selection& selection) {
    Names names;
    for (const Check& check : select(conformance::allChecks(), selection))
        names.push_back(conformance::nameOf(check.group, check.subject));
    return names;
}

TEST_F(ADoctor, RunsWhatIsNamedAndTheFrameworkFirst) {
    EXPECT_THAT(namesOf({.only = {"callback", WRITE_CHECK}}),
                ElementsAre("framework", WRITE_CHECK, "callback"));
    EXPECT_THAT(namesOf({.only = {BRIGHTNESS}, .skip = {"silence"}}),
                ElementsAre("framework", KEY_CHECK, WRITE_CHECK, ORDER_CHECK));
}

TEST_F(ADoctor, LeavesOutWhatChangesTheTelevisionOrNeedsAPicture) {
    EXPECT_THAT(namesOf({.skip = {"key"}, .changes = false, .video = false}),
                ElementsAre("framework", CHANNELS_CHECK, "application-manager"));
}

TEST_F(ADoctor, RunsEverythingOnceWithoutASelection) {
    const Names names = namesOf({});
    EXPECT_EQ(names.size(), conformance::allChecks().size());
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
    for (const KeyDefinition& key : model.keys()) EXPECT_THAT(names, Contains("key " + key.name));
}

TEST_F(ADoctor, KnowsNoCheckOfAnotherName) {
    EXPECT_THROW(namesOf({.only = {"colour"}}), std::out_of_range);
    EXPECT_THROW(namesOf({.skip = {""}}), std::out_of_range);
}

// Putting back

// A check of a test's own, which changes something.
struct Changing {
    std::atomic<int> value{1};
    std::atomic<bool> refuses{false};

    std::vector<Result> examine(const std::function<void(Visit&)>& then,
                                const std::atomic<bool>& stop = false) {
        Check check{"own", "", "what a test wants to know", {}, [&](Visit& visit) {
                        visit.undoLater("it was 1", [this] {
                            if (refuses) throw conformance::Failure{"it stays 2", ""};
                            value = 1;
                        });
                        value = 2;
                        then(visit);
                        return Passed{"done"};
                    }};
        Examination examination({check, check});
        return examination.run(stop);
    }
};

TEST_F(ADoctor, PutsBackWhatACheckThatThrowsHasChanged) {
    Changing own;
    const std::vector<Result> results =
        own.examine([](Visit&) { throw std::runtime_error("no more memory"); });
    EXPECT_EQ(results.front().verdict, Verdict::FAILED);
    EXPECT_EQ(results.front().finding, "threw an exception: no more memory");
    EXPECT_EQ(own.value, 1);
}

TEST_F(ADoctor, TellsWhatCouldNotBePutBack) {
    Changing own;
    own.refuses = true;
    const std::vector<Result> results = own.examine([](Visit&) {});
    EXPECT_EQ(results.front().verdict, Verdict::FAILED);
    EXPECT_EQ(results.front().finding, "done; it stays 2");
    EXPECT_EQ(results.front().advice, "Put it back by hand.");
}

TEST_F(ADoctor, PutsBackWhatItHasChangedWhenItIsStopped) {
    std::atomic<bool> stop{false};
    model.holdNotifications();
    const tests::State before = tests::State::now();
    auto running = std::async(std::launch::async, [&] { return examine({WRITE_CHECK, "channels"}, stop); });
    ASSERT_TRUE(eventually([&] { return !model.writes(BRIGHTNESS).empty(); }));
    stop = true;
    const std::vector<Result> results = running.get();
    ASSERT_EQ(results.size(), 3U);
    for (const std::size_t i : {1U, 2U}) {
        EXPECT_EQ(results[i].verdict, Verdict::NOT_RUN);
        EXPECT_EQ(results[i].finding, "interrupted");
    }
    EXPECT_EQ(exitCodeOf(results), EXIT_REFUSED);
    EXPECT_EQ(model.writes(BRIGHTNESS).size(), 2U);
    EXPECT_EQ(tests::State::now(), before);
}

TEST_F(ADoctor, FindsACallThatDoesNotReturn) {
    std::promise<void> returned;
    std::atomic<int> value{1};
    const Check hanging{"own", "", "whether it ends", {}, [&](Visit& visit) {
                            visit.undoLater("it was 1", [&] { value = 1; });
                            value = 2;
                            returned.get_future().wait();
                            return Passed{"done"};
                        }};
    const std::atomic<bool> stop{false};
    {
        Examination examination({hanging, hanging}, 100ms);
        const std::vector<Result> results = examination.run(stop);
        EXPECT_TRUE(examination.hangs());
        EXPECT_EQ(results[0].verdict, Verdict::FAILED);
        EXPECT_EQ(
            results[0].finding,
            "has not ended after 0.1 s: a call into the platform does not return; not put back: it was 1");
        EXPECT_EQ(results[1].verdict, Verdict::NOT_RUN);
        EXPECT_EQ(results[1].finding, "an earlier check has not ended");
        returned.set_value();
    }
    EXPECT_EQ(value, 1);
}

// The report

TEST(TheDoctorsText, HasOneLineAndWhatToDoNext) {
    Result result{"key", "a.b", "?", Verdict::PASSED, "integer, 5 in 0..9", "", 3ms};
    EXPECT_EQ(textOf(result), "ok    key a.b: integer, 5 in 0..9   (3 ms)\n");
    result.advice = "Look.";
    EXPECT_EQ(textOf(result), "warn  key a.b: integer, 5 in 0..9   (3 ms)\n      > Look.\n");
    EXPECT_EQ(conformance::summaryOf({result}), "1 passed (1 with a warning), 0 failed, 0 not run");
    result = {"frame", "", "?", Verdict::FAILED, "no frame arrived", "Start the pipeline.", 12ms};
    EXPECT_EQ(textOf(result), "FAIL  frame: no frame arrived   (12 ms)\n      > Start the pipeline.\n");
    result = {"frame", "", "?", Verdict::NOT_RUN, "interrupted", "", 0ms};
    EXPECT_EQ(textOf(result), "--    frame: not run: interrupted\n");
    EXPECT_EQ(conformance::summaryOf({result}), "0 passed, 0 failed, 1 not run");
}

}  // namespace
