#include "aipqctl_run.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "asleep.h"
#include "keys.h"
#include "program.h"

namespace tests {

namespace {

std::string contentOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::string temporaryFile() {
    std::string path = std::filesystem::temp_directory_path() / "aipqctl_test.XXXXXX";
    const int file = mkstemp(path.data());
    if (file == -1) throw std::runtime_error("no temporary file");
    close(file);
    return path;
}

std::vector<char*> pointers(Arguments& arguments) {
    std::vector<char*> all;
    for (std::string& argument : arguments) all.push_back(argument.data());
    all.push_back(nullptr);
    return all;
}

}  // namespace

Running::Running(const Body& body) : m_errFile(temporaryFile()) {
    std::array<int, 2> out{};
    if (pipe(out.data()) != 0) throw std::runtime_error("no pipe");
    m_process = fork();
    if (m_process == 0) {
        dup2(out[1], STDOUT_FILENO);
        close(out[0]);
        close(out[1]);
        if (std::freopen(m_errFile.c_str(), "w", stderr) == nullptr) _exit(99);
        const int exitCode = body();
        std::fflush(nullptr);
        _exit(exitCode);
    }
    close(out[1]);
    m_out = out[0];
}

Running::~Running() {
    if (m_process > 0) {
        kill(m_process, SIGKILL);
        finish();
    }
    std::filesystem::remove(m_errFile);
}

std::string Running::readLine() {
    std::string line;
    for (char letter = 0; read(m_out, &letter, 1) == 1 && letter != '\n';) line += letter;
    return line;
}

void Running::interrupt() const {
#ifdef __SANITIZE_THREAD__
    // ThreadSanitizer sometimes loses a signal that finds the main thread busy.
    waitUntilAsleep(m_process);
#endif
    kill(m_process, SIGINT);
}

void Running::closeOutput() {
    close(m_out);
    m_out = -1;
}

Result Running::finish() {
    Result result;
    std::array<char, 4096> part{};
    for (ssize_t size = 0; m_out != -1 && (size = read(m_out, part.data(), part.size())) > 0;)
        result.out.append(part.data(), static_cast<std::size_t>(size));
    if (m_out != -1) closeOutput();
    int status = 0;
    waitpid(m_process, &status, 0);
    m_process = -1;
    if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
    result.err = contentOf(m_errFile);
    return result;
}

Arguments setPq(Arguments command, const Arguments& numbers) {
    command.emplace_back(keys::PQ_SETTING);
    const std::size_t size = command.size() + 27;
    command.insert(command.end(), numbers.begin(), numbers.end());
    command.resize(size, "0");
    return command;
}

Running::Body program(const Arguments& arguments) {
    return [arguments]() {
        Arguments words{AIPQCTL_PROGRAM};
        words.insert(words.end(), arguments.begin(), arguments.end());
        execv(AIPQCTL_PROGRAM, pointers(words).data());
        return 98;
    };
}

Result run(const Arguments& arguments) { return Running(program(arguments)).finish(); }

Running::Body programOn(const Arrange& arrange, const Arguments& arguments) {
    return [arrange, arguments]() {
        // The platform reads AIPQ_TV when the television is created, which happens before the program sets
        // it.
        setenv("AIPQ_TV", "embedded", 1);
        setenv("AIPQ_TV_LOG", "off", 0);
        arrange(simulated::Television::instance());
        Arguments words{"aipqctl"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return aipqctl::run(static_cast<int>(words.size()), pointers(words).data());
    };
}

Result runEmbedded(const Arguments& arguments) {
    Arguments words{"--embedded"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run(words);
}

Result runOn(const Arrange& arrange, const Arguments& arguments) {
    return Running(programOn(arrange, arguments)).finish();
}

Result runShell(const std::string& command) {
    return Running([command]() {
               execl("/bin/bash", "bash", "-c", ("exec 2>&1; " + command).c_str(), nullptr);
               return 98;
           })
        .finish();
}

testing::PolymorphicMatcher<testing::internal::MatchesRegexMatcher> Reads(std::string pattern) {
    for (const auto& [written, meant] : {std::pair("\\d", "[0-9]"), std::pair("\\n", "\n")})
        for (std::size_t at = pattern.find(written); at != std::string::npos;
             at = pattern.find(written, at + 1))
            pattern.replace(at, 2, meant);
    return testing::MatchesRegex(pattern);
}

std::string validate(const std::string& schema, const std::string& lines) {
    const std::string file = temporaryFile();
    std::ofstream(file) << lines;
    const Result result =
        runShell("python3 " VALIDATE_PROGRAM " " SCHEMA_FOLDER "/" + schema + ".json " + file);
    std::filesystem::remove(file);
    return result.exitCode == 0 ? "" : result.out + " for: " + lines;
}

}  // namespace tests
