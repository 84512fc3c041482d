#ifndef SIMULATED_DEBUG_OUTPUT_H
#define SIMULATED_DEBUG_OUTPUT_H

#include <functional>
#include <string>

namespace simulated {

// The platform's debug output.
class DebugOutput {
  public:
    enum class Verbosity { OFF, ERROR, INFO, TRACE };

    // Receives each line whose level is on, with its level word, one at a time, on the thread that logs.
    using Sink = std::function<void(unsigned levelWord, const std::string& line)>;

    void setVerbosity(Verbosity verbosity);
    // Empty restores the default sink, which prints readable lines on stderr.
    void setSink(Sink sink);
    // `listener` receives each line before the sink; empty for none. reset() keeps it.
    void setListener(Sink listener);
    // Verbosity from the environment, default sink.
    void reset();
};

}  // namespace simulated

#endif
