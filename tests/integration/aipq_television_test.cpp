// The program aipq-television: its options, its end, and its objects as busctl shows them.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "catalogue/catalogue.h"
#include "keys.h"
#include "lomodelapi/object_type_spec.h"
#include "remote_test.h"
#include "run_program.h"

using namespace std::chrono_literals;
using namespace tests::keys;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using tests::ChildProcess;
using tests::expectRefusal;
using tests::fileWith;
using tests::televisionFiles;
using tests::TelevisionProcess;

namespace {

TEST(ATelevisionProgram, ReportsABadCommandLineInOneLine) {
    for (const char* const name : {"", "9x", "a b", "a.b", "a/b", "embedded"})
        expectRefusal({"--name", name, "--video", "off"}, 2,
                      "aipq-television: '" + std::string(name) + "' is not a name");
    expectRefusal({"--video", "off", "--bus", "unix:path=/nowhere"}, 8,
                  "aipq-television: the bus unix:path=/nowhere: No such file or directory");
    expectRefusal({"--video", "off", "--bus", "nonsense"}, 2,
                  "aipq-television: 'nonsense' is not an address of a bus");
    expectRefusal({"--video", "/no/film"}, 6, "aipq-television: the film /no/film cannot be read: ");
    expectRefusal({"--video", "off", "--catalogue", "/no/file"}, 6,
                  "aipq-television: cannot read '/no/file': ");
    const std::string bad =
        fileWith("bad.toml", "[[key]]\nname = \"x\"\nmeaning = \"\"\ndefault = 1\ntype = \"number\"\n");
    expectRefusal({"--video", "off", "--catalogue", bad}, 6, "aipq-television: " + bad + ":5:");
    const std::string malformed = fileWith("malformed.toml", "[[key]]\nname = ?\n");
    expectRefusal({"--video", "off", "--catalogue", malformed}, 6, "aipq-television: " + malformed + ":2:");
    expectRefusal({"--video", "\x1b[31m"}, 6, "aipq-television: the film \\x1b[31m cannot be read: ");
    expectRefusal({"--video", "off"}, 1, "aipq-television: dbus-daemon is not installed: install",
                  {{"PATH", "/nowhere"}});
    EXPECT_THAT(televisionFiles(), IsEmpty());
}

TEST(ATelevisionProgram, PrintsItsHelp) {
    ChildProcess unknown({TELEVISION_PROGRAM, "--nonsense"});
    EXPECT_EQ(unknown.wait(), 2);
    EXPECT_EQ(unknown.errors(),
              "aipq-television: no option '--nonsense': 'aipq-television --help' shows the usage\n");
    ChildProcess help({TELEVISION_PROGRAM, "--help"});
    EXPECT_EQ(help.wait(), 0);
    EXPECT_THAT(help.output(), HasSubstr("--catalogue"));
    EXPECT_EQ(tests::runProgram(TELEVISION_PROGRAM " --help >/dev/full").status, 6);
}

TEST(ATelevisionProgram, SuggestsANameForAMisspeltOne) {
    expectRefusal({"--vide", "off"}, 2, "aipq-television: no option '--vide'; did you mean '--video'?\n");
    expectRefusal({"pley", "x.toml"}, 2, "aipq-television: no command 'pley'; did you mean 'play'?\n");
    expectRefusal({"play", "x.toml", "--sped=2"}, 2,
                  "aipq-television: no option '--sped=2'; did you mean '--speed'?\n");
    // An option of the program, which the command does not take.
    expectRefusal({"play", "x.toml", "--name", "y"}, 2,
                  "aipq-television: no option '--name': 'aipq-television play --help' shows the usage\n");
    expectRefusal({"play", "x.toml", "y.toml"}, 2, "aipq-television: 'y.toml' is one word too many: ");
}

std::string completed(const std::vector<std::string>& words) {
    std::vector<std::string> command{TELEVISION_PROGRAM, "complete", "--"};
    command.insert(command.end(), words.begin(), words.end());
    ChildProcess program(command);
    EXPECT_EQ(program.wait(), 0);
    return program.output();
}

TEST(ATelevisionProgram, CompletesOnlyTheOptionsThatACommandTakes) {
    EXPECT_EQ(completed({"play", "--"}), "--help\n--speed\n--tv\n");
    EXPECT_EQ(completed({"run", "--"}), "--help\n--video\n--scenario\n--catalogue\n--log\n");
}

TEST(ATelevisionProgram, CompletesTheNamesOfTheRunningTelevisions) {
    TelevisionProcess first("first");
    TelevisionProcess second("second");
    ASSERT_TRUE(first.start());
    ASSERT_TRUE(second.start());
    EXPECT_EQ(completed({"play", "--tv", ""}), "first\nsecond\n");
    EXPECT_EQ(completed({"record", "--tv", "s"}), "second\n");
    EXPECT_EQ(first.stop(), 0);
    EXPECT_EQ(second.stop(), 0);
}

TEST(ATelevisionProgram, RefusesANameThatIsInUse) {
    TelevisionProcess first("twin");
    ASSERT_TRUE(first.start());
    expectRefusal({"--name", "twin", "--video", "off"}, 1,
                  "aipq-television: a television 'twin' is already running");
    expectRefusal({"--name", "twin", "--video", "off", "--bus", first.address()}, 1,
                  "aipq-television: a television 'twin' is already running on this bus");
    EXPECT_EQ(first.get<int>(BRIGHTNESS), 50);
    EXPECT_EQ(first.stop(), 0);
    EXPECT_THAT(televisionFiles(), IsEmpty());
}

TEST(ATelevisionProgram, RunsBesideTelevisionsOfOtherNames) {
    TelevisionProcess one("one");
    TelevisionProcess other("other");
    ASSERT_TRUE(one.start());
    ASSERT_TRUE(other.start());
    one.set(BRIGHTNESS, std::int32_t{1});
    EXPECT_EQ(other.get<int>(BRIGHTNESS), 50);
    one.kill();
    EXPECT_EQ(other.get<int>(BRIGHTNESS), 50);
    EXPECT_EQ(other.stop(), 0);
    // The files of a killed television do not stop the next one.
    ASSERT_TRUE(one.start()) << one.process().errors();
    EXPECT_EQ(one.stop(), 0);
    EXPECT_THAT(televisionFiles(), IsEmpty());
}

TEST(ATelevisionProgram, ExitsWith0OnAnEndSignal) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        TelevisionProcess television("ended");
        ASSERT_TRUE(television.start());
        television.process().signal(signal);
        EXPECT_EQ(television.process().wait(), 0);
        EXPECT_EQ(television.process().errors(), "");
        EXPECT_THAT(televisionFiles(), IsEmpty());
    }
}

