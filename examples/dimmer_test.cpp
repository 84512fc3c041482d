// Tests a service against faults of the television, without a test framework. The exit code is the number of
// failed checks.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "platform_adaptation/system_access/value_access.h"
#include "simulated/television.h"

namespace {

constexpr char BRIGHTNESS[] = "dovra.sl2.i32.video.brightness";
constexpr std::chrono::milliseconds PATIENCE{500};

// The tested service: dims the picture and confirms the change.
class Dimmer {
  public:
    Dimmer()
        : m_brightness(BRIGHTNESS,
                       std::make_shared<ValueHandlerT<Dimmer>>(this, &Dimmer::onBrightnessChanged)) {
        m_brightness.connect(1000);
    }

    // Returns whether the television has this brightness now. An announcement shortens the wait; a lost one
    // does not matter.
    bool dimTo(int wanted) {
        if (m_brightness.setValue(wanted) != 0) return false;
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait_for(lock, PATIENCE, [&] { return m_announced == wanted; });
        int brightness = 0;
        return m_brightness.getValue(brightness) == 0 && brightness == wanted;
    }

  private:
    void onBrightnessChanged(const ValueObject& value) {  // on the model's thread
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_announced = value;
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_announced = -1;
    ValueAccessT<lomodelapi::ObserverNumericInteger> m_brightness;
};

int failures = 0;

void check(const char* sentence, bool holds) {
    std::printf("%s  %s\n", holds ? "ok    " : "FAILED", sentence);
    if (!holds) ++failures;
}

}  // namespace

int main() {
    // Uses the television embedded in this process, without a picture.
    setenv("AIPQ_TV", "embedded", 1);
    setenv("AIPQ_TV_VIDEO", "off", 1);
    simulated::Television& television = simulated::Television::instance();
    simulated::Model& model = television.model();

    Dimmer dimmer;
    check("the dimmer dims", dimmer.dimTo(30) && model.value(BRIGHTNESS) == simulated::Value(30));

    simulated::KeyFaults faults;
    faults.dropNotifications = 1;
    model.setFaults(BRIGHTNESS, faults);
    check("it does not need the announcement", dimmer.dimTo(20));

    faults = {};
    faults.refuseWrites = true;
    model.setFaults(BRIGHTNESS, faults);
    check("it reports a refusal", !dimmer.dimTo(10) && model.value(BRIGHTNESS) == simulated::Value(20));

    television.reset();
    check("it dims again when the fault is gone", dimmer.dimTo(10));
    return failures;
}
