#include "simulated/debug_output.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <mutex>

#include "csp/debug.h"
#include "csp/log_level.h"

namespace simulated {

namespace {

const char* levelName(unsigned levelWord) {
    switch (levelWord & 0xFFFFU) {
        case csp::LEVEL_TRACE:
            return "trace";
        case csp::LEVEL_ERROR:
            return "error";
        case csp::LEVEL_INFO:
            return "info ";
        default:
            return "?    ";
    }
}

DebugOutput::Verbosity verbosityFromEnvironment() {
    const char* const text = std::getenv("AIPQ_TV_LOG");
    if (text == nullptr || std::strcmp(text, "error") == 0) return DebugOutput::Verbosity::ERROR;
    if (std::strcmp(text, "off") == 0) return DebugOutput::Verbosity::OFF;
    if (std::strcmp(text, "info") == 0) return DebugOutput::Verbosity::INFO;
    if (std::strcmp(text, "trace") == 0) return DebugOutput::Verbosity::TRACE;
    std::cerr << "AIPQ_TV_LOG is off, error, info or trace, not '" << text << "'\n";
    return DebugOutput::Verbosity::ERROR;
}

// Not a member of the television: creating the television already logs.
struct State {
    std::atomic<DebugOutput::Verbosity> verbosity{verbosityFromEnvironment()};
    std::mutex mutex;
    DebugOutput::Sink sink;
    DebugOutput::Sink listener;
};

State& state() {
    static State& forEver = *new State;
    return forEver;
}

[[gnu::format(printf, 1, 0)]] std::string format(const char* text, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, text, arguments);
    std::string line(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    if (length > 0) std::vsnprintf(line.data(), line.size() + 1, text, again);
    va_end(again);
    return line;
}

void print(unsigned levelWord, const std::string& line) {
    const bool ended = !line.empty() && line.back() == '\n';
    std::fprintf(stderr, "%s %s%s", levelName(levelWord), line.c_str(), ended ? "" : "\n");
}

}  // namespace

void DebugOutput::setVerbosity(Verbosity verbosity) { state().verbosity.store(verbosity); }

void DebugOutput::setSink(Sink sink) {
    const std::lock_guard lock(state().mutex);
    state().sink = std::move(sink);
}

void DebugOutput::setListener(Sink listener) {
    const std::lock_guard lock(state().mutex);
    state().listener = std::move(listener);
}

void DebugOutput::reset() {
    setVerbosity(verbosityFromEnvironment());
    setSink(nullptr);
}

}  // namespace simulated

using simulated::DebugOutput;

[[gnu::nothrow]] int cspDebugCheckLevelGetFrameAndChunk(unsigned int levelWord) {
    const auto wanted = simulated::state().verbosity.load(std::memory_order_relaxed);
    switch (levelWord & 0xFFFFU) {
        case csp::LEVEL_TRACE:
            return wanted >= DebugOutput::Verbosity::TRACE;
        case csp::LEVEL_INFO:
            return wanted >= DebugOutput::Verbosity::INFO;
        default:
            return wanted >= DebugOutput::Verbosity::ERROR;
    }
}

[[gnu::nothrow]] void cspDebugOutput0(unsigned int levelWord, const char* format, ...) {
    // Callers read errno after they have logged.
    const int savedErrno = errno;
    va_list arguments;
    va_start(arguments, format);
    const std::string line = simulated::format(format, arguments);
    va_end(arguments);
    {
        const std::lock_guard lock(simulated::state().mutex);
        if (simulated::state().listener) simulated::state().listener(levelWord, line);
        if (simulated::state().sink) {
            simulated::state().sink(levelWord, line);
        } else {
            simulated::print(levelWord, line);
        }
    }
    errno = savedErrno;
}