TEST(ATelevisionProgram, EndsAtOnceOnASecondEndSignal) {
    TelevisionProcess television("hanging");
    ASSERT_TRUE(television.start());
    television.setFault(SWITCH_ACTION, "key.never_answer", 1);
    const ChildProcess request({"busctl", "--address=" + television.address(), "call",
                                "aipq.Television.hanging", remote::objectPath(SWITCH_ACTION),
                                TelevisionProcess::ACTION, "Invoke", "a(qs)", "0"});
    // The subscriber is the request that waits for an answer.
    const auto limit = std::chrono::steady_clock::now() + 30s;
    while (television.subscribers(SWITCH_ACTION) == 0 && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(5ms);
    television.process().signal(SIGINT);
    EXPECT_EQ(television.process().wait(500ms), std::nullopt);
    television.process().signal(SIGINT);
    EXPECT_EQ(television.process().wait(5s), 128 + SIGINT);
    // The files that the first run left do not stop the next one, which removes them.
    ASSERT_TRUE(television.start());
    EXPECT_EQ(television.stop(), 0);
    EXPECT_THAT(televisionFiles(), IsEmpty());
}

// Tests with busctl

class ATelevisionOnItsBus : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(television.start()); }
    ~ATelevisionOnItsBus() override { EXPECT_EQ(television.stop(), 0); }

    struct Result {
        int status;
        std::string output;
        std::string errors;
    };

    std::vector<std::string> command(std::vector<std::string> words) const {
        words.insert(words.begin(), {"busctl", "--address=" + television.address()});
        return words;
    }

    Result busctl(const std::vector<std::string>& words) const {
        ChildProcess program(command(words));
        const int status = program.wait().value_or(-1);
        return {status, program.output(), program.errors()};
    }

    Result get(const std::string& key, const std::string& interface, const std::string& property) const {
        return busctl({"get-property", SERVICE, remote::objectPath(key), interface, property});
    }

    Result set(const std::string& key, const std::string& interface, const std::string& property,
               std::vector<std::string> value) const {
        value.insert(value.begin(), {"set-property", SERVICE, remote::objectPath(key), interface, property});
        return busctl(value);
    }

    Result setFault(const std::string& key, const std::string& fault, const std::string& value) const {
        return busctl({"call", SERVICE, remote::OBJECT, TelevisionProcess::TELEVISION, "SetFault", "ssx", key,
                       fault, value});
    }

    TelevisionProcess television{"living"};
    static constexpr char SERVICE[] = "aipq.Television.living";
};

