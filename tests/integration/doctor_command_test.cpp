// The command `aipqctl doctor`: its options, its output formats, and its exit.
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>

#include "../../tools/aipqctl/command.h"
#include "doctor_results.h"
#include "keys.h"
#include "television_test.h"

using namespace tests::keys;
using testing::HasSubstr;
using testing::Not;
using tests::eventually;

namespace {

namespace fs = std::filesystem;

constexpr char CHANNELS[] = "dovra.sl2.table.channel.list";

class TheDoctorCommand : public tests::TelevisionTest {
  protected:
    TheDoctorCommand() { fs::create_directory(m_folder); }
    ~TheDoctorCommand() override { fs::remove_all(m_folder); }

    // Returns the exit code.
    int run(const std::vector<std::string>& arguments, bool json = false) {
        CLI::App app;
        aipqctl::Context context;
        context.json = json;
        aipqctl::addDoctorCommand(app, context);
        std::vector<const char*> words{"aipqctl", "doctor"};
        for (const std::string& argument : arguments) words.push_back(argument.c_str());
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        app.parse(static_cast<int>(words.size()), words.data());
        output = testing::internal::GetCapturedStdout();
        errors = testing::internal::GetCapturedStderr();
        return context.exitCode;
    }

    std::string path(const std::string& name) const { return m_folder / name; }

    // Succeeds if a shell command succeeds; otherwise the failure message has the command's output.
    testing::AssertionResult succeeds(const std::string& command) const {
        if (std::system((command + " >" + path("said") + " 2>&1").c_str()) == 0)
            return testing::AssertionSuccess();
        std::ostringstream said;
        said << std::ifstream(path("said")).rdbuf();
        return testing::AssertionFailure() << said.str();
    }

    testing::AssertionResult keepsTheSchema() const {
        std::ofstream(path("result.json")) << output;
        return succeeds(
            "python3 -c 'import json, sys, jsonschema\n"
            "schema = json.load(open(sys.argv[1]))\n"
            "jsonschema.Draft202012Validator.check_schema(schema)\n"
            "jsonschema.Draft202012Validator(schema).validate(json.load(open(sys.argv[2])))' " +
            std::string(DOCTOR_SCHEMA) + ' ' + path("result.json"));
    }

    std::string output;
    std::string errors;

  private:
    const fs::path m_folder = fs::temp_directory_path() / ("doctor_command_test." + std::to_string(getpid()));
};

TEST_F(TheDoctorCommand, ExitsWith0IfAllChecksPass) {
    EXPECT_EQ(run({"--only", "key", "--skip", SOURCE}), EXIT_DONE);
    EXPECT_THAT(output, HasSubstr("\nok    key dovra.sl2.i32.video.brightness: integer, 50 in 0..100   ("));
    EXPECT_THAT(output, HasSubstr("\n24 passed, 0 failed, 0 not run\n"));
    EXPECT_THAT(output, Not(HasSubstr(SOURCE)));
}

TEST_F(TheDoctorCommand, ExitsWith1IfACheckFails) {
    model.set(BRIGHTNESS, 137);
    EXPECT_EQ(run({"--only", BRIGHTNESS}), EXIT_REFUSED);
    EXPECT_THAT(output, HasSubstr("FAIL  key dovra.sl2.i32.video.brightness: 137 is not in 0..100   ("));
    EXPECT_THAT(output, HasSubstr("\n      > Let the model convert"));
    EXPECT_THAT(output, HasSubstr("\n1 passed, 1 failed, 3 not run\n"));
}

TEST_F(TheDoctorCommand, ExitsWith7IfNoTelevisionAnswers) {
    television.framework().failLookups(1);
    EXPECT_EQ(run({}), EXIT_NO_TELEVISION);
    EXPECT_THAT(output, HasSubstr("\n0 passed, 1 failed, 67 not run\n"));
}

TEST_F(TheDoctorCommand, ReportsAnUnknownCheck) {
    EXPECT_EQ(run({"--only", "colour"}), EXIT_UNKNOWN);
    EXPECT_EQ(errors, "aipqctl: no check is named 'colour': 'aipqctl doctor --list' names them\n");
    EXPECT_EQ(output, "");
}

TEST_F(TheDoctorCommand, ListsWithoutTouchingTheTelevision) {
    EXPECT_EQ(run({"--list"}), EXIT_DONE);
    EXPECT_THAT(output, HasSubstr("framework: whether the process framework answers\n"));
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 68);
    EXPECT_EQ(television.framework().lookups(), 0U);
}

TEST_F(TheDoctorCommand, WritesNoKeyIfWritingIsOff) {
    EXPECT_EQ(run({"--no-write", "--no-video"}), EXIT_DONE);
    for (const simulated::KeyDefinition& key : model.keys()) {
        EXPECT_TRUE(model.writes(key.name).empty()) << key.name;
        EXPECT_TRUE(model.invocations(key.name).empty()) << key.name;
    }
}

