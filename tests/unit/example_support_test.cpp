// The common code of the examples.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "file.h"
#include "message.h"

namespace {

namespace fs = std::filesystem;

class AnExamplesFile : public testing::Test {
  protected:
    AnExamplesFile() {
        std::string name = fs::temp_directory_path() / "example_support_test.XXXXXX";
        m_folder = mkdtemp(name.data());
    }
    ~AnExamplesFile() override { fs::remove_all(m_folder); }

    std::string path(const std::string& name) const { return m_folder / name; }

    static std::string contentOf(const std::string& file) {
        std::ostringstream content;
        content << std::ifstream(file).rdbuf();
        return content.str();
    }

    auto numberOfFiles() const { return std::distance(fs::directory_iterator(m_folder), {}); }

    std::string error;

  private:
    fs::path m_folder;
};

TEST_F(AnExamplesFile, KeepsALinkAndReplacesItsTarget) {
    fs::create_directory(path("below"));
    std::ofstream(path("below/a")) << "before";
    fs::create_symlink("below/a", path("link"));
    fs::create_symlink("below/new", path("dangling"));
    EXPECT_TRUE(saveFile(path("link"), "after", error)) << error;
    EXPECT_TRUE(saveFile(path("dangling"), "new", error)) << error;
    EXPECT_TRUE(fs::is_symlink(path("link")));
    EXPECT_TRUE(fs::is_symlink(path("dangling")));
    EXPECT_EQ(contentOf(path("below/a")), "after");
    EXPECT_EQ(contentOf(path("below/new")), "new");
}

TEST_F(AnExamplesFile, KeepsThePermissions) {
    std::ofstream(path("a")) << "before";
    fs::permissions(path("a"), fs::perms(0640));
    EXPECT_TRUE(saveFile(path("a"), "after", error)) << error;
    EXPECT_EQ(fs::status(path("a")).permissions(), fs::perms(0640));
}

TEST_F(AnExamplesFile, IsCompleteIfTwoProgramsWriteIt) {
    std::ofstream(path("a.part")) << "of another program";
    const std::string texts[] = {std::string(300000, 'x'), std::string(500000, 'y')};
    std::vector<std::thread> writers;
    for (const std::string& text : texts)
        writers.emplace_back([&text, file = path("a")] {
            std::string why;
            for (int i = 0; i < 50; ++i) EXPECT_TRUE(saveFile(file, text, why)) << why;
        });
    for (std::thread& writer : writers) writer.join();
    EXPECT_THAT(contentOf(path("a")), testing::AnyOf(texts[0], texts[1]));
    EXPECT_EQ(contentOf(path("a.part")), "of another program");
    EXPECT_EQ(numberOfFiles(), 2);
}

TEST_F(AnExamplesFile, NamesAFileThatCannotBeWritten) {
    EXPECT_FALSE(saveFile(path("no/a"), "", error));
    EXPECT_EQ(error, "cannot write '" + path("no/a") + "': No such file or directory");
    fs::create_symlink("/dev/full", path("full"));
    EXPECT_FALSE(saveFile(path("full"), "text", error));
    EXPECT_EQ(error, "cannot write '" + path("full") + "': No space left on device");
    EXPECT_TRUE(fs::is_symlink(path("full")));
}

TEST(AnExamplesMessage, IsSafeAndShort) {
    EXPECT_EQ(safeText("plain, Öst, 日本"), "plain, Öst, 日本");
    EXPECT_EQ(safeText("\x1b[31m\xc2\x9b\xff\xe2\x80\xae"), R"(\x1b[31m\u{9b}\xff\u{202e})");
    testing::internal::CaptureStderr();
    complain("example", std::string(100000, 'x') + "\x1b");
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_THAT(line, testing::AllOf(testing::StartsWith("example: xxx"), testing::EndsWith("x\\x1b\n")));
    EXPECT_LT(line.size(), 1100U);
}

}  // namespace
