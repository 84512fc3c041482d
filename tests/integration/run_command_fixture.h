// The fixture of tests of aipq-television run: a command with a private television.
#ifndef TESTS_RUN_COMMAND_FIXTURE_H
#define TESTS_RUN_COMMAND_FIXTURE_H

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <string>

#include "keys.h"
#include "own_television.h"
#include "television_process.h"

namespace tests {

inline const Words NO_PICTURE{"--video", "off"};
inline const Words SCENES{"--video", "scenes"};

// Written as a key: a changed setting takes a minute if the library's worker misses a notification.
inline const std::string BRIGHTNESS = keys::BRIGHTNESS;

// Runs a script in a shell with aipqctl and aipq-television on the PATH.
inline Words shell(const std::string& script) {
    const std::string path = std::filesystem::path(AIPQCTL_PROGRAM).parent_path();
    return {"sh", "-c", "PATH=" + path + ":$PATH; " + script};
}

class ACommandWithItsOwnTelevision : public testing::Test {
  protected:
    ~ACommandWithItsOwnTelevision() override { EXPECT_THAT(runFolders(), testing::IsEmpty()); }

    // Expects the run to fail before it starts the command.
    static void expectRefusal(Words options, int exitCode, const std::string& line,
                              const std::map<std::string, std::string>& environment = {}) {
        const std::string file = runtimeFolder() / "started";
        options.insert(options.begin(), "run");
        options.insert(options.end(), {"--", "touch", file});
        tests::expectRefusal(options, exitCode, line, environment);
        EXPECT_FALSE(std::filesystem::exists(file));
        EXPECT_THAT(runFolders(), testing::IsEmpty());
    }
};

}  // namespace tests

#endif
