// A picture-quality service that runs for long days of a television. Several threads perform all kinds of
// operations of the library, while the television is killed and started again.
//
//   soak_service SEED [--without-pictures] [--leak]
//
// It prints a line every second: "NAME DONE/FAILED" for each operation. After a line on its standard input,
// it performs each operation until it succeeds once more, and ends with 0 if all succeeded.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <iterator>
#include <list>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "model_operations.h"
#include "operation.h"
#include "platform_adaptation/picture_capture.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_setting.h"
#include "platform_adaptation/system_state.h"

using namespace std::chrono_literals;
using korvale::ai::PictureData;
using soak::ANSWER_LIMIT;
using soak::Awaited;
using soak::Clock;
using soak::Dice;
using soak::Operation;

namespace {

constexpr char SERVICE_NAME[] = "soak";

// Longer than the time for which a worker of a picture setting waits for the television.
constexpr auto WORKER_LIMIT = 62s;
constexpr auto LAST_LIMIT = 75s;

// Follows the power state that the application manager announces.
class Power {
  public:
    Power() : m_state(SERVICE_NAME) { m_state.registerCallBackTVPowerState(onChanged, this); }

    bool isAwake() const { return m_awake; }
    Operation operation{"power", [](Dice&) { return std::optional<bool>(); }};

  private:
    static void onChanged(TVPowerState state, void* self) {
        Power& power = *static_cast<Power*>(self);
        ++power.operation.done;
        switch (state) {
            case TV_POWER_STATE_RUNNING:
            case TV_POWER_STATE_RESUME:
            case TV_POWER_STATE_STR_RESUMING:
                power.m_awake = true;
                break;
            case TV_POWER_STATE_SUSPEND:
            case TV_POWER_STATE_STR_SUSPEND:
                power.m_awake = false;
                break;
            default:
                break;
        }
    }

    std::atomic<bool> m_awake{true};
    SystemState m_state;
};

class Pictures {
  public:
    explicit Pictures(const Power& power) : m_power(power) { m_capture.registerCallBack(onFrame, this); }

    std::optional<bool> capture(Dice& dice, bool wait) {
        followPower();
        if (!m_running) return std::nullopt;
        PictureData picture = anySize(dice);
        if (wait) return m_capture.getPicture(true, &picture) && isComplete(picture);
        m_frame.forget();
        m_capture.getPicture(false, &picture);
        return m_frame.waitUntil([](bool success) { return success; });
    }

  private:
    // Stops capturing while the television is suspended.
    void followPower() {
        if (m_running == m_power.isAwake()) return;
        m_running = !m_running;
        if (m_running) {
            m_capture.start();
            // A request is lost if the sender thread does not wait for one yet, and no notification reports
            // when it does.
            std::this_thread::sleep_for(100ms);
        } else {
            m_capture.stop();
        }
    }

    static PictureData anySize(Dice& dice) {
        static constexpr std::array<std::array<unsigned, 2>, 5> sizes{
            {{224, 224}, {160, 90}, {64, 64}, {320, 156}, {90, 400}}};
        PictureData picture;
        initPictureData(picture);
        const auto& size =
            sizes[static_cast<std::size_t>(dice.between(0, static_cast<int>(sizes.size()) - 1))];
        picture.width = size[0];
        picture.height = size[1];
        return picture;
    }

    static bool isComplete(const PictureData& picture) {
        return picture.data != nullptr && picture.width > 0 && picture.height > 0;
    }

    static void onFrame(bool success, PictureData* picture, void* self) {
        static_cast<Pictures*>(self)->m_frame.set(success && isComplete(*picture));
    }

