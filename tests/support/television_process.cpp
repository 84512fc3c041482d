#include "television_process.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace tests {

namespace {

namespace fs = std::filesystem;

class TemporaryFolder {
  public:
    TemporaryFolder() : m_path(fs::temp_directory_path() / "aipq-television-test.XXXXXX") {
        std::string name = m_path;
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        m_path = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const fs::path& path() const { return m_path; }

  private:
    fs::path m_path;
};

// Initialised before main(): the library reads these variables when it first uses the television.
const bool runtimeFolderIsSet = [] {
    ::unsetenv(remote::FOLDER_VARIABLE);
    ::setenv("XDG_RUNTIME_DIR", runtimeFolder().c_str(), 1);
    return true;
}();

}  // namespace

const fs::path& runtimeFolder() {
    static const TemporaryFolder folder;
    return folder.path();
}

std::vector<std::string> televisionFiles() {
    std::vector<std::string> names;
    const fs::path folder = runtimeFolder() / "aipq-television";
    if (fs::exists(folder))
        for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

TelevisionProcess::TelevisionProcess(std::string name, std::vector<std::string> options)
    : m_name(std::move(name)), m_options(std::move(options)) {}

std::string TelevisionProcess::address() const { return "unix:path=" + remote::socketPath(m_name); }

bool TelevisionProcess::start() {
    launch();
    return waitUntilUp();
}

void TelevisionProcess::launch() {
    std::vector<std::string> command{TELEVISION_PROGRAM, "--name", m_name};
    command.insert(command.end(), m_options.begin(), m_options.end());
    m_connection.reset();
    m_process = std::make_unique<ChildProcess>(command);
}

// The line with the busctl command is the last that the program prints before it waits for its end.
bool TelevisionProcess::waitUntilUp() { return m_process->waitForOutput("busctl "); }

std::optional<int> TelevisionProcess::stop() {
    m_connection.reset();
    m_process->signal(SIGTERM);
    return m_process->wait();
}

void TelevisionProcess::kill() {
    m_connection.reset();
    m_process->signal(SIGKILL);
    m_process->wait();
}

std::unique_ptr<sdbus::IProxy> TelevisionProcess::proxy(const std::string& key) {
    if (!m_connection) m_connection = sdbus::createSessionBusConnectionWithAddress(address());
    return sdbus::createProxy(*m_connection, remote::Place{"", m_name}.busName(),
                              key.empty() ? remote::OBJECT : remote::objectPath(key));
}

void expectRefusal(const std::vector<std::string>& options, int exitCode, const std::string& line,
                   const std::map<std::string, std::string>& environment) {
    std::vector<std::string> command{TELEVISION_PROGRAM};
    command.insert(command.end(), options.begin(), options.end());
    ChildProcess program(command, environment);
    EXPECT_EQ(program.wait(), exitCode);
    const std::string errors = program.errors();
    EXPECT_THAT(errors, testing::StartsWith(line));
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    EXPECT_EQ(program.output(), "");
}

std::string fileWith(const std::string& name, const std::string& text) {
    const std::string file = runtimeFolder() / name;
    std::ofstream(file) << text;
    return file;
}

std::string catalogueWith(const std::string& keys) {
    std::ostringstream text;
    text << std::ifstream(CATALOGUE_FILE).rdbuf() << keys;
    return fileWith("catalogue.toml", text.str());
}

}  // namespace tests
