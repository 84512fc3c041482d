// The common code of the tools: writing files atomically, making texts safe to print, and parsing numbers.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "output_file.h"
#include "safe_text.h"
#include "validators.h"

using testing::ElementsAre;
using testing::EndsWith;

namespace {

namespace fs = std::filesystem;

class AnOutputFile : public testing::Test {
  protected:
    AnOutputFile() {
        std::string name = fs::temp_directory_path() / "output_file_test.XXXXXX";
        m_folder = mkdtemp(name.data());
    }
    ~AnOutputFile() override { fs::remove_all(m_folder); }

    std::string path(const std::string& name) const { return m_folder / name; }

    static std::string contentOf(const std::string& file) {
        std::ostringstream content;
        content << std::ifstream(file).rdbuf();
        return content.str();
    }

    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const auto& entry : fs::directory_iterator(m_folder)) all.push_back(entry.path().filename());
        return all;
    }

    // The error message of writing the file, or an empty text.
    static std::string failure(const std::string& file, const std::string& content) {
        try {
            writeFile(file, content);
        } catch (const CannotWrite& problem) {
            return problem.what();
        }
        return "";
    }

  private:
    fs::path m_folder;
};

TEST_F(AnOutputFile, IsCompleteOnceItIsCommitted) {
    OutputFile file(path("a"));
    file.write("one ");
    file.write("two");
    EXPECT_FALSE(fs::exists(path("a")));
    file.commit();
    EXPECT_EQ(contentOf(path("a")), "one two");
    EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(AnOutputFile, ThatIsNotCommittedKeepsTheOldContents) {
    std::ofstream(path("a")) << "before";
    OutputFile(path("a")).write("after");
    EXPECT_EQ(contentOf(path("a")), "before");
    EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(AnOutputFile, ThatCannotBeWrittenKeepsTheOldContents) {
    std::ofstream(path("a")) << "before";
    const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
    rlimit few = unlimited;
    few.rlim_cur = 4;
    std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &few), 0);
    const std::string problem = failure(path("a"), "after this");
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &unlimited), 0);
    EXPECT_EQ(problem, "cannot write '" + path("a") + "': File too large");
    EXPECT_EQ(contentOf(path("a")), "before");
    EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(AnOutputFile, DoesNotRemoveADeviceThatFails) {
    // Creates a device like /dev/full in the test's folder, so that a defect cannot remove the system's
    // device.
    struct stat full {};
    ASSERT_EQ(stat("/dev/full", &full), 0);
    if (mknod(path("full").c_str(), S_IFCHR | 0666, full.st_rdev) != 0)
        fs::create_symlink("/dev/full", path("full"));
    fs::create_symlink("full", path("link"));
    for (const char* const name : {"full", "link"}) {
        EXPECT_EQ(failure(path(name), "text"), "cannot write '" + path(name) + "': No space left on device");
        EXPECT_TRUE(fs::is_character_file(path(name)));
    }
    EXPECT_TRUE(fs::is_symlink(path("link")));
    EXPECT_EQ(names().size(), 2U);
}

TEST_F(AnOutputFile, WritesIntoAFifo) {
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = contentOf(path("fifo")); });
    writeFile(path("fifo"), "text");
    reader.join();
    EXPECT_EQ(received, "text");
    EXPECT_TRUE(fs::is_fifo(path("fifo")));
}

TEST_F(AnOutputFile, KeepsALinkAndReplacesItsTarget) {
    fs::create_directory(path("below"));
    std::ofstream(path("below/a")) << "before";
    fs::create_symlink("below/a", path("link"));
    fs::create_symlink("below/new", path("dangling"));
    writeFile(path("link"), "after");
    writeFile(path("dangling"), "new");
    EXPECT_TRUE(fs::is_symlink(path("link")));
    EXPECT_TRUE(fs::is_symlink(path("dangling")));
    EXPECT_EQ(contentOf(path("below/a")), "after");
    EXPECT_EQ(contentOf(path("below/new")), "new");
}

