#include "output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "failure.h"

namespace aipqctl {

namespace {

// Characters, not bytes: names of channels need not be ASCII.
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
    throw Failure(EXIT_BAD_FILE, std::string("the output cannot be written: ") + std::strerror(error));
}

void printLine(const std::string& line) { print(line + '\n'); }

void printJson(const Json& json) {
    // What a television sends need not be UTF-8.
    printLine(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

std::vector<std::string> aligned(const std::vector<std::vector<std::string>>& rows) {
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

bool isTerminal() { return isatty(STDOUT_FILENO) == 1; }

}  // namespace aipqctl
