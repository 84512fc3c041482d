#include "platform_adaptation/system_access/table_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "attempts.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/object_type_spec.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/table.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "recorders.h"
#include "television_test.h"

using namespace lomodelapi;
using namespace std::chrono_literals;
using simulated::KeyFaults;
using simulated::Rows;
using simulated::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::IteratorRecorder;
using tests::LogLine;

namespace {

using Clock = std::chrono::steady_clock;
using Row = std::vector<std::string>;
using Chunk = std::vector<const Row*>;

constexpr char TABLE_FILE[] = "table_access.cpp";
constexpr char ITERATOR_FILE[] = "iterator_access.cpp";
constexpr auto LIMIT = 30s;

class CountingTableHandler : public TableHandler {
  public:
    void onUpdate(int) override { ++calls; }
    std::atomic<int> calls{0};
};

class TableTest : public tests::TelevisionTest {
  protected:
    void SetUp() override { define(OBJECT_TYPE_TABLE); }

    void define(ObjectTypeSpec type, const Value& value = {}) {
        model.define({"", KEY, type, value, {}, "", {"number", "name", "kind"}, rows()});
    }

    static Rows rows() {
        return {{"1", "delta", "x"}, {"2", "alpha", "y"}, {"3", "charlie", "x"}, {"4", "bravo", "x"}};
    }

    template <typename T>
    void setFault(T KeyFaults::*fault, T value) {
        KeyFaults faults;
        faults.*fault = value;
        model.setFaults(KEY, faults);
    }

    static constexpr char KEY[] = "test.access.table";
};

// Accessors to tables

class ATableAccessor : public TableTest {
  protected:
    static LogLine error(const std::string& message) {
        return {tests::ERROR, TABLE_FILE, "connect", message};
    }

