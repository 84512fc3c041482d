#include "output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "failure.h"
#include "safe_text.h"

namespace aipqctl {

namespace {

// Counts characters, not bytes: channel names may contain non-ASCII characters.
std::size_t width(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

}  // namespace

void print(const std::string& text) {
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) return;
    const int error = errno;
    if (error == EPIPE) throw OutputClosed();
    throw Failure(EXIT_BAD_FILE, outputProblem(error));
}

std::string outputProblem(int error) {
    const std::string why = error == EBADF ? "standard output is closed" : std::strerror(error);
    return "the output cannot be written: " + why;
}

void printLine(const std::string& line) { print(safeText(line) + '\n'); }

void printJson(const Json& json) {
    // Text from a television may contain invalid UTF-8.
    print(safeJson(json.dump(-1, ' ', false, Json::error_handler_t::replace)) + '\n');
}

std::vector<std::string> aligned(const std::vector<std::vector<std::string>>& table) {
    std::vector<std::vector<std::string>> rows = table;
    for (auto& row : rows)
        for (std::string& cell : row) cell = safeText(cell);
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width(row[i]));
    }
    std::vector<std::string> lines;
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) line.append(widths[i] - width(row[i]) + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(line);
    }
    return lines;
}

void failWriting(const CannotWrite& problem) {
    if (problem.error() == EPIPE) throw OutputClosed();
    throw Failure(EXIT_BAD_FILE, problem.what());
}

void save(const std::string& path, const std::string& content) {
    try {
        writeFile(path, content);
    } catch (const CannotWrite& problem) {
        failWriting(problem);
    }
}

void complain(const std::string& problem) {
    std::fprintf(stderr, "aipqctl: %s\n", safeMessage(problem).c_str());
}

void occupyStandardStreams() {
    // Open them for reading, so that writing still fails.
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) == -1) static_cast<void>(open("/dev/null", O_RDONLY));
}

bool isTerminal() { return isatty(STDOUT_FILENO) == 1; }

}  // namespace aipqctl
