#include "log_recorder.h"

#include <unistd.h>

#include <algorithm>
#include <regex>

namespace tests {

namespace {

LogLine parse(unsigned level, const std::string& text) {
    static const std::regex form(R"(([^:/]+):(\d+):([^()]+)\(\): (\[[^\]]*\]) ([\s\S]*))");
    std::smatch parts;
    if (!std::regex_match(text, parts, form)) return {level, "", "", text, "", 0, gettid()};
    return {level, parts[1], parts[3], parts[5], parts[4], std::stoi(parts[2]), gettid()};
}

}  // namespace

bool operator==(const LogLine& a, const LogLine& b) {
    return a.level == b.level && a.file == b.file && a.function == b.function && a.message == b.message &&
           a.tag == b.tag;
}

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << std::hex << line.level << std::dec << ' ' << line.file << ':' << line.number << ':' << line.function
               << "(): " << line.tag << ' ' << line.message;
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
