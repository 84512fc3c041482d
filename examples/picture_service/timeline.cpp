#include "timeline.h"

#include <cstdio>

#include "message.h"

double Timeline::seconds() const { return std::chrono::duration<double>(Clock::now() - m_start).count(); }

void Timeline::print(const std::string& text) {
    // The lock keeps the lines in the order of their times.
    const std::lock_guard lock(m_mutex);
    std::printf("%5.1f s  %s\n", seconds(), safeText(text).c_str());
    std::fflush(stdout);
}
