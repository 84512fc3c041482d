// The example service with a television that leaves and returns.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "aipqctl_run.h"
#include "television_process.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using namespace tests;

namespace {

class APictureService : public testing::Test {
  protected:
    APictureService() : television("service", {"--video", "scenes"}), folder(runtimeFolder() / "pictures") {
        std::filesystem::create_directory(folder);
        EXPECT_TRUE(television.start());
    }
    ~APictureService() override {
        if (television.isOn()) {
            EXPECT_EQ(television.stop(), 0);
        }
        std::filesystem::remove_all(folder);
    }

    Running::Body service() const {
        return [this] {
            setenv("AIPQ_TV", television.name().c_str(), 1);
            execl(PICTURE_SERVICE_PROGRAM, "picture_service", folder.c_str(), "--seconds", "600", nullptr);
            return 98;
        };
    }

    // Returns its output up to the line with this text; empty if it ends before.
    static std::string readUntil(Running& running, const std::string& text) {
        std::string lines;
        for (std::string line = running.readLine(); !line.empty(); line = running.readLine()) {
            lines += line + '\n';
            if (line.find(text) != std::string::npos) return lines;
        }
        return "";
    }

    static Result interruptedRun(const Running::Body& body) {
        Running running(body);
        EXPECT_NE(readUntil(running, "player: playing"), "");
        running.interrupt();
        return running.finish();
    }

    static auto count(const std::string& text, const std::string& part) {
        std::size_t number = 0;
        for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++number;
        return number;
    }

    std::string report() const {
        std::ostringstream content;
        content << std::ifstream(folder / "report.html").rdbuf();
        return content.str();
    }

    TelevisionProcess television;
    const std::filesystem::path folder;
};

TEST_F(APictureService, ReportsOnceThatTheTelevisionLeftAndReturned) {
    Running running(service());
    // The service is running once it has judged a scene.
    std::string lines = readUntil(running, " scene");
    ASSERT_NE(lines, "");
    television.kill();
    lines += readUntil(running, "the television left");
    // Long enough to be visible in the plot, and to catch repeated messages of a service that polls.
    sleep(2);
    ASSERT_TRUE(television.start());
    lines += readUntil(running, "the television is back");
    running.interrupt();
    const Result result = running.finish();
    lines += result.out;
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(count(lines, "the television left"), 1U) << lines;
    EXPECT_EQ(count(lines, "the television is back"), 1U) << lines;
    EXPECT_LT(count(result.err, "\n"), 30U) << result.err;
    EXPECT_THAT(report(), HasSubstr("as found"));
    EXPECT_NE(count(report(), "class=\"away\""), 0U);
}

TEST_F(APictureService, WritesItsReportAlsoIfTheTelevisionDoesNotReturn) {
    Running running(service());
    ASSERT_NE(readUntil(running, " scene"), "");
    television.kill();
    ASSERT_NE(readUntil(running, "the television left"), "");
    running.interrupt();
    const Result result = running.finish();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("the television is away: its picture settings are not restored\n"));
    EXPECT_THAT(report(), HasSubstr("Settings found"));
}

TEST_F(APictureService, RejectsATimeThatIsNotANumber) {
    for (const char* const time : {"nan", "inf", "0", "-1", "1e9", "x"}) {
        const Result result = runShell(PICTURE_SERVICE_PROGRAM " " + folder.string() + " --seconds " + time);
        EXPECT_EQ(result.exitCode, 2) << time;
        EXPECT_EQ(result.out,
                  std::string("picture_service: --seconds: takes 1 to 86400, not ") + time + '\n');
    }
}

TEST_F(APictureService, PrintsAWrongArgumentSafely) {
    const std::string folderOption = PICTURE_SERVICE_PROGRAM " " + folder.string() + " ";
    EXPECT_EQ(runShell(folderOption + "\"$(printf '\\033[31m')\"").out,
              "picture_service: The following argument was not expected: \\x1b[31m\n");
    const Result result = runShell(folderOption + "$(printf %0100000d 1)");
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_LT(result.out.size(), 1100U);
    EXPECT_LT(runShell(PICTURE_SERVICE_PROGRAM " $(printf %0100000d 1)").out.size(), 1100U);
}

TEST_F(APictureService, RejectsAFolderThatItCannotWrite) {
    const Result result = runShell(PICTURE_SERVICE_PROGRAM " " + (folder / "none").string());
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "picture_service: cannot write into " + (folder / "none").string() +
                              ": No such file or directory\n");
}

TEST_F(APictureService, ReportsAFileThatItCannotReplace) {
    std::filesystem::create_symlink("/dev/full", folder / "report.html");
    const Result result = interruptedRun(service());
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("report.html': No space left on device\n"));
    EXPECT_TRUE(std::filesystem::is_character_file(folder / "report.html"));
}

TEST_F(APictureService, KeepsThePreviousReportIfTheNewOneIsIncomplete) {
    std::ofstream(folder / "report.html") << "the report before";
    const Result result = interruptedRun([this] {
        const rlimit limit{1000, 1000};
        std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
        return service()();
    });
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("report.html': File too large\n"));
    EXPECT_EQ(report(), "the report before");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
}

TEST_F(APictureService, ReplacesThePreviousReport) {
    std::ofstream(folder / "report.html") << "the report before";
    const Result result = interruptedRun(service());
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(report(), AllOf(HasSubstr("source TV, format "), Not(HasSubstr("the report before"))));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
}

}  // namespace