TEST_F(AnOutputFile, KeepsThePermissions) {
    std::ofstream(path("a")) << "before";
    fs::permissions(path("a"), fs::perms(0640));
    writeFile(path("a"), "after");
    EXPECT_EQ(fs::status(path("a")).permissions(), fs::perms(0640));
    const mode_t mask = umask(022);
    writeFile(path("b"), "new");
    umask(mask);
    EXPECT_EQ(fs::status(path("b")).permissions(), fs::perms(0644));
}

TEST_F(AnOutputFile, NamesAFileThatCannotBeOpened) {
    EXPECT_EQ(failure(path("no/a"), ""), "cannot write '" + path("no/a") + "': No such file or directory");
    EXPECT_EQ(failure(path(""), ""), "cannot write '" + path("") + "': Is a directory");
    fs::create_symlink("loop", path("loop"));
    EXPECT_THAT(failure(path("loop"), ""), EndsWith("': Too many levels of symbolic links"));
}

TEST_F(AnOutputFile, CanBeStandardOutput) {
    testing::internal::CaptureStdout();
    writeFile("-", "text");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "text");
    EXPECT_EQ(fcntl(STDOUT_FILENO, F_GETFD), 0) << "it is still open";
}

TEST(SafeText, EscapesUnprintableCharacters) {
    EXPECT_EQ(safeText("plain, Öst, 日本"), "plain, Öst, 日本");
    EXPECT_EQ(safeText("a\nb\tc\rd"), R"(a\nb\tc\rd)");
    EXPECT_EQ(safeText("\x1b[31mred\x7f"), R"(\x1b[31mred\x7f)");
    EXPECT_EQ(safeText(std::string("a\0b", 3)), R"(a\x00b)");
    EXPECT_EQ(safeText("\xc2\x9b"
                       "31m"),
              R"(\u{9b}31m)");
    EXPECT_EQ(safeText("\xe2\x80\xae"
                       "txt.exe"),
              R"(\u{202e}txt.exe)");
    EXPECT_EQ(safeText("\xff\xc3"), R"(\xff\xc3)");
    EXPECT_EQ(safeText("\xed\xa0\x80"), R"(\xed\xa0\x80)") << "half of a pair";
}

TEST(SafeText, IsValidJson) {
    EXPECT_EQ(safeJson("[\"\xe2\x80\xae\xc2\x9b\x7f Öst\"]"), R"(["\u202e\u009b\u007f Öst"])");
}

TEST(SafeText, IsShortenedInTheMiddleIfItIsLong) {
    EXPECT_EQ(shortened("abcdef", 6), "abcdef");
    EXPECT_EQ(shortened("abcdefgh", 4), "ab...gh");
    EXPECT_EQ(shortened("aÖÖÖÖa", 4), "a...a") << "whole characters";
}

TEST(AMessage, IsSafeAndShort) {
    EXPECT_EQ(safeMessage("no key '\x1b'"), R"(no key '\x1b')");
    EXPECT_EQ(safeMessage(std::string(100000, 'x')).size(), 1003U);
}

bool accepts(const CLI::Validator& validator, std::string text) { return validator(text).empty(); }

TEST(ANumberOfTheCommandLine, MustBeWithinItsLimits) {
    for (const char* const good : {"0.001", "1", "2.5", "1e3", "10000000"})
        EXPECT_TRUE(accepts(isDuration(), good)) << good;
    for (const char* const bad : {"nan", "NaN", "-nan", "inf", "-inf", "infinity", "0", "-1", "1e8", "1e999",
                                  "", "x", "1x", "1 ", " 1", "0x10", "1,5"})
        EXPECT_FALSE(accepts(isDuration(), bad)) << bad;
    for (const char* const good : {"1", "1000000000"}) EXPECT_TRUE(accepts(isCount(), good)) << good;
    for (const char* const bad : {"0", "-1", "1.5", "1000000001", "99999999999999999999", "nan", ""})
        EXPECT_FALSE(accepts(isCount(), bad)) << bad;
    for (const char* const bad : {"0", "nan", "inf", "-2", "1e4"})
        EXPECT_FALSE(accepts(isRate(), bad)) << bad;
    EXPECT_TRUE(accepts(isRate(), "10"));
}

}  // namespace
