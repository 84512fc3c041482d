#include "platform_adaptation/ai_common.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "allocation_faults.h"
#include "log_recorder.h"

namespace {

using korvale::ai::ColorMode;
using korvale::ai::PictureData;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::LogLine;
using tests::LogRecorder;
using Verbosity = simulated::DebugOutput::Verbosity;

LogLine line(unsigned level, const std::string& function, const std::string& message) {
    return {level, "ai_common.cpp", function, message, "[AIPQ Common]"};
}

// The recorded lines without the entry and exit traces.
std::vector<LogLine> messages(const LogRecorder& log) {
    std::vector<LogLine> found;
    for (const LogLine& each : log.lines())
        if (each.level != tests::TRACE) found.push_back(each);
    return found;
}

// A new directory. The destructor removes it with the files that file() has named.
class TemporaryDirectory {
  public:
    TemporaryDirectory() {
        std::string form = testing::TempDir() + "ai_common_XXXXXX";
        if (mkdtemp(form.data()) != nullptr) m_path = form;
    }
    ~TemporaryDirectory() {
        for (const std::string& file : m_files) unlink(file.c_str());
        rmdir(m_path.c_str());
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) {
        m_files.push_back(m_path + "/" + name);
        return m_files.back();
    }

  private:
    std::string m_path;
    std::vector<std::string> m_files;
};

class AFileTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_FALSE(directory.path().empty()); }

    static std::string contents(const std::string& path) {
        std::string text;
        std::getline(std::ifstream(path), text);
        return text;
    }

    TemporaryDirectory directory;
};

class AFile : public AFileTest {
  protected:
    void SetUp() override {
        AFileTest::SetUp();
        path = directory.file("file");
        std::ofstream(path) << "contents";
    }

    std::string path;
};

class APath : public AFileTest {};

}  // namespace

// The frame descriptor.

TEST(APictureDescriptor, IsInitialisedToASmallPictureWithoutPixels) {
    unsigned char pixel = 0;
    PictureData picture = {&pixel, 1, 2, static_cast<ColorMode>(1), -1};
    initPictureData(picture);
    EXPECT_EQ(picture.data, nullptr);
    EXPECT_EQ(picture.width, 224U);
    EXPECT_EQ(picture.height, 224U);
    EXPECT_EQ(picture.colorMode, 4);
    EXPECT_EQ(picture.option, 0);
}

TEST(AColorMode, HasFourChannelsIfItIs1Or2) {
    for (const int mode : {1, 2}) EXPECT_EQ(getChannels(static_cast<ColorMode>(mode)), 4) << mode;
}

