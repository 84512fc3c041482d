// aipq-television run: commands that are not started, and the rights that a run needs.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "exit_code.h"
#include "own_television.h"
#include "run_command_fixture.h"
#include "television_process.h"

using testing::MatchesRegex;
using tests::ACommandWithItsOwnTelevision;
using tests::ChildProcess;
using tests::fileWith;
using tests::NO_PICTURE;
using tests::runtimeFolder;
using tests::shell;
using tests::Words;

namespace {

namespace fs = std::filesystem;

TEST_F(ACommandWithItsOwnTelevision, IsReportedIfItDoesNotExist) {
    tests::expectRefusal({"run", "--video", "off", "--", "/no/command"}, EXIT_NOT_FOUND,
                         "aipq-television: cannot execute '/no/command': No such file or directory\n");
    tests::expectRefusal({"run", "--video", "off", "--", "no-such-command"}, EXIT_NOT_FOUND,
                         "aipq-television: cannot execute 'no-such-command': No such file or directory\n");
    tests::expectRefusal({"run", "--video", "off", "--", fileWith("text", "no program")}, EXIT_NOT_EXECUTABLE,
                         "aipq-television: cannot execute '");
    tests::expectRefusal({"run"}, EXIT_WRONG_USE, "aipq-television: a command behind -- is required: ");
    tests::expectRefusal({"run", "--"}, EXIT_WRONG_USE, "aipq-television: a command behind -- is required: ");
    tests::expectRefusal({"run", "true"}, EXIT_WRONG_USE, "aipq-television: 'true' is one word too many: ");
}

TEST_F(ACommandWithItsOwnTelevision, IsNotStartedWithBadFiles) {
    const std::string noFilm = fileWith("film.avi", "no film at all\n");
    const std::string noScenario = fileWith("broken.toml", "[[step]]\nset = \"no.key\"\nto = 1\n");
    const std::string noCatalogue = fileWith("malformed.toml", "[[key]]\nname = ?\n");
    const std::string noVideo =
        fileWith("video.toml", "video = \"/no/film\"\n[[step]]\nclear_faults = true\n");
    const std::string laterFilm =
        fileWith("later.toml", "[[step]]\nclear_faults = true\n[[step]]\nvideo = \"" + noFilm + "\"\n");
    const std::string noText = fileWith("latin.toml", "[[step]]\nscene = \"\xfc\"\n");
    const std::string program = "aipq-television: ";
    expectRefusal({"--video", "/no/film"}, EXIT_BAD_FILE, program + "the film /no/film cannot be read: ");
    expectRefusal({"--video", noFilm}, EXIT_BAD_FILE, program + "cannot play '" + noFilm + "': ");
    expectRefusal({"--scenario", "/no/file"}, EXIT_BAD_FILE,
                  program + "cannot read '/no/file': No such file or directory\n");
    expectRefusal({"--scenario", noScenario}, EXIT_BAD_FILE, program + noScenario + ":2:");
    expectRefusal({"--scenario", noVideo}, EXIT_BAD_FILE,
                  program + noVideo + ":1:9: cannot play '/no/film': No such file or directory\n");
    expectRefusal({"--scenario", laterFilm}, EXIT_BAD_FILE,
                  program + laterFilm + ":4:9: cannot play '" + noFilm + "': ");
    expectRefusal({"--scenario", noText}, EXIT_BAD_FILE, program + noText + ":2:");
    expectRefusal({"--catalogue", "/no/file"}, EXIT_BAD_FILE, program + "cannot read '/no/file': ");
    expectRefusal({"--catalogue", noCatalogue}, EXIT_BAD_FILE, program + noCatalogue + ":2:");
    expectRefusal({"--log", "/no/folder/log"}, EXIT_BAD_FILE,
                  program + "cannot write the log /no/folder/log: ");
    expectRefusal({"--video", "off", "--log", "/dev/full"}, EXIT_BAD_FILE,
                  program + "cannot write the log /dev/full: No space left on device\n");
}

TEST_F(ACommandWithItsOwnTelevision, IsNotStartedWithoutATelevision) {
    const std::string program = "aipq-television: ";
    expectRefusal({"--video", "off"}, EXIT_NOT_STARTED, program + "dbus-daemon is not installed: install",
                  {{"PATH", "/nowhere"}});
    expectRefusal({"--video", "off"}, EXIT_NOT_STARTED,
                  program + "cannot create a folder in /nowhere: No such file or directory\n",
                  {{"XDG_RUNTIME_DIR", "/nowhere"}});
    const std::string longFolder = '/' + std::string(90, 'x');
    expectRefusal({"--video", "off"}, EXIT_NOT_STARTED,
                  program + "the path of " + longFolder + " is too long", {{"XDG_RUNTIME_DIR", longFolder}});
}

// Rights

// ThreadSanitizer starts a thread, and a process with several threads cannot enter a user namespace.
#ifndef __SANITIZE_THREAD__

// Runs a command as root without the right to create namespaces, or as the user of the test.
Words withoutRights(const Words& command) {
    Words words;
    if (::geteuid() == 0) words = {"setpriv", "--bounding-set", "-sys_admin"};
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

TEST_F(ACommandWithItsOwnTelevision, IsNotStartedWithoutNamespaceRights) {
    const std::string file = runtimeFolder() / "started";
    const Words words = tests::runWords(NO_PICTURE, {"touch", file});
    const auto expectNoRights = [&](Words command, const std::string& line) {
        command.insert(command.end(), words.begin(), words.end());
        ChildProcess process(command);
        EXPECT_EQ(process.wait(), EXIT_NO_RIGHTS);
        EXPECT_THAT(process.errors(), MatchesRegex("aipq-television: " + line + "[^\n]*\n"));
        EXPECT_FALSE(fs::exists(file));
    };
    // The current user ID has no mapping.
    expectNoRights({"unshare", "--user"}, "cannot create a user namespace: Operation not permitted; ");
    const std::string noMore = "echo 0 >/proc/sys/user/max_ipc_namespaces && exec \"$@\"";
    expectNoRights({"unshare", "--user", "--map-root-user", "sh", "-c", noMore, "sh"},
                   "cannot create an IPC namespace: No space left on device; ");
}

TEST_F(ACommandWithItsOwnTelevision, IsNotStartedForAUserWithoutAName) {
    Words words{"unshare", "--user", "--map-user=3999999999", "--map-group=0"};
    const Words run = tests::runWords(NO_PICTURE, {"echo", "started"});
    words.insert(words.end(), run.begin(), run.end());
    ChildProcess process(words);
    EXPECT_EQ(process.wait(), EXIT_NOT_STARTED);
    EXPECT_EQ(process.output(), "");
    EXPECT_EQ(process.errors(),
              "aipq-television: dbus-daemon does not serve a user without a name: add the user 3999999999 to "
              "/etc/passwd\n");
}

TEST_F(ACommandWithItsOwnTelevision, NeedsNoRightsIfUserNamespacesWork) {
    const std::string frame = runtimeFolder() / "frame.png";
    ChildProcess process(
        withoutRights(tests::runWords({}, shell("id -u; id -g; cat /proc/self/uid_map; aipqctl capture -o " +
                                                frame + " >/dev/null && echo seen"))));
    EXPECT_EQ(process.wait(), 0);
    const std::string user = std::to_string(::geteuid());
    EXPECT_THAT(process.output(), MatchesRegex(user + '\n' + std::to_string(::getegid()) + "\n +" + user +
                                               " +" + user + " +1\nseen\n"))
        << process.errors();
    EXPECT_EQ(process.errors(), "");
    struct stat status {};
    EXPECT_EQ(::stat(frame.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, ::geteuid());
}

#endif

}  // namespace
