// Several clients of a television in another process.
#include <gmock/gmock.h>

#include <csignal>
#include <memory>
#include <string>

#include "keys.h"
#include "remote_television_fixture.h"

using namespace tests::keys;
using testing::ElementsAre;
using tests::ActionRecorder;
using tests::ATelevisionProcess;
using tests::ChildProcess;
using tests::eventually;
using tests::Integer;
using tests::Service;
using tests::ValueRecorder;

namespace {

class SeveralClients : public ATelevisionProcess {
  protected:
    static bool perform(ChildProcess& client, const std::string& command) {
        const std::size_t before = client.output().size();
        client.send(command);
        // Finds the first "done" after the earlier output.
        return eventually([&] { return client.output().find("done ", before) != std::string::npos; }) &&
               client.output().find("done 0\n", before) != std::string::npos;
    }

    ChildProcess first{{CLIENT_PROGRAM}};
    ChildProcess second{{CLIENT_PROGRAM}};
};

TEST_F(SeveralClients, ReceiveOnlyTheirOwnNotifications) {
    const auto recorder = std::make_shared<ValueRecorder>();
    Integer access(BRIGHTNESS, recorder);
    ASSERT_EQ(access.connect(1000), 0);
    ASSERT_TRUE(perform(first, std::string("follow ") + BRIGHTNESS));
    ASSERT_TRUE(perform(second, std::string("follow ") + CONTRAST));
    EXPECT_EQ(television.subscribers(BRIGHTNESS), 2U);
    ASSERT_TRUE(perform(second, std::string("set ") + BRIGHTNESS + " 61"));
    ASSERT_TRUE(perform(first, std::string("set ") + CONTRAST + " 62"));
    EXPECT_TRUE(first.waitForOutput("brightness=61"));
    EXPECT_TRUE(second.waitForOutput("contrast=62"));
    EXPECT_TRUE(recorder->received.waitFor("61"));
    EXPECT_EQ(first.output().find("contrast"), std::string::npos);
    EXPECT_EQ(second.output().find("brightness"), std::string::npos);
    EXPECT_EQ(recorder->received.count(), 1U);
}

TEST_F(SeveralClients, ReceiveOnlyTheAnswersToTheirOwnRequests) {
    const auto recorder = std::make_shared<ActionRecorder>();
    ActionAccess action(SWITCH_ACTION, recorder);
    ASSERT_EQ(action.connect(1000), 0);
    ASSERT_TRUE(perform(first, "previous"));
    ASSERT_TRUE(perform(second, "switch dvb://1.1079.28205"));
    unsigned id = 0;
    ASSERT_EQ(action.invoke(id, {}), 0);
    ASSERT_TRUE(perform(first, "previous"));
    EXPECT_TRUE(recorder->received.waitFor(std::to_string(id) + " failed 22"));
    EXPECT_EQ(recorder->received.count(), 1U);
}

TEST_F(SeveralClients, AreRemovedWhenTheyAreKilled) {
    Service service("aipq");
    for (ChildProcess* const client : {&first, &second}) {
        ASSERT_TRUE(perform(*client, std::string("follow ") + BRIGHTNESS));
        ASSERT_TRUE(perform(*client, std::string("open ") + CHANNELS));
    }
    ASSERT_TRUE(perform(first, "register one"));
    ASSERT_TRUE(perform(second, "register two"));
    EXPECT_THAT(television.applications(), ElementsAre("aipq", "one", "two"));
    EXPECT_EQ(television.iterators(CHANNELS), 2U);
    television.setFault(SWITCH_ACTION, "key.never_answer", 1);
    first.send("previous");  // in the middle of a request
    ASSERT_TRUE(eventually([&] { return television.subscribers(SWITCH_ACTION) == 1U; }));
    first.signal(SIGKILL);
    EXPECT_TRUE(eventually([&] {
        return television.subscribers(BRIGHTNESS) == 1U && television.iterators(CHANNELS) == 1U &&
               television.subscribers(SWITCH_ACTION) == 0U && television.applications().size() == 2U;
    }));
    EXPECT_THAT(television.applications(), ElementsAre("aipq", "two"));
    television.notify("", "suspend");
    EXPECT_TRUE(second.waitForOutput("two 2"));
    EXPECT_TRUE(service.received.waitFor("2"));
    second.signal(SIGKILL);
    EXPECT_TRUE(eventually([&] {
        return television.subscribers(BRIGHTNESS) == 0U && television.iterators(CHANNELS) == 0U &&
               television.subscribers(CHANNELS) == 0U && television.applications().size() == 1U;
    }));
}

TEST_F(SeveralClients, AreNotDelayedByAHangingClient) {
    Service service("aipq");
    ASSERT_TRUE(perform(first, "register hanging"));
    ASSERT_TRUE(perform(first, std::string("follow ") + BRIGHTNESS));
    ASSERT_TRUE(perform(second, std::string("follow ") + BRIGHTNESS));
    first.signal(SIGSTOP);
    television.notify("hanging", "suspend");
    television.notify("aipq", "suspend");
    for (int i = 1; i <= 20; ++i) ASSERT_EQ(Integer(BRIGHTNESS).setValue(i), 0);
    EXPECT_TRUE(second.waitForOutput("brightness=20"));
    first.signal(SIGKILL);
    // The television does not wait for a killed client.
    EXPECT_TRUE(service.received.waitFor("2"));
}

}  // namespace