TEST_F(ATelevisionOnItsBus, ListsAndDescribesEveryKey) {
    const std::string tree = busctl({"tree", "--list", SERVICE}).output;
    const std::string objects =
        busctl({"call", SERVICE, remote::OBJECT, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects"})
            .output;
    for (const simulated::KeyDefinition& key : catalogue::loadCatalogue()) {
        EXPECT_THAT(tree, HasSubstr(remote::objectPath(key.name) + "\n"));
        EXPECT_THAT(objects, HasSubstr('"' + remote::objectPath(key.name) + '"'));
        EXPECT_EQ(get(key.name, TelevisionProcess::KEY, "Name").output, "s \"" + key.name + "\"\n");
    }
    EXPECT_EQ(get(BRIGHTNESS, TelevisionProcess::KEY, "Type").output, "s \"integer\"\n");
    EXPECT_EQ(get(BRIGHTNESS, TelevisionProcess::KEY, "Range").output, "ax 2 0 100\n");
    const std::string interfaces = busctl({"introspect", SERVICE, remote::objectPath(BRIGHTNESS)}).output;
    EXPECT_THAT(interfaces, testing::ContainsRegex("\\.Value +property +i +50 +emits-change writable"));
    EXPECT_THAT(interfaces, testing::ContainsRegex("\\.never_answer +property +x +0 +writable"));
    EXPECT_THAT(busctl({"introspect", SERVICE, remote::objectPath(CHANNELS)}).output,
                testing::ContainsRegex("\\.Rows +property +aas "));
    EXPECT_THAT(busctl({"introspect", SERVICE, remote::objectPath(SWITCH_ACTION)}).output,
                testing::ContainsRegex("\\.Invoke +method +a\\(qs\\) +ia\\(qs\\)"));
}

TEST_F(ATelevisionOnItsBus, ReadsAndWritesValuesAndRefusesInvalidOnes) {
    using T = TelevisionProcess;
    EXPECT_EQ(set(BRIGHTNESS, T::VALUE, "Value", {"i", "70"}).status, 0);
    EXPECT_EQ(get(BRIGHTNESS, T::VALUE, "Value").output, "i 70\n");
    const Result outOfRange = set(BRIGHTNESS, T::VALUE, "Value", {"i", "101"});
    EXPECT_EQ(outOfRange.status, 1);
    EXPECT_THAT(outOfRange.errors, HasSubstr(std::string(BRIGHTNESS) + " takes 0 to 100, not 101"));
    const Result wrongType = set(BRIGHTNESS, T::VALUE, "Value", {"s", "seventy"});
    EXPECT_EQ(wrongType.status, 1);
    EXPECT_THAT(wrongType.errors, Not(IsEmpty()));
    const Result unknown = set(SOURCE, T::VALUE, "Value", {"s", "HDMI7"});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_THAT(unknown.errors, HasSubstr(std::string(SOURCE) + " takes one of TV, HDMI1, "));
    const Result tooShort = set(PQ_SETTING, T::VALUE, "Value", {"ai", "2", "1", "2"});
    EXPECT_EQ(tooShort.status, 1);
    EXPECT_THAT(tooShort.errors, HasSubstr(std::string(PQ_SETTING) + " takes 27 numbers"));
    const Result wrongRows = set(CHANNELS, T::TABLE, "Rows", {"aas", "1", "1", "one"});
    EXPECT_EQ(wrongRows.status, 1);
    EXPECT_THAT(wrongRows.errors, HasSubstr("has 8 columns, and a row here has 1"));
    EXPECT_EQ(set(BRIGHTNESS, T::KEY, "Name", {"s", "x"}).status, 1);
    EXPECT_EQ(get(BRIGHTNESS, T::VALUE, "Value").output, "i 70\n");
}

TEST_F(ATelevisionOnItsBus, SetsFaultsByPropertyAndByName) {
    using T = TelevisionProcess;
    EXPECT_EQ(set(BRIGHTNESS, T::FAULTS, "withdrawn", {"x", "1"}).status, 0);
    EXPECT_EQ(setFault(BRIGHTNESS, "key.drop", "3").status, 0);
    EXPECT_EQ(get(BRIGHTNESS, T::FAULTS, "withdrawn").output, "x 1\n");
    EXPECT_EQ(get(BRIGHTNESS, T::FAULTS, "drop").output, "x 3\n");
    EXPECT_THAT(set(BRIGHTNESS, T::FAULTS, "withdrawn", {"x", "2"}).errors, HasSubstr("from 0 to 1"));
    EXPECT_THAT(setFault(BRIGHTNESS, "nonsense", "1").errors, HasSubstr("there is no fault 'nonsense'"));
    EXPECT_THAT(setFault("no.key", "key.drop", "1").errors, HasSubstr("no.key"));
    EXPECT_THAT(setFault("", "key.drop", "1").errors, HasSubstr("name one"));
    EXPECT_EQ(busctl({"call", SERVICE, remote::OBJECT, T::TELEVISION, "ClearFaults"}).status, 0);
    EXPECT_EQ(get(BRIGHTNESS, T::FAULTS, "withdrawn").output, "x 0\n");
    EXPECT_EQ(get(BRIGHTNESS, T::FAULTS, "drop").output, "x 0\n");
}

TEST_F(ATelevisionOnItsBus, InvokesAnActionAndUsesTheRemoteControl) {
    using T = TelevisionProcess;
    EXPECT_EQ(busctl({"call", SERVICE, remote::objectPath(SWITCH_ACTION), T::ACTION, "Invoke", "a(qs)", "3",
                      "1", "8", "3", "+1", "5", "2"})
                  .output,
              "ia(qs) 0 2 0 \"dvb://1.1051.28007\" 1 \"Night\"\n");
    EXPECT_EQ(busctl({"call", SERVICE, remote::OBJECT, T::TELEVISION, "SelectChannel", "s", "4"}).status, 0);
    EXPECT_EQ(get(HDR_TYPE, T::VALUE, "Value").output, "s \"hdr_10\"\n");
    EXPECT_THAT(busctl({"call", SERVICE, remote::OBJECT, T::TELEVISION, "SelectChannel", "s", "99"}).errors,
                HasSubstr("there is no channel '99'"));
    EXPECT_THAT(busctl({"call", SERVICE, remote::OBJECT, T::TELEVISION, "Notify", "ssssi", "", "nonsense", "",
                        "", "0"})
                    .errors,
                HasSubstr("there is no notification 'nonsense'"));
}

TEST_F(ATelevisionOnItsBus, LetsBusctlMonitorTheWritesOfClients) {
    ChildProcess monitor(command({"monitor", SERVICE}));
    // busctl reports when it is listening.
    ASSERT_TRUE(monitor.waitForErrors("Monitoring bus message stream"));
    ChildProcess client({CLIENT_PROGRAM}, {{"AIPQ_TV", television.name()}});
    client.send(std::string("set ") + BRIGHTNESS + " 77");
    ASSERT_TRUE(client.waitForOutput("done 0"));
    EXPECT_TRUE(monitor.waitForOutput("INT32 77"));
    EXPECT_TRUE(monitor.waitForOutput("PropertiesChanged"));
    EXPECT_TRUE(monitor.waitForOutput("Path=" + remote::objectPath(BRIGHTNESS)));
}

}  // namespace
