#include "history.h"

void History::addSettings(const Sample& sample) {
    // The plot has a gap while the television was away: a sample before the gap stays where it is.
    const double start = absences.empty() ? 0 : absences.back().to;
    const std::size_t count = settings.size();
    if (count >= 2 && settings[count - 2].seconds >= start &&
        settings[count - 2].settings == sample.settings && settings[count - 1].settings == sample.settings)
        settings.back().seconds = sample.seconds;
    else
        settings.push_back(sample);
}