TEST(AColorMode, HasThreeChannelsOtherwise) {
    const int modes[] = {
        0, 3, 4, 5, 255, 257, 258, -1, -2, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
    for (const int mode : modes) EXPECT_EQ(getChannels(static_cast<ColorMode>(mode)), 3) << mode;
}

// Parsing a number.

TEST(APositiveNumber, IsParsedFromTheBeginningOfAText) {
    const std::pair<const char*, int> rows[] = {
        {"12", 12},
        {"1", 1},
        {"12abc", 12},
        {"12.9", 12},
        {"12 34", 12},
        {"+12", 12},
        {" \t\n12", 12},
        {"010", 10},
        {"00000000000000000000000000000012", 12},
        {"2147483647", 2147483647},
    };
    LogRecorder log;
    for (const auto& [text, number] : rows) EXPECT_EQ(str2int(text, 7), number) << text;
    EXPECT_THAT(messages(log), IsEmpty());
}

TEST(ANumberThatIsNotPositive, YieldsTheDefaultWithoutALogLine) {
    LogRecorder log;
    for (const char* text : {"0", "-0", "-5", "-5abc", "0x10", "0.9", "-2147483648"})
        EXPECT_EQ(str2int(text, 7), 7) << text;
    EXPECT_THAT(messages(log), IsEmpty());
}

TEST(ATextWithoutALeadingNumber, IsLoggedAndYieldsTheDefault) {
    for (const char* text : {"abc", "", "   ", "-", "+", "x12", ".5", "--5", "TRUE"}) {
        SCOPED_TRACE(text);
        LogRecorder log;
        EXPECT_EQ(str2int(text, 7), 7);
        EXPECT_THAT(messages(log), ElementsAre(line(tests::ERROR, "str2int", "fail: invalid argument.\n")));
    }
}

TEST(ANumberBeyondTheRange, IsLoggedAndYieldsTheDefault) {
    for (const char* text : {"2147483648", "-2147483649", "4294967297", "9223372036854775808",
                             "99999999999999999999999999", "-99999999999999999999999999"}) {
        SCOPED_TRACE(text);
        LogRecorder log;
        EXPECT_EQ(str2int(text, 7), 7);
        EXPECT_THAT(messages(log), ElementsAre(line(tests::ERROR, "str2int", "fail: out of range.\n")));
    }
}

TEST(ANullText, IsLoggedAndYieldsTheDefault) {
    LogRecorder log;
    EXPECT_EQ(str2int(nullptr, 7), 7);
    EXPECT_THAT(messages(log), ElementsAre(line(tests::ERROR, "str2int", "pStr is NULL.\n")));
}

TEST(ATextThatCannotBeCopied, IsLoggedAndYieldsTheDefault) {
    LogRecorder log;
    tests::allocationsUntilFailure = 0;
    const int number = str2int("00000000000000000000000000000012", 7);
    EXPECT_EQ(std::exchange(tests::allocationsUntilFailure, -1), -1);
    EXPECT_EQ(number, 7);
    EXPECT_THAT(messages(log), ElementsAre(line(tests::ERROR, "str2int", "fail: others.\n")));
}

TEST(ADefault, IsReturnedUnchanged) {
    const LogRecorder log;
    for (const int value : {0, -1, 7, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        for (const char* text : {static_cast<const char*>(nullptr), "abc", "2147483648", "0", "-5"})
            EXPECT_EQ(str2int(text, value), value);
    }
}

// Logging bytes.

TEST(ADumpOfBytes, IsOneLineOfDecimalNumbersAfterTheTitle) {
    const char bytes[] = {0, static_cast<char>(255)};
    LogRecorder log;
    outputCharSerial("abc", bytes, 2);
    EXPECT_THAT(messages(log), ElementsAre(line(tests::INFO, "outputCharSerial", "abc0, 255, .\n")));
}

TEST(ADumpOfBytes, PrintsThemAsUnsignedNumbers) {
    const char bytes[] = {1, 127, static_cast<char>(128), static_cast<char>(254), 10};
    LogRecorder log;
    outputCharSerial("", bytes, 5);
    EXPECT_THAT(messages(log),
                ElementsAre(line(tests::INFO, "outputCharSerial", "1, 127, 128, 254, 10, .\n")));
}

TEST(ADumpOfBytes, PrintsOnlyItsLength) {
    LogRecorder log;
    outputCharSerial("title ", "\1\2\3", 2);
    EXPECT_THAT(messages(log), ElementsAre(line(tests::INFO, "outputCharSerial", "title 1, 2, .\n")));
}

TEST(ADumpOfNoBytes, HasOnlyTheTitle) {
    for (const int length : {0, -1, std::numeric_limits<int>::min()}) {
        SCOPED_TRACE(length);
        LogRecorder log;
        outputCharSerial("abc", "\1\2\3", length);
        EXPECT_THAT(messages(log), ElementsAre(line(tests::INFO, "outputCharSerial", "abc.\n")));
    }
}

TEST(ADumpWithoutATitle, HasOnlyTheNumbers) {
    LogRecorder log;
    outputCharSerial(nullptr, "\1\2", 2);
    EXPECT_THAT(messages(log), ElementsAre(line(tests::INFO, "outputCharSerial", "1, 2, .\n")));
}

TEST(ADumpOfANullBuffer, LogsAnError) {
    for (const char* title : {"abc", static_cast<const char*>(nullptr)}) {
        for (const int length : {2, 0, -1}) {
            LogRecorder log;
            outputCharSerial(title, nullptr, length);
            EXPECT_THAT(messages(log), ElementsAre(line(tests::ERROR, "outputCharSerial", "buf is NULL.\n")));
        }
    }
}

TEST(ADumpWithoutMemory, LogsAnErrorInsteadOfTheBytes) {
    LogRecorder log;
    tests::allocationsUntilFailure = 0;
    outputCharSerial("a title that is too long for a small string", "\1\2", 2);
    EXPECT_EQ(std::exchange(tests::allocationsUntilFailure, -1), -1);
    EXPECT_THAT(messages(log), ElementsAre(line(tests::ERROR, "outputCharSerial", "fail: others.\n")));
}

TEST(ATitle, IsNotUsedAsAFormatString) {
    LogRecorder log;
    outputCharSerial("100%s %n%d%% ", "\1", 1);
    EXPECT_THAT(messages(log), ElementsAre(line(tests::INFO, "outputCharSerial", "100%s %n%d%% 1, .\n")));
}

TEST(ADumpOfManyBytes, IsOneLine) {
    constexpr std::size_t COUNT = 100000;
    const std::string bytes(COUNT, static_cast<char>(200));
    std::string numbers;
    for (std::size_t i = 0; i < COUNT; ++i) numbers += "200, ";

    // The test uses its own sink instead of LogRecorder, because the line is very long.
    std::vector<std::string> lines;
    const LogRecorder restoresTheSink(Verbosity::INFO);
    simulated::Television::instance().debugOutput().setSink(
        [&lines](unsigned, const std::string& text) { lines.push_back(text); });
    outputCharSerial("abc", bytes.data(), static_cast<int>(COUNT));

    ASSERT_EQ(lines.size(), 1U);
    const std::string expected = " [AIPQ Common] abc" + numbers + ".\n";
    ASSERT_GT(lines[0].size(), expected.size());
    EXPECT_TRUE(lines[0].substr(lines[0].size() - expected.size()) == expected);
}

TEST(ALogLine, IsPrintedOnlyIfItsLevelIsOn) {
    const std::pair<Verbosity, std::vector<LogLine>> rows[] = {
        {Verbosity::OFF, {}},
        {Verbosity::ERROR, {line(tests::ERROR, "str2int", "pStr is NULL.\n")}},
        {Verbosity::INFO,
         {line(tests::ERROR, "str2int", "pStr is NULL.\n"),
          line(tests::INFO, "outputCharSerial", "abc1, .\n")}},
    };
    for (const auto& [verbosity, expected] : rows) {
        LogRecorder log(verbosity);
        // The debug output does not check the level; the library must.
        str2int(nullptr, 7);
        outputCharSerial("abc", "\1", 1);
        EXPECT_EQ(log.lines(), expected);
    }
}

// Files.

TEST_F(AFile, ThatIsReadableExists) {
    EXPECT_TRUE(fileExist(path.c_str()));
    EXPECT_EQ(contents(path), "contents");
}

TEST_F(AFile, ThatIsEmptyExists) {
    std::ofstream(path, std::ios::trunc).close();
    EXPECT_TRUE(fileExist(path.c_str()));
}

TEST_F(AFile, ThatIsReadOnlyExists) {
    ASSERT_EQ(chmod(path.c_str(), S_IRUSR), 0);
    EXPECT_TRUE(fileExist(path.c_str()));
}

TEST_F(AFile, IsClosedAfterTheCheck) {
    const auto nextDescriptor = [] {
        const int descriptor = open("/dev/null", O_RDONLY);
        close(descriptor);
        return descriptor;
    };
    const int before = nextDescriptor();
    ASSERT_GE(before, 0);
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(fileExist(path.c_str()));
    EXPECT_EQ(nextDescriptor(), before);
}

TEST_F(APath, ThatDoesNotExistIsNoFileAndIsNotCreated) {
    const std::string missing = directory.file("missing");
    EXPECT_FALSE(fileExist(missing.c_str()));
    EXPECT_NE(access(missing.c_str(), F_OK), 0);
    EXPECT_FALSE(fileExist((missing + "/below").c_str()));
}

TEST_F(APath, ThatIsNullOrEmptyIsNoFile) {
    EXPECT_FALSE(fileExist(nullptr));
    EXPECT_FALSE(fileExist(""));
}

TEST_F(APath, OfADirectoryExistsIfTheSystemCanOpenIt) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(std::fopen(directory.path().c_str(), "rb"),
                                                                 std::fclose);
    EXPECT_EQ(fileExist(directory.path().c_str()), opened != nullptr);
}

// A socket exists as a file but cannot be opened.
TEST_F(APath, OfASocketIsNoFile) {
    const std::string path = directory.file("socket");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) GTEST_SKIP() << path << " is too long for a socket";
    path.copy(address.sun_path, path.size());
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(descriptor, 0);
    const int bound = bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    close(descriptor);
    ASSERT_EQ(bound, 0);
    ASSERT_EQ(access(path.c_str(), F_OK), 0);
    EXPECT_FALSE(fileExist(path.c_str()));
}

// Threads.

TEST(TheCurrentThread, HasTheKernelsThreadId) {
    const auto kernelId = [] { return static_cast<int>(syscall(SYS_gettid)); };
    const int here = currentThread();
    EXPECT_EQ(here, kernelId());
    int there = 0;
    int thereByKernel = 0;
    std::thread([&] {
        there = currentThread();
        thereByKernel = kernelId();
    }).join();
    EXPECT_EQ(there, thereByKernel);
    EXPECT_NE(there, here);
}
