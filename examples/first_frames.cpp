// First steps with the library: reads values of the television, follows one value, writes it in two ways, and
// captures frames, synchronously and through a callback.
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "arguments.h"
#include "message.h"
#include "platform_adaptation/picture_capture.h"
#include "platform_adaptation/system_access/value_access.h"
#include "png_file.h"

using korvale::ai::PictureData;
using lomodelapi::ObserverNumericInteger;
using lomodelapi::ObserverString;
using lomodelapi::ObserverVectorString;

namespace {

void fail(const std::string& what) {
    complain("first_frames", what);
    std::exit(EXIT_FAILURE);
}

void showText(const char* what, const char* key) {
    ValueAccessT<ObserverString> access(key);
    std::string text;
    if (access.getValue(text) != 0) fail(std::string(key) + " cannot be read");
    std::printf("  %-15s %s\n", what, safeText(text).c_str());
}

// Follows the brightness and lets another thread wait for its changes.
class BrightnessFollower {
  public:
    BrightnessFollower()
        : m_access("dovra.sl2.i32.video.brightness", std::make_shared<ValueHandlerT<BrightnessFollower>>(
                                                         this, &BrightnessFollower::onChanged)) {
        if (m_access.connect(1000) != 0) fail("the brightness cannot be followed");
    }

    int value() {
        int number = 0;
        if (m_access.getValue(number) != 0) fail("the brightness cannot be read");
        return number;
    }

    // `Number` is int or long long: a key of either width accepts both.
    template <typename Number>
    void set(Number number) {
        std::unique_lock lock(m_mutex);
        m_changes.clear();
        if (m_access.setValue(number) != 0) fail("the brightness cannot be written");
        if (!m_changed.wait_for(lock, std::chrono::seconds(5), [this] { return !m_changes.empty(); }))
            fail("the television did not announce the new brightness");
        std::printf("  written as %-9s the television announces a value of kind %d: %s\n",
                    sizeof(Number) == sizeof(int) ? "int:" : "long long:", m_changes.back().type(),
                    m_changes.back().convertToStringType().c_str());
    }

  private:
    void onChanged(const ValueObject& value) {  // on the model's thread
        const std::lock_guard lock(m_mutex);
        m_changes.push_back(value);
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<ValueObject> m_changes;
    // Declared last, so destroyed first: after that, no thread calls onChanged().
    ValueAccessT<ObserverNumericInteger> m_access;
};

void save(const std::string& path, const PictureData& picture) {
    std::string error;
    if (!savePng(path, picture, error)) fail(error);
    std::printf("  %s: %u x %u\n", safeText(path).c_str(), picture.width, picture.height);
}

// Saves the frames that arrive through the callback.
class FrameSaver {
  public:
    explicit FrameSaver(std::string folder) : m_folder(std::move(folder)) {}

    static void onFrame(bool success, PictureData* picture, void* userData) {  // on the checking thread
        static_cast<FrameSaver*>(userData)->take(success, *picture);
    }

    // Returns whether a frame arrives after the first `count` frames.
    bool waitForMoreThan(unsigned count) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(5),
                                  [&] { return m_count > count || !m_wanted; });
    }

    void ignoreTheRest() {
        const std::lock_guard lock(m_mutex);
        m_wanted = false;
    }

  private:
    void take(bool success, const PictureData& picture) {
        const std::lock_guard lock(m_mutex);
        // Stopping the capture calls the callback once more.
        if (!m_wanted || !success) return;
        ++m_count;
        save(m_folder + "/callback-" + std::to_string(m_count) + ".png", picture);
        m_changed.notify_all();
    }

    const std::string m_folder;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    unsigned m_count = 0;
    bool m_wanted = true;
};

void captureFrames(const std::string& folder) {
    FrameSaver saver(folder);
    PictureCapture capture;
    capture.registerCallBack(FrameSaver::onFrame, &saver);
    capture.start();

    // A request is lost while the capture's thread is not waiting for one. Wait a moment after the start, and
    // repeat a request without a frame.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    constexpr int tries = 3;
    PictureData picture;
    initPictureData(picture);
    bool success = false;
    for (int i = 0; i < tries && !success; ++i) success = capture.getPicture(true, &picture);
    if (!success) fail("no frame arrives: is a video pipeline running?");
    save(folder + "/waited.png", picture);

    picture.width = 160;
    picture.height = 90;
    for (unsigned frame = 0; frame < 3; ++frame) {
        std::this_thread::sleep_for(std::chrono::seconds(1));  // let the film continue
        success = false;
        for (int i = 0; i < tries && !success; ++i) {
            capture.getPicture(false, &picture);
            success = saver.waitForMoreThan(frame);
        }
        if (!success) fail("no frame arrives through the callback");
    }
    saver.ignoreTheRest();
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App arguments("Reads and writes a television and captures frames of it.");
    std::string folder;
    arguments.add_option("FOLDER", folder, "where the pictures go")
        ->required()
        ->check(CLI::ExistingDirectory);
    parseArguments(arguments, argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);

    std::puts("What the television says:");
    showText("source", "dovra.sl2.str.source.current.path");
    showText("video format", "dovra.sl2.str.video.format.info");
    showText("HDR type", "dovra.sl2.str.servicemode.videoinfo.hdrtype");
    ValueAccessT<ObserverVectorString> attributes("dovra.sl2.vstr.tvservice.play.main");
    std::vector<std::string> list;
    if (attributes.getValue(list) != 0) fail("the play attributes cannot be read");
    std::printf("  %-15s %zu, the first is '%s'\n", "play attributes", list.size(),
                safeText(list.at(0)).c_str());

    BrightnessFollower brightness;
    const int before = brightness.value();
    std::printf("The brightness is %d:\n", before);
    brightness.set(before + 10);
    brightness.set(static_cast<long long>(before));

    std::puts("Frames of what is playing:");
    captureFrames(folder);
}