TEST_F(TheDoctorCommand, WritesJsonThatFollowsItsSchema) {
    EXPECT_EQ(run({"--list"}, true), EXIT_DONE);
    EXPECT_TRUE(keepsTheSchema());
    model.set(SOURCE, std::string("\"\xff\n"));
    model.withdraw(PLAY_ATTRIBUTES);
    EXPECT_EQ(run({"--only", "key", "--only", "application-manager"}, true), EXIT_REFUSED);
    EXPECT_TRUE(keepsTheSchema());
    television.framework().withholdRoot(true);
    EXPECT_EQ(run({}, true), EXIT_NO_TELEVISION);
    EXPECT_TRUE(keepsTheSchema());
    output = "{\"passed\": 1, \"warnings\": 0, \"failed\": 0, \"notRun\": 0, \"checks\": [{}]}";
    EXPECT_FALSE(keepsTheSchema()) << "the schema accepts anything";
}

TEST_F(TheDoctorCommand, WritesItsJsonOnOneLine) {
    EXPECT_EQ(run({"--only", "framework"}, true), EXIT_DONE);
    EXPECT_EQ(output.find('\n'), output.size() - 1);
}

TEST_F(TheDoctorCommand, ReportsAWarning) {
    model.setRows(CHANNELS, {});
    EXPECT_EQ(run({"--only", "channels"}), EXIT_DONE);
    EXPECT_THAT(output, HasSubstr("\nwarn  channels "));
    EXPECT_THAT(output, HasSubstr("\n2 passed (1 with a warning), 0 failed, 0 not run\n"));
    EXPECT_EQ(run({"--only", "channels"}, true), EXIT_DONE);
    EXPECT_THAT(output, HasSubstr("\"warnings\":1"));
    EXPECT_THAT(output, HasSubstr("\"verdict\":\"warning\""));
    EXPECT_TRUE(keepsTheSchema());
}

TEST_F(TheDoctorCommand, SuggestsANameForAMisspeltOne) {
    EXPECT_EQ(run({"--only", "chanels"}), EXIT_UNKNOWN);
    EXPECT_EQ(errors, "aipqctl: no check is named 'chanels'; did you mean 'channels'?\n");
}

TEST_F(TheDoctorCommand, KeepsTheOldResultFileUntilNewResultsExist) {
    const std::string file = path("results.xml");
    std::ofstream(file) << "before";
    EXPECT_EQ(run({"--junit", file, "--only", "chanels"}), EXIT_UNKNOWN);
    EXPECT_EQ(fs::file_size(file), 6U);
    EXPECT_EQ(run({"--junit", file, "--only", "framework"}), EXIT_DONE);
    EXPECT_GT(fs::file_size(file), 100U);
}

TEST_F(TheDoctorCommand, WritesValidJUnitXml) {
    const std::string file = path("junit.xml");
    model.set(SOURCE, std::string("<&\"'\x01\xff"));
    model.set(BRIGHTNESS, -1);
    EXPECT_EQ(run({"--only", "key", "--only", BRIGHTNESS, "--junit", file}), EXIT_REFUSED);
    EXPECT_TRUE(succeeds("xmllint --noout " + file));
    EXPECT_TRUE(succeeds(
        "python3 -c 'import sys, xml.etree.ElementTree as tree\n"
        "suite = tree.parse(sys.argv[1]).getroot().find(\"testsuite\")\n"
        "cases = suite.findall(\"testcase\")\n"
        "assert suite.get(\"tests\") == str(len(cases)) == \"28\", suite.attrib\n"
        "assert suite.get(\"failures\") == str(len(suite.findall(\"*/failure\"))) == \"1\", suite.attrib\n"
        "assert suite.get(\"skipped\") == str(len(suite.findall(\"*/skipped\"))) == \"3\", suite.attrib\n"
        "assert suite.find(\"*/failure\").get(\"message\") == \"-1 is not in 0..100\"\n"
        "texts = [out.text for out in suite.findall(\"*/system-out\")]\n"
        "assert any(\"<&\\\"\" in text for text in texts), texts' " +
        file));
}

TEST_F(TheDoctorCommand, ChangesNothingIfTheFileCannotBeWritten) {
    EXPECT_EQ(run({"--junit", path("nowhere/junit.xml")}), EXIT_BAD_FILE);
    EXPECT_THAT(errors, HasSubstr("nowhere/junit.xml': No such file or directory"));
    EXPECT_EQ(television.framework().lookups(), 0U);
}

class AnInterruptedDoctor : public TheDoctorCommand, public testing::WithParamInterface<int> {};

TEST_P(AnInterruptedDoctor, RestoresTheValuesThatItChanged) {
    const tests::State before = tests::State::now();
    // The check waits for the notification of its write.
    model.holdNotifications();
    const auto interruption = std::async(std::launch::async, [&] {
        const bool written = eventually([&] { return !model.writes(BRIGHTNESS).empty(); });
        kill(getpid(), GetParam());
        return written;
    });
    EXPECT_EQ(run({"--only", "write"}), 130);
    EXPECT_THAT(output, HasSubstr("--    write dovra.sl2.i32.video.brightness: not run: interrupted\n"));
    EXPECT_THAT(output, HasSubstr("\n1 passed, 0 failed, 12 not run\n"));
    EXPECT_EQ(model.writes(BRIGHTNESS).size(), 2U);
    EXPECT_EQ(tests::State::now(), before);
}

INSTANTIATE_TEST_SUITE_P(BySignal, AnInterruptedDoctor, testing::Values(SIGINT, SIGTERM, SIGHUP));

}  // namespace
