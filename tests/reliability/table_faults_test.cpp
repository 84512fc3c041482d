// Faults of the model's tables and their iterators.
#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <memory>
#include <vector>

#include "eventually.h"
#include "keys.h"
#include "model_fault_fixture.h"
#include "recorders.h"

using namespace lomodelapi;
using namespace tests::keys;
using simulated::KeyFaults;
using simulated::Order;
using testing::ElementsAre;
using tests::Clock;
using tests::DELAY;
using tests::eventually;
using tests::FaultTest;
using tests::IteratorRecorder;

namespace {

class OnATable : public FaultTest {
  protected:
    // Creates an accessor, waits until its iterator is ready, and discards that notification.
    std::unique_ptr<IteratorAccess> open(const std::vector<int>& columns = {0, 1}) {
        auto iterator = std::make_unique<IteratorAccess>(CHANNELS, recorder, IteratorType{1, 3},
                                                         std::vector<TableSelection>(), columns,
                                                         std::vector<TableOrder>());
        EXPECT_EQ(iterator->create(), 0);
        EXPECT_TRUE(recorder->received.waitForBeginning("ready"));
        recorder->received.forget();
        return iterator;
    }

    const std::shared_ptr<IteratorRecorder> recorder = std::make_shared<IteratorRecorder>();
};

class TheTable : public OnATable {};

TEST_F(TheTable, IsConnectedOnceItIsAvailable) {
    model.withdraw(CHANNELS);
    TableAccess table(CHANNELS);
    auto connecting = std::async(std::launch::async, [&] { return table.connect(60000); });
    EXPECT_TRUE(eventually([&] { return model.connectAttempts(CHANNELS) >= 2; }));
    model.offer(CHANNELS);
    EXPECT_EQ(connecting.get(), 0);
    EXPECT_NE(table.getAccess(), nullptr);
}

TEST_F(TheTable, NotifiesTwiceOfARepeatedUpdate) {
    const auto iterator = open();
    const auto updates = [this] { return log.countEnter("table_access.cpp", "notifyUpdate"); };
    setFault(CHANNELS, &KeyFaults::repeatNotifications, 1U);
    model.setRows(CHANNELS, {{"1", "One"}});
    EXPECT_TRUE(recorder->received.waitFor("update 0", 2));
    EXPECT_EQ(updates(), 2U);
    clearFaults(CHANNELS);
    model.setRows(CHANNELS, {{"1", "One"}, {"2", "Two"}});
    EXPECT_TRUE(recorder->received.waitFor("update 0", 3));
    EXPECT_EQ(updates(), 3U);
}

TEST_F(TheTable, MayHave5000Rows) {
    const auto iterator = open();
    model.setRows(CHANNELS, simulated::Rows(5000, {"1", "One"}));
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->received.waitFor("total 5000"));
    model.setRows(CHANNELS, {{"1", "One"}});
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->received.waitFor("total 1"));
}

TEST_F(TheTable, FillsMissingColumnsWithEmptyTexts) {
    const auto iterator = open();
    model.setRows(CHANNELS, {{"1"}, {"2", "Two"}});
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->received.waitFor("row 1,"));
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->received.waitFor("row 2,Two"));
}

class TheIterator : public OnATable {};

TEST_F(TheIterator, AnswersAfterTheRequestHasReturned) {
    const auto iterator = open();
    setFault<std::chrono::milliseconds>(CHANNELS, &KeyFaults::notificationDelay, DELAY);
    const auto start = Clock::now();
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->received.waitFor("total 5"));
    EXPECT_GE(Clock::now() - start, DELAY);
    clearFaults(CHANNELS);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->received.waitFor("row 1,First"));
}

TEST_F(TheIterator, AnswersTheRequestAfterALostOne) {
    const auto iterator = open();
    setFault(CHANNELS, &KeyFaults::dropNotifications, 1U);
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->received.waitFor("row 1,First"));
    EXPECT_EQ(recorder->received.count(), 1U);
}

TEST_F(TheIterator, PassesARepeatedAnswerTwice) {
    const auto iterator = open();
    setFault(CHANNELS, &KeyFaults::repeatNotifications, 1U);
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_TRUE(recorder->received.waitFor("total 5", 2));
    clearFaults(CHANNELS);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(model.settle());
    EXPECT_THAT(recorder->received.all(), ElementsAre("total 5", "total 5", "row 1,First"));
}

TEST_F(TheIterator, PassesAnswersInTheOrderOfArrival) {
    const auto iterator = open();
    model.holdNotifications();
    EXPECT_EQ(iterator->getIterator()->requestTotalCount(), 0);
    EXPECT_EQ(iterator->getIterator()->seekToRow(1), 0);
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    model.releaseNotifications(Order::REVERSED);
    EXPECT_TRUE(model.settle());
    EXPECT_THAT(recorder->received.all(), ElementsAre("row 2,Night", "seek 1", "total 5"));
    EXPECT_EQ(iterator->getIterator()->requestCursorPosition(), 0);
    EXPECT_TRUE(recorder->received.waitFor("cursor 2"));
}

TEST_F(TheIterator, ReadsMissingColumnsAsEmptyTexts) {
    {
        const auto iterator = open({0, 99, -1});
        EXPECT_EQ(iterator->getIterator()->readRow(), 0);
        EXPECT_TRUE(recorder->received.waitFor("row 1,,"));
        EXPECT_EQ(iterator->getIterator()->seekToRow(99), 0);
        EXPECT_TRUE(recorder->received.waitFor("seek -1"));
    }
    recorder->received.forget();
    const auto iterator = open();
    EXPECT_EQ(iterator->getIterator()->readRow(), 0);
    EXPECT_TRUE(recorder->received.waitFor("row 1,First"));
}

}  // namespace
