// A third-party program that uses only the installed packages, not the project's source tree.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "platform_adaptation/picture_capture.h"
#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "platform_adaptation/system_state.h"

namespace {

// Waits for a value that the television announces.
class Announcement {
  public:
    void onChanged(const ValueObject& value) {  // called on the model's thread
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_text = value.convertToStringType();
        m_changed.notify_all();
    }

    bool waitFor(const std::string& text) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(30), [&] { return m_text == text; });
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::string m_text;
};

int fail(const char* what) {
    std::fprintf(stderr, "consumer: %s\n", what);
    return 1;
}

}  // namespace

int main() {
    ValueAccessT<lomodelapi::ObserverString> source("dovra.sl2.str.source.current.path");
    std::string name;
    if (source.getValue(name) != 0 || name.empty()) return fail("the television does not say its source");

    Announcement announcement;
    ValueAccessT<lomodelapi::ObserverNumericInteger> brightness(
        "dovra.sl2.i32.video.brightness",
        std::make_shared<ValueHandlerT<Announcement>>(&announcement, &Announcement::onChanged));
    if (brightness.connect(1000) != 0) return fail("the brightness cannot be followed");
    int before = 0;
    if (brightness.getValue(before) != 0) return fail("the brightness cannot be read");
    const int wanted = before + 6;
    if (brightness.setValue(wanted) != 0) return fail("the brightness cannot be written");
    if (!announcement.waitFor(std::to_string(wanted))) return fail("the new brightness is not announced");

    SystemSetting setting;
    if (setting.getVideoBrightness() != wanted) return fail("the brightness is another than announced");
    SystemInfo info;
    SystemState state("consumer");
    PictureCapture capture;
    std::printf("C++ %ld: source %s, brightness %d > %d\n", static_cast<long>(__cplusplus), name.c_str(),
                before, wanted);
    return 0;
}
