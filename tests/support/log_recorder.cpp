#include "log_recorder.h"

#include <unistd.h>

#include <algorithm>

namespace tests {

namespace {

// Parses "file.cpp:12:function(): [tag] message". A line of another form becomes a message without the other
// fields.
LogLine parse(unsigned level, const std::string& text) {
    const LogLine formless{level, "", "", text, "", 0, gettid()};
    const std::size_t fileEnd = text.find(':');
    const std::size_t lineEnd = text.find(':', fileEnd + 1);
    const std::size_t functionEnd = text.find("(): [");
    if (functionEnd == std::string::npos || lineEnd == std::string::npos || lineEnd > functionEnd)
        return formless;
    const std::size_t tagBegin = functionEnd + 4;
    const std::size_t tagEnd = text.find("] ", tagBegin);
    if (tagEnd == std::string::npos) return formless;
    const std::string number = text.substr(fileEnd + 1, lineEnd - fileEnd - 1);
    if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos) return formless;
    return {level,
            text.substr(0, fileEnd),
            text.substr(lineEnd + 1, functionEnd - lineEnd - 1),
            text.substr(tagEnd + 2),
            text.substr(tagBegin, tagEnd + 1 - tagBegin),
            std::stoi(number),
            gettid()};
}

}  // namespace

bool operator==(const LogLine& a, const LogLine& b) {
    return a.level == b.level && a.file == b.file && a.function == b.function && a.message == b.message &&
           a.tag == b.tag;
}

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << std::hex << line.level << std::dec << ' ' << line.file << ':' << line.number << ':'
               << line.function << "(): " << line.tag << ' ' << line.message;
}

LogRecorder::LogRecorder(simulated::DebugOutput::Verbosity verbosity) {
    simulated::DebugOutput& output = simulated::Television::instance().debugOutput();
    output.setSink([this](unsigned level, const std::string& text) {
        const std::lock_guard lock(m_mutex);
        m_lines.push_back(parse(level, text));
        m_changed.notify_all();
    });
    output.setVerbosity(verbosity);
}

LogRecorder::~LogRecorder() { simulated::Television::instance().debugOutput().reset(); }

std::vector<LogLine> LogRecorder::lines() const {
    const std::lock_guard lock(m_mutex);
    return m_lines;
}

std::vector<LogLine> LogRecorder::withMessage(const std::string& message) const {
    std::vector<LogLine> found;
    for (const LogLine& line : lines())
        if (line.message == message) found.push_back(line);
    return found;
}

std::size_t LogRecorder::count(const LogLine& line) const {
    const std::vector<LogLine> all = lines();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), line));
}

std::size_t LogRecorder::countEnter(const std::string& file, const std::string& function) const {
    std::size_t found = 0;
    for (const LogLine& line : lines()) {
        const std::string message = "[" + function + "][" + std::to_string(line.number) + "] ENTER\n";
        if (line == LogLine{TRACE, file, function, message}) ++found;
    }
    return found;
}

bool LogRecorder::waitFor(const std::string& text, std::size_t times, std::chrono::milliseconds limit) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit, [&] {
        const auto has = [&](const LogLine& line) { return line.message.find(text) != std::string::npos; };
        return static_cast<std::size_t>(std::count_if(m_lines.begin(), m_lines.end(), has)) >= times;
    });
}

void LogRecorder::clear() {
    const std::lock_guard lock(m_mutex);
    m_lines.clear();
}

}  // namespace tests