    const Power& m_power;
    bool m_running = false;
    Awaited<bool> m_frame;
    PictureCapture m_capture;  // declared last and destroyed first: its callback uses the other members
};

// The picture settings. Only one worker changes a setting at a time: two would move its value in opposite
// directions.
class Settings {
  public:
    std::optional<bool> change(Dice& dice) {
        Stepped& setting = m_stepped[static_cast<std::size_t>(dice.between(0, STEPPED - 1))];
        if (Clock::now() < setting.restsUntil) return std::nullopt;
        const int before = (m_television.*setting.get)();
        if (before < 0) return false;
        const int target = std::clamp(before + dice.between(-20, 20), 0, setting.highest);
        if ((m_television.*setting.set)(target) != 0) return false;
        for (const auto limit = Clock::now() + ANSWER_LIMIT; Clock::now() < limit;) {
            if ((m_television.*setting.get)() == target) {
                // The worker ends after the notification of the last step.
                std::this_thread::sleep_for(200ms);
                return true;
            }
            std::this_thread::sleep_for(20ms);
        }
        setting.restsUntil = Clock::now() + WORKER_LIMIT;
        return false;
    }

    bool tune(Dice& dice) {
        std::vector<int> wanted{dice.between(0, 6), dice.between(-50, 50), dice.between(-50, 50),
                                dice.between(-50, 50)};
        if (m_television.setVideoColorTunerFamily(wanted) != 0) return false;
        std::vector<int> found{wanted[0], 0, 0, 0};
        return m_television.getVideoColorTunerFamily(found) == 0 && found == wanted;
    }

    bool writePQ(Dice& dice) {
        std::vector<int> parameters(34);
        std::generate(parameters.begin(), parameters.end(), [&] { return dice.between(0, 20); });
        return m_television.setVideoPQParameters(parameters) == 0;
    }

  private:
    struct Stepped {
        int (SystemSetting::*get)();
        int (SystemSetting::*set)(int);
        int highest;
        Clock::time_point restsUntil{};
    };
    static constexpr int STEPPED = 6;

    using S = SystemSetting;
    SystemSetting m_television;
    std::array<Stepped, STEPPED> m_stepped{{{&S::getVideoBrightness, &S::setVideoBrightness, 100},
                                            {&S::getVideoContrast, &S::setVideoContrast, 100},
                                            {&S::getVideoSaturation, &S::setVideoSaturation, 100},
                                            {&S::getVideoSharpness, &S::setVideoSharpness, 100},
                                            {&S::getVideoMEMC, &S::setVideoMEMC, 5},
                                            {&S::getVideoNR, &S::setVideoNR, 4}}};
};

bool readState(SystemInfo& info) {
    info.getAIPQSwitchAvailable();
    info.getAIPQSwitchState();
    info.getAIPQAvailable();
    info.getPlayerState();
    info.getMediaStreamEncrypted();
    info.getTvStreamEncrypted();
    info.getVideoInfoHDRType();
    info.getVideoGameMode();
    return info.getAIPQSupported() && info.getSourceType() != SOURCE_TYPE_UNKNOWN;
}

// Creates one object of each facade, uses it and destroys it.
bool makeFacades(Dice&) {
    SystemInfo info;
    info.registerCallBackSourceType([](SourceType, void*) {}, nullptr);
    info.registerCallBackAIPQ([](AIPQMode, bool, void*) {}, nullptr);
    info.registerCallBackVideoInfoHDRType([](VideoInfoHDRType, void*) {}, nullptr);
    SystemSetting setting;
    const SystemState state("soak-guest");
    const PictureCapture capture;
    return readState(info) && setting.getVideoBrightness() >= 0;
}

// A thread of the service that performs its operations in random order.
class Worker {
  public:
    Worker(unsigned seed, int longestPauseMs) : m_dice(seed), m_longestPauseMs(longestPauseMs) {}

    void add(const char* name, std::function<std::optional<bool>(Dice&)> perform) {
        m_operations.emplace_back(name, std::move(perform));
    }
    void start() {
        m_thread = std::thread([this] { run(); });
    }
    // Ends the thread. Returns the names of the operations that no longer succeed.
    std::string finish() {
        m_ending = true;
        m_thread.join();
        return m_missing;
    }
    std::list<Operation>& operations() { return m_operations; }

  private:
    void run() {
        while (!m_ending) {
            auto operation = m_operations.begin();
            std::advance(operation, m_dice.between(0, static_cast<int>(m_operations.size()) - 1));
            pauseAfter(operation->attempt(m_dice));
        }
        for (Operation& operation : m_operations)
            if (!succeeds(operation)) m_missing += ' ' + operation.name;
    }

