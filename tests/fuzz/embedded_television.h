// The simulated television of a fuzz target: embedded, without a picture.
#ifndef TESTS_FUZZ_EMBEDDED_TELEVISION_H
#define TESTS_FUZZ_EMBEDDED_TELEVISION_H

#include <chrono>
#include <cstdlib>

#include "simulated/television.h"

namespace fuzzing {

inline simulated::Television& switchedOn() {
    setenv("AIPQ_TV_VIDEO", "off", 1);
    setenv("AIPQ_TV", "embedded", 1);
    simulated::Television& television = simulated::Television::instance();
    // Notifications are sent without delay, so that settle() returns quickly.
    television.model().setNotificationDelay(std::chrono::milliseconds(0));
    return television;
}

}  // namespace fuzzing

#endif