    const std::shared_ptr<CountingTableHandler> handler = std::make_shared<CountingTableHandler>();
};

TEST_F(ATableAccessor, DoesNotConnectWhenItIsCreatedOrDestroyed) {
    {
        const TableAccess without(KEY);
        const TableAccess with(KEY, handler);
        EXPECT_EQ(without.getAccess(), nullptr);
    }
    EXPECT_EQ(handler.use_count(), 1);
    EXPECT_EQ(television.framework().lookups(), 0U);
    EXPECT_EQ(model.connectAttempts(KEY), 0U);
}

TEST_F(ATableAccessor, ReturnsTheTableWhileItIsConnected) {
    TableAccess access(KEY);
    EXPECT_EQ(access.getName(), KEY);
    EXPECT_EQ(access.connect(1000), 0);
    EXPECT_EQ(model.connectAttempts(KEY), 1U);
    EXPECT_EQ(model.subscribers(KEY), 1U);
    ASSERT_NE(access.getAccess(), nullptr);
    EXPECT_EQ(access.getAccess()->getType(), OBJECT_TYPE_TABLE);
    EXPECT_EQ(access.getType(), OBJECT_TYPE_TABLE);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(access.disconnect(), 0);
    EXPECT_EQ(model.subscribers(KEY), 0U);
    EXPECT_EQ(access.getAccess(), nullptr);
    EXPECT_EQ(access.getType(), 0);
    EXPECT_EQ(access.connect(0), 0);
    EXPECT_NE(access.getAccess(), nullptr);
}

TEST_F(ATableAccessor, DisconnectsFromTheModelWithoutAConnection) {
    {
        TableAccess access(KEY);
        EXPECT_EQ(access.disconnect(), 0);
        EXPECT_EQ(access.disconnect(), 0);
    }
    EXPECT_EQ(television.framework().lookups(), 2U);
}

TEST_F(ATableAccessor, ConnectsToAnObjectOfAnyType) {
    const std::vector<std::pair<ObjectTypeSpec, Value>> types{
        {OBJECT_TYPE_NONE, {}},   {OBJECT_TYPE_NUMERIC_INTEGER, 1}, {OBJECT_TYPE_STRING, std::string()},
        {OBJECT_TYPE_ACTION, {}}, {OBJECT_TYPE_NUMERIC_INT64, 1LL},
    };
    for (const auto& [type, value] : types) {
        SCOPED_TRACE(type);
        define(type, value);
        TableAccess access(KEY);
        EXPECT_EQ(access.connect(0), 0);
        EXPECT_EQ(access.getType(), type);
        EXPECT_EQ(model.subscribers(KEY), 1U);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ATableAccessor, KeepsItsConnectionAndTheTimeoutOfTheLastCall) {
    TableAccess access(KEY);
    ASSERT_EQ(access.connect(0), 0);
    const BizValue* const table = access.getAccess();
    const unsigned lookups = television.framework().lookups();
    for (const int timeoutMs : {5000, INT_MIN, 250}) EXPECT_EQ(access.connect(timeoutMs), 0);
    EXPECT_EQ(access.getAccess(), table);
    EXPECT_EQ(television.framework().lookups(), lookups);
    EXPECT_EQ(model.connectAttempts(KEY), 1U);
    access.disconnect();
    model.withdraw(KEY);
    EXPECT_EQ(access.tryConnectIfNeeded(), 5);
    EXPECT_EQ(model.connectAttempts(KEY), 1U + 3U);
}

TEST_F(ATableAccessor, LogsTheStatusOfTheModelIfItCannotConnect) {
    TableAccess access(KEY);
    for (const int status : {3, 99, -1}) {
        setFault(&KeyFaults::connectStatus, status);
        log.clear();
        EXPECT_EQ(access.connect(0), 5);
        EXPECT_THAT(log.lines(), ElementsAre(error("Failed " + std::to_string(status) + ".\n")));
    }
    setFault(&KeyFaults::connectYieldsNothing, true);
    log.clear();
    EXPECT_EQ(access.connect(0), 5);
    EXPECT_THAT(log.lines(), ElementsAre(error("Failed 0.\n")));
    EXPECT_EQ(access.getAccess(), nullptr);
    model.setFaults(KEY, {});
    EXPECT_EQ(access.connect(0), 0);
}

TEST_F(ATableAccessor, DisconnectsWhenDestroyedThroughAnyBaseClass) {
    const std::vector<std::function<void(TableAccess*)>> ways{
        [](TableAccess* access) { delete access; },
        [](TableAccess* access) { delete static_cast<ValueAccessBase*>(access); },
        [](TableAccess* access) { delete static_cast<ObserverTable*>(access); },
    };
    for (const auto& destroy : ways) {
        auto access = std::make_unique<TableAccess>(KEY, handler);
        ASSERT_EQ(access->connect(0), 0);
        destroy(access.release());
        EXPECT_EQ(model.subscribers(KEY), 0U);
        EXPECT_EQ(handler.use_count(), 1);
    }
}

TEST_F(ATableAccessor, ReleasesAReplacedHandler) {
    TableAccess access(KEY);
    EXPECT_EQ(access.setActionResultHandler(handler), 0);
    EXPECT_EQ(access.setActionResultHandler(nullptr), 0);
    EXPECT_EQ(handler.use_count(), 1);
}

TEST_F(ATableAccessor, LogsAnUpdateWithoutCallingItsHandler) {
    TableAccess access(KEY, handler);
    for (const int kind : {0, 1, -1}) access.notifyUpdate(kind);
    EXPECT_EQ(log.countEnter(TABLE_FILE, "notifyUpdate"), 3U);
    ASSERT_EQ(access.connect(0), 0);
    model.setRows(KEY, {{"9", "zulu", "z"}});
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(log.countEnter(TABLE_FILE, "notifyUpdate"), 4U);
    EXPECT_EQ(log.lines().size(), 4U);
    EXPECT_EQ(handler->calls, 0);
}

class ATablesTimeout : public TableTest, public testing::WithParamInterface<tests::Attempts> {};

TEST_P(ATablesTimeout, DeterminesTheNumberOfAttempts) { tests::expectAttempts<TableAccess>(KEY, GetParam()); }

INSTANTIATE_TEST_SUITE_P(, ATablesTimeout, testing::ValuesIn(tests::ATTEMPTS));

// Accessors to iterators

constexpr IteratorType AS_NOW{0, 100};
constexpr IteratorType FOLLOWING{1, 100};

class IteratorTest : public TableTest {
  protected:
    // By default, the iterator has the columns of the numbers and the names.
    std::unique_ptr<IteratorAccess> make(const IteratorType& type = AS_NOW,
                                         const std::vector<TableSelection>& selection = {},
                                         const std::vector<int>& columns = {0, 1},
                                         const std::vector<TableOrder>& order = {}) {
        return std::make_unique<IteratorAccess>(KEY, handler, type, selection, columns, order);
    }

    // Returns an accessor with an open iterator, whose first notification has been discarded.
    template <typename... Arguments>
    std::unique_ptr<IteratorAccess> open(const Arguments&... arguments) {
        auto access = make(arguments...);
        EXPECT_EQ(access->create(), 0);
        EXPECT_NE(access->getIterator(), nullptr);
        answers();
        return access;
    }

    // Returns the notifications since the last call.
    std::vector<std::string> answers() {
        EXPECT_TRUE(model.settle());
        const std::vector<std::string> notifications = handler->received.all();
        handler->received.forget();
        return notifications;
    }

    // Returns the notifications that answer the request.
    std::vector<std::string> answersTo(const std::function<int(TableIterator&)>& request,
                                       const IteratorAccess& access) {
        EXPECT_EQ(request(*access.getIterator()), 0);
        return answers();
    }

    // Reads all rows in one chunk.
    std::string contents(const IteratorAccess& access) {
        EXPECT_EQ(access.getIterator()->seekToRow(0), 0);
        EXPECT_EQ(access.getIterator()->readRowChunk(100), 0);
        return answers().back();
    }

    static LogLine connectError(int status) {
        return {tests::ERROR, ITERATOR_FILE, "create",
                std::string("Error connect name : ") + KEY + ",  status: " + std::to_string(status) + "\n"};
    }

    const std::shared_ptr<IteratorRecorder> handler = std::make_shared<IteratorRecorder>();
};

using AnIteratorAccessor = IteratorTest;

TEST_F(AnIteratorAccessor, DoesNotOpenItsIteratorWhenItConnects) {
    const auto access = make();
    EXPECT_EQ(access->getName(), KEY);
    EXPECT_EQ(access->connect(5000), 0);
    EXPECT_EQ(access->disconnect(), 0);
    EXPECT_EQ(access->getIterator(), nullptr);
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(television.framework().lookups(), 0U);
    EXPECT_EQ(model.connectAttempts(KEY), 0U);
}

TEST_F(AnIteratorAccessor, ConnectsAtOnceWithoutATable) {
    model.withdraw(KEY);
    const auto access = make();
    EXPECT_EQ(access->connect(5000), 0);
    EXPECT_EQ(model.connectAttempts(KEY), 0U);
}

TEST_F(AnIteratorAccessor, KeepsItsIteratorWhenItDisconnects) {
    const auto access = open();
    EXPECT_EQ(access->disconnect(), 0);
    EXPECT_EQ(model.subscribers(KEY), 1U);
    EXPECT_EQ(model.iterators(KEY), 1U);
    EXPECT_NE(access->getIterator(), nullptr);
}

TEST_F(AnIteratorAccessor, OpensItsIteratorWhenItIsCreated) {
    const auto access = make();
    EXPECT_EQ(access->create(), 0);
    EXPECT_NE(access->getIterator(), nullptr);
    EXPECT_EQ(model.iterators(KEY), 1U);
    EXPECT_EQ(model.subscribers(KEY), 1U);
    EXPECT_EQ(model.connectAttempts(KEY), 1U);
    EXPECT_THAT(answers(), ElementsAre("ready 4"));
}

TEST_F(AnIteratorAccessor, CopiesItsConstructorArguments) {
    IteratorType type{0, 2};
    std::vector<TableSelection> selection{{2, "x"}};
    std::vector<int> columns{1};
    std::vector<TableOrder> order{{1, true}};
    const auto access = make(type, selection, columns, order);
    type = {1, 0};
    selection[0].value = "y";
    columns.assign({0, 0});
    order.clear();
    ASSERT_EQ(access->create(), 0);
    EXPECT_EQ(access->getIterator()->readRowChunk(100), 0);
    EXPECT_THAT(answers(), ElementsAre("ready 3", "chunk bravo charlie"));
}

TEST_F(AnIteratorAccessor, TriesForOneSecondToConnectToItsTable) {
    model.withdraw(KEY);
    const auto access = make();
    const auto start = Clock::now();
    EXPECT_EQ(access->create(), 4);
    const auto elapsed = Clock::now() - start;
    EXPECT_GE(elapsed, 1s);
    EXPECT_LT(elapsed, 11s);
    EXPECT_EQ(model.connectAttempts(KEY), 10U);
    EXPECT_EQ(log.count(connectError(5)), 1U);
    EXPECT_EQ(log.count({tests::ERROR, TABLE_FILE, "connect",
                         "Failed " + std::to_string(simulated::STATUS_UNAVAILABLE) + ".\n"}),
              1U);
    EXPECT_EQ(access->getIterator(), nullptr);
    EXPECT_EQ(access->destroy(), 0);
    EXPECT_EQ(model.subscribers(KEY), 0U);
    model.offer(KEY);
    EXPECT_EQ(access->create(), 0);
    EXPECT_EQ(model.iterators(KEY), 1U);
}

TEST_F(AnIteratorAccessor, CannotBeCreatedOnAnUnknownTable) {
    IteratorAccess access("test.access.unknown", handler, AS_NOW, {}, {0}, {});
    EXPECT_EQ(access.create(), 4);
    EXPECT_EQ(log.withMessage("Error connect name : test.access.unknown,  status: 5\n").size(), 1U);
    EXPECT_EQ(access.getIterator(), nullptr);
}

TEST_F(AnIteratorAccessor, KeepsItsIteratorIfItCannotBeCreatedAgain) {
    const auto access = open();
    TableIterator* const iterator = access->getIterator();
    model.withdraw(KEY);
    EXPECT_EQ(access->create(), 4);
    model.offer(KEY);
    answers();
    EXPECT_EQ(access->getIterator(), iterator);
    EXPECT_EQ(model.iterators(KEY), 1U);
    EXPECT_THAT(answersTo([](TableIterator& it) { return it.requestTotalCount(); }, *access),
                ElementsAre("total 4"));
}

TEST_F(AnIteratorAccessor, HasNoIteratorForAnObjectThatIsNoTable) {
    define(OBJECT_TYPE_NUMERIC_INTEGER, 1);
    {
        const auto access = make();
        EXPECT_EQ(access->create(), 0);
        EXPECT_EQ(access->getIterator(), nullptr);
        EXPECT_EQ(access->destroy(), 0);
        EXPECT_THAT(answers(), IsEmpty());
    }
    define(OBJECT_TYPE_TABLE, {});
    const auto access = make();
    EXPECT_EQ(access->create(), 0);
    EXPECT_NE(access->getIterator(), nullptr);
}

TEST_F(AnIteratorAccessor, MayBeCreatedTwice) {
    auto access = open();
    EXPECT_EQ(access->create(), 0);
    answers();
    EXPECT_THAT(answersTo([](TableIterator& it) { return it.requestTotalCount(); }, *access),
                ElementsAre("total 4"));
    access.reset();
    EXPECT_EQ(model.subscribers(KEY), 0U);
    EXPECT_EQ(model.iterators(KEY), 0U);
    EXPECT_EQ(handler.use_count(), 1);
}

TEST_F(AnIteratorAccessor, DoesNothingIfItIsDestroyedBeforeItIsCreated) {
    const auto access = make();
    EXPECT_EQ(access->destroy(), 0);
    EXPECT_EQ(access->getIterator(), nullptr);
    EXPECT_EQ(television.framework().lookups(), 0U);
}

TEST_F(AnIteratorAccessor, ReleasesItsIteratorOnceAndKeepsTheTable) {
    const auto access = open(FOLLOWING);
    // Another iterator of the same table must not be affected.
    const auto other = std::make_shared<IteratorRecorder>();
    IteratorAccess neighbour(KEY, other, AS_NOW, {}, {0}, {});
    ASSERT_EQ(neighbour.create(), 0);
    EXPECT_EQ(model.iterators(KEY), 2U);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(access->destroy(), 0);
        EXPECT_EQ(access->getIterator(), nullptr);
        EXPECT_EQ(model.iterators(KEY), 1U);
        EXPECT_EQ(model.subscribers(KEY), 2U);
    }
    model.setRows(KEY, {});
    EXPECT_THAT(answers(), IsEmpty());
    EXPECT_EQ(neighbour.getIterator()->requestTotalCount(), 0);
    ASSERT_TRUE(model.settle());
    EXPECT_EQ(other->received.all().back(), "total 4");
}

TEST_F(AnIteratorAccessor, ReceivesNothingAfterItReleasesItsIterator) {
    const auto access = open(FOLLOWING);
    model.holdNotifications();
    EXPECT_EQ(access->getIterator()->requestTotalCount(), 0);
    model.setRows(KEY, {});
    EXPECT_EQ(access->destroy(), 0);
    model.releaseNotifications(simulated::Order::AS_THEY_CAME);
    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(AnIteratorAccessor, MayBeCreatedAgainAfterItReleasesItsIterator) {
    const auto access = open();
    EXPECT_EQ(access->destroy(), 0);
    EXPECT_EQ(access->create(), 0);
    EXPECT_NE(access->getIterator(), nullptr);
    EXPECT_EQ(model.iterators(KEY), 1U);
    EXPECT_THAT(answers(), ElementsAre("ready 4"));
}

TEST_F(AnIteratorAccessor, DoesNotDisconnectIfItWasNeverCreated) {
    make().reset();
    EXPECT_EQ(log.countEnter(ITERATOR_FILE, "~IteratorAccess"), 1U);
    EXPECT_EQ(television.framework().lookups(), 0U);
    EXPECT_EQ(handler.use_count(), 1);
}

TEST_F(AnIteratorAccessor, DisconnectsWhenDestroyedThroughAnyBaseClass) {
    const std::vector<std::function<void(IteratorAccess*)>> ways{
        [](IteratorAccess* access) { delete access; },
        [](IteratorAccess* access) { delete static_cast<ValueAccessBase*>(access); },
        [](IteratorAccess* access) { delete static_cast<ObserverTableIterator*>(access); },
    };
    for (const auto& destroy : ways) {
        auto access = open(FOLLOWING);
        model.holdNotifications();
        access->getIterator()->requestTotalCount();
        model.setRows(KEY, rows());
        log.clear();
        destroy(access.release());
        EXPECT_EQ(log.countEnter(ITERATOR_FILE, "~IteratorAccess"), 1U);
        EXPECT_EQ(model.subscribers(KEY), 0U);
        EXPECT_EQ(model.iterators(KEY), 0U);
        EXPECT_EQ(handler.use_count(), 1);
        model.releaseNotifications(simulated::Order::AS_THEY_CAME);
        model.setRows(KEY, {});
        EXPECT_THAT(answers(), IsEmpty());
    }
}

TEST_F(AnIteratorAccessor, DisconnectsItsTableAfterItReleasesItsIterator) {
    auto access = open();
    access->destroy();
    access.reset();
    EXPECT_EQ(model.subscribers(KEY), 0U);
}

TEST_F(AnIteratorAccessor, ReceivesNothingAfterItsDestruction) {
    auto access = open(FOLLOWING);
    const auto other = std::make_shared<IteratorRecorder>();
    IteratorAccess neighbour(KEY, other, FOLLOWING, {}, {0}, {});
    ASSERT_EQ(neighbour.create(), 0);
    access.reset();
    EXPECT_EQ(model.subscribers(KEY), 1U);
    // If the destroyed accessor's iterator still existed, the model would call a destroyed object.
    ASSERT_EQ(model.iterators(KEY), 1U);
    model.setRows(KEY, {});
    EXPECT_THAT(answers(), IsEmpty());
    EXPECT_EQ(other->received.all().back(), "update 0");
}

TEST_F(AnIteratorAccessor, WaitsInItsDestructorForACurrentNotification) {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<bool> left{false};
    auto access = make();
    access->setActionResultHandler(std::make_shared<IteratorRecorder>([&] {
        entered.set_value();
        mayLeave.get_future().wait_for(LIMIT);
        left = true;
    }));
    ASSERT_EQ(access->create(), 0);
    ASSERT_EQ(entered.get_future().wait_for(LIMIT), std::future_status::ready);
    auto destroying = std::async(std::launch::async, [&] {
        access.reset();
        return left.load();
    });
    // A destructor that does not wait would end within this time.
    EXPECT_EQ(destroying.wait_for(50ms), std::future_status::timeout);
    mayLeave.set_value();
    EXPECT_TRUE(destroying.get());
}

// The notifications

const Row ROW{"7", "seven"};
const Row OTHER_ROW{"8"};
const Chunk CHUNK{&ROW, &OTHER_ROW, &ROW};

struct Notification {
    const char* name;
    std::function<void(IteratorAccess&)> call;
    std::string text;
    const void* address;
};

std::vector<Notification> allNotifications() {
    std::vector<Notification> all{
        {"row", [](IteratorAccess& access) { access.notifyReadRow(ROW); }, "row 7,seven", &ROW},
        {"chunk", [](IteratorAccess& access) { access.notifyReadRowChunk(CHUNK); }, "chunk 7,seven 8 7,seven",
         &CHUNK},
    };
    using Operation = void (IteratorAccess::*)(int);
    const std::vector<std::pair<const char*, Operation>> operations{
        {"commit", &IteratorAccess::notifyCommit},         {"total", &IteratorAccess::notifyTotalCount},
        {"seek", &IteratorAccess::notifySeekToRow},        {"content", &IteratorAccess::notifySeekToContent},
        {"cursor", &IteratorAccess::notifyCursorPosition}, {"ready", &IteratorAccess::notifyIteratorReady},
        {"update", &IteratorAccess::notifyUpdate},
    };
    for (const auto& [name, operation] : operations)
        for (const int number : {INT_MIN, -1, 0, 5, INT_MAX})
            all.push_back(
                {name,
                 [operation = operation, number](IteratorAccess& access) { (access.*operation)(number); },
                 std::string(name) + " " + std::to_string(number), nullptr});
    return all;
}

using AnIteratorsNotification = IteratorTest;

TEST_F(AnIteratorsNotification, IsPassedUnchangedWithoutALogLine) {
    const auto access = make();
    for (const Notification& notification : allNotifications()) {
        SCOPED_TRACE(notification.text);
        handler->received.forget();
        notification.call(*access);
        EXPECT_THAT(handler->received.all(), ElementsAre(notification.text));
        EXPECT_EQ(handler->address, notification.address);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AnIteratorsNotification, IsDroppedWithoutAHandler) {
    const auto access = make();
    EXPECT_EQ(access->setActionResultHandler(nullptr), 0);
    EXPECT_EQ(handler.use_count(), 1);
    for (const Notification& notification : allNotifications()) notification.call(*access);
    EXPECT_THAT(handler->received.all(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AnIteratorsNotification, MayReplaceItsOwnHandler) {
    const auto access = make();
    for (const Notification& notification : allNotifications()) {
        SCOPED_TRACE(notification.text);
        handler->received.forget();
        auto leaving = std::make_shared<IteratorRecorder>([&] { access->setActionResultHandler(handler); });
        const std::weak_ptr<IteratorRecorder> watched = leaving;
        EXPECT_EQ(access->setActionResultHandler(std::move(leaving)), 0);
        notification.call(*access);
        EXPECT_TRUE(watched.expired());
        EXPECT_THAT(handler->received.all(), IsEmpty());
        notification.call(*access);
        EXPECT_THAT(handler->received.all(), ElementsAre(notification.text));
    }
}

// The television's tables

using ATelevisionsTable = IteratorTest;

TEST_F(ATelevisionsTable, AnswersOnAnotherThread) {
    std::atomic<std::thread::id> thread{std::this_thread::get_id()};
    const auto recorder = std::make_shared<IteratorRecorder>([&] { thread = std::this_thread::get_id(); });
    IteratorAccess access(KEY, recorder, AS_NOW, {}, {0}, {});
    ASSERT_EQ(access.create(), 0);
    ASSERT_TRUE(model.settle());
    EXPECT_NE(thread.load(), std::this_thread::get_id());
}

TEST_F(ATelevisionsTable, ReturnsItsNumberOfRowsAndAcceptsACommit) {
    const auto access = open();
    EXPECT_THAT(answersTo([](TableIterator& it) { return it.requestTotalCount(); }, *access),
                ElementsAre("total 4"));
    EXPECT_THAT(answersTo([](TableIterator& it) { return it.commit(); }, *access), ElementsAre("commit 0"));
}

TEST_F(ATelevisionsTable, SeeksOnlyExistingRows) {
    const auto access = open();
    EXPECT_THAT(answersTo([](TableIterator& it) { return it.requestCursorPosition(); }, *access),
                ElementsAre("cursor 0"));
    const std::vector<std::pair<int, int>> table{{0, 0},   {2, 2},        {3, 3},        {4, -1},
                                                 {-1, -1}, {INT_MAX, -1}, {INT_MIN, -1}, {1, 1}};
    for (const auto& [wanted, found] : table) {
        EXPECT_THAT(answersTo([&, row = wanted](TableIterator& it) { return it.seekToRow(row); }, *access),
                    ElementsAre("seek " + std::to_string(found)));
        if (found < 0) continue;
        EXPECT_THAT(answersTo([](TableIterator& it) { return it.requestCursorPosition(); }, *access),
                    ElementsAre("cursor " + std::to_string(found)));
        EXPECT_THAT(answersTo([](TableIterator& it) { return it.readRow(); }, *access),
                    ElementsAre("row " + std::to_string(found + 1) + "," +
                                rows()[static_cast<std::size_t>(found)][1]));
    }
}

TEST_F(ATelevisionsTable, FindsARowByItsContent) {
    const auto access = open();
    const auto seek = [&](int column, const char* value) {
        return answersTo([&](TableIterator& it) { return it.seekToContent(column, value); }, *access);
    };
    EXPECT_THAT(seek(1, "charlie"), ElementsAre("content 2"));
    EXPECT_THAT(answersTo([](TableIterator& it) { return it.readRow(); }, *access),
                ElementsAre("row 3,charlie"));
    EXPECT_THAT(seek(0, "1"), ElementsAre("content 0"));
    EXPECT_THAT(seek(1, "charli"), ElementsAre("content -1"));
    EXPECT_THAT(seek(0, "charlie"), ElementsAre("content -1"));
    EXPECT_THAT(seek(-1, "1"), ElementsAre("content -1"));
    EXPECT_THAT(seek(INT_MAX, ""), ElementsAre("content -1"));
}

TEST_F(ATelevisionsTable, ReturnsChunksOfAtMostTheAgreedSize) {
    const auto access = open(IteratorType{0, 3}, std::vector<TableSelection>{}, std::vector<int>{0});
    const std::vector<std::tuple<int, int, std::string>> table{
        {0, 2, "chunk 1 2"}, {0, 3, "chunk 1 2 3"}, {0, 100, "chunk 1 2 3"}, {2, 3, "chunk 3 4"},
        {3, 1, "chunk 4"},   {1, 0, "chunk"},       {1, -5, "chunk"},
    };
    for (const auto& [from, count, chunk] : table) {
        ASSERT_EQ(access->getIterator()->seekToRow(from), 0);
        ASSERT_EQ(access->getIterator()->readRowChunk(count), 0);
        EXPECT_THAT(answers(), ElementsAre("seek " + std::to_string(from), chunk));
    }
}

struct View {
    std::vector<TableSelection> selection;
    std::vector<int> columns;
    std::vector<TableOrder> order;
    const char* ready;
    const char* contents;
};

TEST_F(ATelevisionsTable, IsFilteredAndSortedForTheIterator) {
    const std::vector<View> table{
        {{}, {0, 1, 2}, {}, "ready 4", "chunk 1,delta,x 2,alpha,y 3,charlie,x 4,bravo,x"},
        {{}, {2, 0, 2}, {}, "ready 4", "chunk x,1,x y,2,y x,3,x x,4,x"},
        {{{2, "x"}}, {0}, {}, "ready 3", "chunk 1 3 4"},
        {{{2, "x"}, {1, "bravo"}}, {0}, {}, "ready 1", "chunk 4"},
        {{{2, "y"}, {1, "bravo"}}, {0}, {}, "ready 0", "chunk"},
        {{}, {0}, {{1, true}}, "ready 4", "chunk 2 4 3 1"},
        {{}, {0}, {{1, false}}, "ready 4", "chunk 1 3 4 2"},
        {{}, {0}, {{2, false}, {1, true}}, "ready 4", "chunk 2 4 3 1"},
        {{}, {0}, {{2, true}, {0, false}}, "ready 4", "chunk 4 3 1 2"},
        {{{2, "x"}}, {1}, {{1, true}}, "ready 3", "chunk bravo charlie delta"},
    };
    for (const View& view : table) {
        const auto access = make(AS_NOW, view.selection, view.columns, view.order);
        ASSERT_EQ(access->create(), 0);
        EXPECT_THAT(answers(), ElementsAre(view.ready));
        EXPECT_EQ(contents(*access), view.contents);
    }
}

TEST_F(ATelevisionsTable, ReturnsAnEmptyRowIfItIsEmpty) {
    model.setRows(KEY, {});
    const auto access = open();
    EXPECT_THAT(answersTo([](TableIterator& it) { return it.readRow(); }, *access), ElementsAre("row "));
    EXPECT_THAT(answersTo([](TableIterator& it) { return it.requestCursorPosition(); }, *access),
                ElementsAre("cursor -1"));
}

TEST_F(ATelevisionsTable, NotifiesOnlyFollowingIteratorsOfUpdates) {
    const std::vector<TableSelection> selection{{2, "x"}};
    const auto following = open(FOLLOWING, selection);
    const auto other = std::make_shared<IteratorRecorder>();
    IteratorAccess fixed(KEY, other, AS_NOW, selection, {0, 1}, {});
    ASSERT_EQ(fixed.create(), 0);
    ASSERT_TRUE(model.settle());
    const Rows changed{{"5", "echo", "x"}, {"6", "foxtrot", "y"}};
    model.setRows(KEY, changed);
    EXPECT_THAT(answers(), ElementsAre("update 0"));
    EXPECT_EQ(contents(*following), "chunk 5,echo");
    EXPECT_EQ(fixed.getIterator()->readRowChunk(100), 0);
    ASSERT_TRUE(model.settle());
    EXPECT_THAT(other->received.all(), ElementsAre("ready 3", "chunk 1,delta 3,charlie 4,bravo"));
    EXPECT_EQ(model.rows(KEY), changed);
}

TEST_F(ATelevisionsTable, RefusesRequestsWhileItIsWithdrawn) {
    const auto access = open();
    model.withdraw(KEY);
    TableIterator& iterator = *access->getIterator();
    const std::vector<int> statuses{
        iterator.requestTotalCount(),
        iterator.requestCursorPosition(),
        iterator.seekToRow(0),
        iterator.seekToContent(0, "1"),
        iterator.readRow(),
        iterator.readRowChunk(1),
        iterator.commit(),
    };
    EXPECT_THAT(statuses, testing::Each(testing::Ne(0)));
    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(ATelevisionsTable, ListsTheChannels) {
    IteratorAccess access("dovra.sl2.table.channel.list", handler, {0, 10}, {{6, "1"}}, {0, 1}, {});
    ASSERT_EQ(access.create(), 0);
    EXPECT_EQ(access.getIterator()->readRow(), 0);
    EXPECT_THAT(answers(), ElementsAre("ready 1", "row 4,Garden"));
}

}  // namespace