    bool succeeds(Operation& operation) {
        for (const auto limit = Clock::now() + LAST_LIMIT; Clock::now() < limit;) {
            const std::optional<bool> result = operation.attempt(m_dice);
            if (result.value_or(false)) return true;
            pauseAfter(result);
        }
        return false;
    }

    // Pauses longer after a failure, because the television may be off.
    void pauseAfter(std::optional<bool> result) {
        const int longest = result.value_or(true) ? m_longestPauseMs : 500;
        std::this_thread::sleep_for(std::chrono::milliseconds(m_dice.between(1, longest)));
    }

    Dice m_dice;
    const int m_longestPauseMs;
    std::list<Operation> m_operations;
    std::atomic<bool> m_ending{false};
    std::string m_missing;
    std::thread m_thread;
};

// Leaks memory, descriptors and threads, which the verdict must detect.
void leak() {
    constexpr std::size_t SIZE = 256 * 1024;
    static std::vector<void*> lost;
    for (int i = 0; i < 3; ++i) {
        lost.push_back(std::memset(std::malloc(SIZE), 1, SIZE));
        static_cast<void>(!::dup(STDIN_FILENO));
        std::thread([] {
            for (;;) ::pause();
        }).detach();
    }
}

// Returns true if a line arrives on standard input within the limit, or if standard input is closed.
bool mustFinish(std::chrono::milliseconds limit) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return ::poll(&input, 1, static_cast<int>(limit.count())) > 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    const auto given = [&](const char* option) {
        return std::find(words.begin(), words.end(), option) != words.end();
    };
    if (words.empty()) {
        std::cerr << "usage: soak_service SEED [--without-pictures] [--leak]\n";
        return 2;
    }
    const unsigned seed = static_cast<unsigned>(std::strtoul(words[0].c_str(), nullptr, 10));

    Power power;
    SystemInfo info;
    // Never destroyed: a worker may still wait for the television and use the object, and no operation waits
    // for workers.
    Settings& settings = *new Settings;
    SourceSwitchAccessImpl::GetInstance();
    Pictures pictures(power);

    std::list<Worker> workers;
    Worker& housekeeper = workers.emplace_back(seed, 60);
    housekeeper.add("state", [&](Dice&) { return readState(info); });
    housekeeper.add("tuner", [&](Dice& dice) { return settings.tune(dice); });
    housekeeper.add("pq", [&](Dice& dice) { return settings.writePQ(dice); });
    housekeeper.add("values", soak::useValues);
    housekeeper.add("list", soak::readList);
    housekeeper.add("action", soak::invokeAction);
    housekeeper.add("facades", makeFacades);
    workers.emplace_back(seed + 1, 60).add("setting", [&](Dice& dice) { return settings.change(dice); });
    Worker& zapper = workers.emplace_back(seed + 2, 200);
    zapper.add("channel", soak::changeChannel);
    zapper.add("playback", soak::changePlayback);
    zapper.add("resources", soak::takeResources);
    if (!given("--without-pictures")) {
        Worker& looker = workers.emplace_back(seed + 3, 200);
        looker.add("capture", [&](Dice& dice) { return pictures.capture(dice, true); });
        looker.add("callback", [&](Dice& dice) { return pictures.capture(dice, false); });
    }
    for (Worker& worker : workers) worker.start();

    const auto print = [&] {
        std::cout << power.operation.name << ' ' << power.operation.done << "/0";
        for (Worker& worker : workers)
            for (const Operation& operation : worker.operations())
                std::cout << ' ' << operation.name << ' ' << operation.done << '/' << operation.failed;
        std::cout << std::endl;
    };
    while (!mustFinish(1s)) {
        if (given("--leak")) leak();
        print();
    }
    std::string missing;
    for (Worker& worker : workers) missing += worker.finish();
    print();
    if (!missing.empty()) std::cerr << "soak_service: at the end, these operations fail:" << missing << '\n';
    return missing.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}
