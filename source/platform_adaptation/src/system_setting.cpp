#include "platform_adaptation/system_setting.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "csp/thread.h"
#include "make_access.h"
#include "shared_member.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

namespace {

constexpr int CONNECT_TIMEOUT_MS = 100;
constexpr int STEP = 2;
constexpr int WAIT_PERIODS = 60;
constexpr std::chrono::seconds WAIT_PERIOD{1};

constexpr std::size_t FAMILY_SIZE = 4;
constexpr std::size_t PQ_INPUT_SIZE = 34;

// Which of the 34 input elements stand in the 27 that are written: six leading values, then the groups 2, 4,
// 6, 5, 1, 3 and 7, without the first of each group's four.
constexpr std::array<std::size_t, 27> PQ_ORDER{0,  1,  2,  3,  4, 5, 11, 12, 13, 19, 20, 21, 27, 28,
                                               29, 23, 24, 25, 7, 8, 9,  15, 16, 17, 31, 32, 33};

void logElements(const std::vector<int>& elements, const char* function) {
    for (std::size_t i = 0; i < elements.size(); ++i)
        LOG_AT(logging::LEVEL_INFO, function, "vct[%d] = %d.\n\n", static_cast<int>(i), elements[i]);
}

bool hasSize(const std::vector<int>& elements, std::size_t size, const char* function) {
    if (elements.size() == size) return true;
    LOG_AT(logging::LEVEL_ERROR, function, "invalid parameter, ivec.size() = %d.\n",
           static_cast<int>(elements.size()));
    return false;
}

}  // namespace

struct SystemSetting::Setting {
    int index;
    const char* key;
    int lowest;
    int highest;
    const char* word;         // in messages
    const char* getterWord;   // in the getter's messages
    const char* failureWord;  // in the message of a failed write
    std::shared_ptr<IntegerAccess> SystemSetting::*access;
    int (SystemSetting::*get)();
    void (SystemSetting::*onChanged)(const ValueObject&);
    int (SystemSetting::*waitForChange)();
};

// The ten settings. The hue's getter and the tuner's failed brightness have words of their own.
struct SystemSetting::Table {
    using S = SystemSetting;
    static constexpr std::array<Setting, SETTINGS> ROWS{{
        {0, "dovra.sl2.i32.video.brightness", 0, 100, "brightness", "brightness", "brightness",
         &S::m_brightness, &S::getVideoBrightness, &S::onVideoBrightnessChanged,
         &S::waitForVideoBrightnessChanged},
        {1, "dovra.sl2.i32.video.contrast", 0, 100, "contrast", "contrast", "contrast", &S::m_contrast,
         &S::getVideoContrast, &S::onVideoContrastChanged, &S::waitForVideoContrastChanged},
        {2, "dovra.sl2.i32.video.colour.intensity", 0, 100, "saturation", "saturation", "saturation",
         &S::m_saturation, &S::getVideoSaturation, &S::onVideoSaturationChanged,
         &S::waitForVideoSaturationChanged},
        {3, "dovra.sl2.i32.video.sharpness", 0, 100, "sharpness", "sharpness", "sharpness", &S::m_sharpness,
         &S::getVideoSharpness, &S::onVideoSharpnessChanged, &S::waitForVideoSharpnessChanged},
        {4, "dovra.sl2.i32.video.enum.memc", 0, 5, "MEMC", "MEMC", "MEMC", &S::m_memc, &S::getVideoMEMC,
         &S::onVideoMEMCChanged, &S::waitForVideoMEMCChanged},
        {5, "dovra.sl2.i32.video.enum.dnc", 0, 4, "NR", "NR", "NR", &S::m_nr, &S::getVideoNR,
         &S::onVideoNRChanged, &S::waitForVideoNRChanged},
        {6, "dovra.sl2.i32.video.color.tuner", 0, 6, "color tuner", "color tuner", "color tuner",
         &S::m_colorTuner, &S::getVideoColorTuner, &S::onVideoColorTunerChanged,
         &S::waitForVideoColorTunerChanged},
        {7, "dovra.sl2.i32.video.color.tuner.luma", -50, 50, "color tuner brightness",
         "color tuner brightness", "color brightness tuner", &S::m_colorTunerB, &S::getVideoColorTunerB,
         &S::onVideoColorTunerBChanged, &S::waitForVideoColorTunerBChanged},
        {8, "dovra.sl2.i32.video.color.tuner.sat", -50, 50, "color tuner saturation",
         "color tuner saturation", "color tuner saturation", &S::m_colorTunerS, &S::getVideoColorTunerS,
         &S::onVideoColorTunerSChanged, &S::waitForVideoColorTunerSChanged},
        {9, "dovra.sl2.i32.video.color.tuner.hue", -50, 50, "color tuner hue", "color tuner Hue",
         "color tuner hue", &S::m_colorTunerH, &S::getVideoColorTunerH, &S::onVideoColorTunerHChanged,
         &S::waitForVideoColorTunerHChanged},
    }};

    static constexpr const Setting& BRIGHTNESS = ROWS[0];
    static constexpr const Setting& CONTRAST = ROWS[1];
    static constexpr const Setting& SATURATION = ROWS[2];
    static constexpr const Setting& SHARPNESS = ROWS[3];
    static constexpr const Setting& MEMC = ROWS[4];
    static constexpr const Setting& NR = ROWS[5];
    static constexpr const Setting& TUNER = ROWS[6];
    static constexpr const Setting& TUNER_B = ROWS[7];
    static constexpr const Setting& TUNER_S = ROWS[8];
    static constexpr const Setting& TUNER_H = ROWS[9];

    static bool isValid(const Setting& setting, int value) {
        return static_cast<unsigned>(value) - static_cast<unsigned>(setting.lowest) <=
               static_cast<unsigned>(setting.highest - setting.lowest);
    }
};

SystemSetting::SystemSetting() : m_setThread{} {
    for (const Setting& setting : Table::ROWS)
        this->*setting.access = makeAccess<IntegerAccess>(setting.key, this, setting.onChanged);
    m_pqParameters = std::make_shared<IntegersAccess>("dovra.sl2.vint.video.aipq.pq.setting");
    initValue();
    connect();
}

SystemSetting::SystemSetting(std::shared_ptr<IntegerAccess> brightness,
                             std::shared_ptr<IntegerAccess> contrast,
                             std::shared_ptr<IntegerAccess> saturation,
                             std::shared_ptr<IntegerAccess> sharpness, std::shared_ptr<IntegerAccess> memc,
                             std::shared_ptr<IntegerAccess> nr, std::shared_ptr<IntegerAccess> colorTuner,
                             std::shared_ptr<IntegerAccess> colorTunerB,
                             std::shared_ptr<IntegerAccess> colorTunerS,
                             std::shared_ptr<IntegerAccess> colorTunerH,
                             std::shared_ptr<IntegersAccess> pqParameters)
    : m_brightness(std::move(brightness)),
      m_contrast(std::move(contrast)),
      m_saturation(std::move(saturation)),
      m_sharpness(std::move(sharpness)),
      m_memc(std::move(memc)),
      m_nr(std::move(nr)),
      m_colorTuner(std::move(colorTuner)),
      m_colorTunerB(std::move(colorTunerB)),
      m_colorTunerS(std::move(colorTunerS)),
      m_colorTunerH(std::move(colorTunerH)),
      m_pqParameters(std::move(pqParameters)),
      m_setThread{} {
    initValue();
    connect();
}

SystemSetting::~SystemSetting() {
    for (const Setting& setting : Table::ROWS) (this->*setting.access)->disconnect();
    m_pqParameters->disconnect();
}

void SystemSetting::connect() {
    for (const Setting& setting : Table::ROWS) (this->*setting.access)->connect(CONNECT_TIMEOUT_MS);
    m_pqParameters->connect(CONNECT_TIMEOUT_MS);
}

void SystemSetting::initValue() {
    for (int& value : m_setValue) storeShared(value, -1);
    for (int index = 0; index <= Table::TUNER.index; ++index) storeShared(m_setThread[index], pthread_t{});
}

// One implementation for the ten settings; `function` is the operation that the client called.

int SystemSetting::get(const Setting& setting, const char* function) {
    LOG_ENTER_AS(function);
    int value = -1;
    if ((this->*setting.access)->getValue(value) != 0) {
        LOG_AT(logging::LEVEL_ERROR, function, "get video %s failed.\n", setting.getterWord);
        return -1;
    }
    LOG_AT(logging::LEVEL_INFO, function, "get video %s: %d.\n", setting.getterWord, value);
    return value;
}

bool SystemSetting::validate(const Setting& setting, int value, const char* function) {
    if (Table::isValid(setting, value)) return true;
    LOG_AT(logging::LEVEL_ERROR, function, "set video %s invalid value: %d.\n", setting.word, value);
    return false;
}

bool SystemSetting::startWorker(const Setting& setting, Routine routine, pthread_t& thread, int line) {
    pthread_attr_t attributes;
    _cspOsalPOSIX_pthread_attr_init(&attributes);
    const int status = _cspOsalPOSIX_pthread_create_line(&thread, &attributes, routine, this, __FILE__, line);
    _cspOsalPOSIX_pthread_attr_destroy(&attributes);
    if (status != 0) return false;
    storeShared(m_setThread[setting.index], thread);
    return true;
}

int SystemSetting::set(const Setting& setting, int value, Routine routine, const char* function) {
    LOG_AT(logging::LEVEL_INFO, function, "set video %s, value: %d.\n", setting.word, value);
    if (!validate(setting, value, function)) return -1;
    storeShared(m_setValue[setting.index], value);
    pthread_t thread{};
    if (!startWorker(setting, routine, thread, __LINE__)) return -1;
    pthread_detach(thread);
    return 0;
}

// Looks at no value and tests no predicate: any wake-up before the deadline is taken for the change, and a
// change that was announced before the wait began is missed. Both are known and kept; the workers read the
// value again.
int SystemSetting::waitForChange(const Setting& setting, const char* function) {
    using std::chrono::system_clock;
    LOG_ENTER_AS(function);
    std::unique_lock lock(m_changeMutex[setting.index]);
    for (int period = 0; period < WAIT_PERIODS; ++period) {
        LOG_AT(logging::LEVEL_INFO, function, "wait video %s changed ... [%03d].\n", setting.word, period);
        const system_clock::time_point deadline = system_clock::now() + WAIT_PERIOD;
        m_changeCond[setting.index].wait_until(lock, deadline);
        if (system_clock::now() < deadline) {
            LOG_AT(logging::LEVEL_INFO, function, "wait video %s changed done. [%03d].\n", setting.word,
                   period);
            return 0;
        }
        LOG_AT(logging::LEVEL_INFO, function, "wait video %s changed timeout. [%03d].\n", setting.word,
               period);
    }
    return -1;
}

void SystemSetting::onChanged(const Setting& setting, const ValueObject& value, const char* function) {
    LOG_ENTER_AS(function);
    LOG_AT(logging::LEVEL_INFO, function, "video %s changed: %d.\n", setting.word, static_cast<int>(value));
    const std::lock_guard lock(m_changeMutex[setting.index]);
    m_changeCond[setting.index].notify_one();
}

// Workers

SystemSetting* SystemSetting::beginWorker(const Setting& setting, void* arg, int& target,
                                          const char* function) {
    LOG_ENTER_AS(function);
    if (arg == nullptr) {
        LOG_AT(logging::LEVEL_ERROR, function, "invalid parameter.\n");
        return nullptr;
    }
    SystemSetting* const self = static_cast<SystemSetting*>(arg);
    target = loadShared(self->m_setValue[setting.index]);
    LOG_AT(logging::LEVEL_INFO, function, "set video %s, value: %d.\n", setting.word, target);
    return self->validate(setting, target, function) ? self : nullptr;
}

bool SystemSetting::readCurrent(const Setting& setting, int& current, const char* function) {
    current = (this->*setting.get)();
    if (Table::isValid(setting, current)) return true;
    LOG_AT(logging::LEVEL_ERROR, function, "get video %s failed.\n", setting.word);
    return false;
}

SystemSetting* SystemSetting::beginConfirmed(const Setting& setting, void* arg, int& target, int& current,
                                             const char* function) {
    SystemSetting* const self = beginWorker(setting, arg, target, function);
    if (self == nullptr || !self->readCurrent(setting, current, function)) return nullptr;
    LOG_AT(logging::LEVEL_INFO, function, "set video %s, current value: %d, set value: %d.\n", setting.word,
           current, target);
    return self;
}

// The write comes before the lock that the wait takes: a change announced in between wakes nobody. Known and
// kept.
bool SystemSetting::writeAndWait(const Setting& setting, int value, const char* function) {
    if ((this->*setting.access)->setValue(value) != 0) {
        LOG_AT(logging::LEVEL_ERROR, function, "set video %s failed.\n", setting.failureWord);
        return false;
    }
    if ((this->*setting.waitForChange)() == -1) {
        LOG_AT(logging::LEVEL_ERROR, function, "wait for video %s changed failed.\n", setting.word);
        return false;
    }
    return true;
}

// Steps from the value read back, not from the one written: the television may settle on another. As often as
// it takes.
void* SystemSetting::runSteps(const Setting& setting, void* arg, const char* function) {
    int target = 0;
    int current = 0;
    SystemSetting* const self = beginConfirmed(setting, arg, target, current, function);
    if (self == nullptr) return nullptr;
    while (current != target) {
        const int distance = target - current;
        const int next = std::abs(distance) <= STEP ? target : distance > 0 ? current + STEP : current - STEP;
        if (!self->writeAndWait(setting, next, function)) return nullptr;
        if (!self->readCurrent(setting, current, function)) return nullptr;
    }
    LOG_AT(logging::LEVEL_INFO, function, "set video %s successed.\n", setting.word);
    return nullptr;
}

void* SystemSetting::runOnce(const Setting& setting, void* arg, const char* function) {
    int target = 0;
    int current = 0;
    SystemSetting* const self = beginConfirmed(setting, arg, target, current, function);
    if (self == nullptr) return nullptr;
    if (current != target && !self->writeAndWait(setting, target, function)) return nullptr;
    LOG_AT(logging::LEVEL_INFO, function, "set video %s successed.\n", setting.word);
    return nullptr;
}

void* SystemSetting::runUnconfirmed(const Setting& setting, void* arg, const char* function) {
    int target = 0;
    SystemSetting* const self = beginWorker(setting, arg, target, function);
    if (self == nullptr) return nullptr;
    if ((self->*setting.access)->setValue(target) != 0) {
        LOG_AT(logging::LEVEL_ERROR, function, "set video %s failed.\n", setting.failureWord);
    } else {
        LOG_AT(logging::LEVEL_INFO, function, "set video %s successed.\n", setting.word);
    }
    return nullptr;
}

// The colour tuner, whose callers wait for the workers, and the workers for nobody

int SystemSetting::setVideoColorTuner(int value) {
    LOG_INFO("set video color tuner, value: %d.\n", value);
    if (!validate(Table::TUNER, value, __func__)) return -1;
    storeShared(m_setValue[Table::TUNER.index], value);
    pthread_t thread{};
    if (!startWorker(Table::TUNER, setVideoColorTunerRun, thread, __LINE__)) return -1;
    pthread_join(thread, nullptr);
    return 0;
}

int SystemSetting::setVideoColorTunerFamily(std::vector<int>& ivec) {
    if (!hasSize(ivec, FAMILY_SIZE, __func__)) return -1;
    logElements(ivec, __func__);
    const std::array<const Setting*, FAMILY_SIZE> family{&Table::TUNER, &Table::TUNER_B, &Table::TUNER_S,
                                                         &Table::TUNER_H};
    for (std::size_t i = 0; i < FAMILY_SIZE; ++i)
        if (!validate(*family[i], ivec[i], __func__)) return -1;
    for (std::size_t i = 0; i < FAMILY_SIZE; ++i) storeShared(m_setValue[family[i]->index], ivec[i]);

    // The mode is written completely before the values are, which are written side by side.
    LOG_INFO("1.create set video color tuner thread.\n");
    pthread_t mode{};
    if (!startWorker(Table::TUNER, setVideoColorTunerRun, mode, __LINE__)) return -1;
    pthread_join(mode, nullptr);

    constexpr std::array<Routine, 3> routines{setVideoColorTunerBRun, setVideoColorTunerSRun,
                                              setVideoColorTunerHRun};
    std::array<pthread_t, 3> threads{};
    for (std::size_t i = 0; i < routines.size(); ++i) {
        const Setting& setting = *family[i + 1];
        LOG_INFO("%d.create set video %s thread.\n", static_cast<int>(i + 2), setting.word);
        if (startWorker(setting, routines[i], threads[i], __LINE__)) continue;
        // Nobody waits for those that run already.
        for (std::size_t running = 0; running < i; ++running) pthread_detach(threads[running]);
        return -1;
    }
    for (const pthread_t thread : threads) pthread_join(thread, nullptr);
    return 0;
}

int SystemSetting::getVideoColorTunerFamily(std::vector<int>& ivec) {
    LOG_ENTER();
    if (!hasSize(ivec, FAMILY_SIZE, __func__)) return -1;
    // Not read but set, to what the caller gives: the television's clients rely on it.
    setVideoColorTuner(ivec[0]);
    ivec[1] = getVideoColorTunerB();
    ivec[2] = getVideoColorTunerS();
    ivec[3] = getVideoColorTunerH();
    logElements(ivec, __func__);
    return 0;
}

int SystemSetting::setVideoPQParameters(std::vector<int>& ivec) {
    if (!hasSize(ivec, PQ_INPUT_SIZE, __func__)) return -1;
    logElements(ivec, __func__);
    std::vector<int> ordered;
    ordered.reserve(PQ_ORDER.size());
    for (const std::size_t position : PQ_ORDER) ordered.push_back(ivec[position]);
    return m_pqParameters->setValue(ordered) == 0 ? 0 : -1;
}

// The names of the ten settings

int SystemSetting::setVideoBrightness(int value) {
    return set(Table::BRIGHTNESS, value, setVideoBrightnessRun, __func__);
}
int SystemSetting::setVideoContrast(int value) {
    return set(Table::CONTRAST, value, setVideoContrastRun, __func__);
}
int SystemSetting::setVideoSaturation(int value) {
    return set(Table::SATURATION, value, setVideoSaturationRun, __func__);
}
int SystemSetting::setVideoSharpness(int value) {
    return set(Table::SHARPNESS, value, setVideoSharpnessRun, __func__);
}
int SystemSetting::setVideoMEMC(int value) { return set(Table::MEMC, value, setVideoMEMCRun, __func__); }
int SystemSetting::setVideoNR(int value) { return set(Table::NR, value, setVideoNRRun, __func__); }

int SystemSetting::getVideoBrightness() { return get(Table::BRIGHTNESS, __func__); }
int SystemSetting::getVideoContrast() { return get(Table::CONTRAST, __func__); }
int SystemSetting::getVideoSaturation() { return get(Table::SATURATION, __func__); }
int SystemSetting::getVideoSharpness() { return get(Table::SHARPNESS, __func__); }
int SystemSetting::getVideoMEMC() { return get(Table::MEMC, __func__); }
int SystemSetting::getVideoNR() { return get(Table::NR, __func__); }
int SystemSetting::getVideoColorTuner() { return get(Table::TUNER, __func__); }
int SystemSetting::getVideoColorTunerB() { return get(Table::TUNER_B, __func__); }
int SystemSetting::getVideoColorTunerS() { return get(Table::TUNER_S, __func__); }
int SystemSetting::getVideoColorTunerH() { return get(Table::TUNER_H, __func__); }

bool SystemSetting::isValidBrightnessValue(int value) { return Table::isValid(Table::BRIGHTNESS, value); }
bool SystemSetting::isValidContrastValue(int value) { return Table::isValid(Table::CONTRAST, value); }
bool SystemSetting::isValidSaturationValue(int value) { return Table::isValid(Table::SATURATION, value); }
bool SystemSetting::isValidSharpnessValue(int value) { return Table::isValid(Table::SHARPNESS, value); }
bool SystemSetting::isValidMEMCValue(int value) { return Table::isValid(Table::MEMC, value); }
bool SystemSetting::isValidNRValue(int value) { return Table::isValid(Table::NR, value); }
bool SystemSetting::isValidColorTunerValue(int value) { return Table::isValid(Table::TUNER, value); }
bool SystemSetting::isValidColorTunerBValue(int value) { return Table::isValid(Table::TUNER_B, value); }
bool SystemSetting::isValidColorTunerSValue(int value) { return Table::isValid(Table::TUNER_S, value); }
bool SystemSetting::isValidColorTunerHValue(int value) { return Table::isValid(Table::TUNER_H, value); }

void SystemSetting::onVideoBrightnessChanged(const ValueObject& value) {
    onChanged(Table::BRIGHTNESS, value, __func__);
}
void SystemSetting::onVideoContrastChanged(const ValueObject& value) {
    onChanged(Table::CONTRAST, value, __func__);
}
void SystemSetting::onVideoSaturationChanged(const ValueObject& value) {
    onChanged(Table::SATURATION, value, __func__);
}
void SystemSetting::onVideoSharpnessChanged(const ValueObject& value) {
    onChanged(Table::SHARPNESS, value, __func__);
}
void SystemSetting::onVideoMEMCChanged(const ValueObject& value) { onChanged(Table::MEMC, value, __func__); }
void SystemSetting::onVideoNRChanged(const ValueObject& value) { onChanged(Table::NR, value, __func__); }
void SystemSetting::onVideoColorTunerChanged(const ValueObject& value) {
    onChanged(Table::TUNER, value, __func__);
}
void SystemSetting::onVideoColorTunerBChanged(const ValueObject& value) {
    onChanged(Table::TUNER_B, value, __func__);
}
void SystemSetting::onVideoColorTunerSChanged(const ValueObject& value) {
    onChanged(Table::TUNER_S, value, __func__);
}
void SystemSetting::onVideoColorTunerHChanged(const ValueObject& value) {
    onChanged(Table::TUNER_H, value, __func__);
}

int SystemSetting::waitForVideoBrightnessChanged() { return waitForChange(Table::BRIGHTNESS, __func__); }
int SystemSetting::waitForVideoContrastChanged() { return waitForChange(Table::CONTRAST, __func__); }
int SystemSetting::waitForVideoSaturationChanged() { return waitForChange(Table::SATURATION, __func__); }
int SystemSetting::waitForVideoSharpnessChanged() { return waitForChange(Table::SHARPNESS, __func__); }
int SystemSetting::waitForVideoMEMCChanged() { return waitForChange(Table::MEMC, __func__); }
int SystemSetting::waitForVideoNRChanged() { return waitForChange(Table::NR, __func__); }
int SystemSetting::waitForVideoColorTunerChanged() { return waitForChange(Table::TUNER, __func__); }
int SystemSetting::waitForVideoColorTunerBChanged() { return waitForChange(Table::TUNER_B, __func__); }
int SystemSetting::waitForVideoColorTunerSChanged() { return waitForChange(Table::TUNER_S, __func__); }
int SystemSetting::waitForVideoColorTunerHChanged() { return waitForChange(Table::TUNER_H, __func__); }

void* SystemSetting::setVideoBrightnessRun(void* arg) { return runSteps(Table::BRIGHTNESS, arg, __func__); }
void* SystemSetting::setVideoContrastRun(void* arg) { return runSteps(Table::CONTRAST, arg, __func__); }
void* SystemSetting::setVideoSaturationRun(void* arg) { return runSteps(Table::SATURATION, arg, __func__); }
void* SystemSetting::setVideoSharpnessRun(void* arg) { return runSteps(Table::SHARPNESS, arg, __func__); }
void* SystemSetting::setVideoMEMCRun(void* arg) { return runOnce(Table::MEMC, arg, __func__); }
void* SystemSetting::setVideoNRRun(void* arg) { return runOnce(Table::NR, arg, __func__); }
void* SystemSetting::setVideoColorTunerRun(void* arg) { return runUnconfirmed(Table::TUNER, arg, __func__); }
void* SystemSetting::setVideoColorTunerBRun(void* arg) {
    return runUnconfirmed(Table::TUNER_B, arg, __func__);
}
void* SystemSetting::setVideoColorTunerSRun(void* arg) {
    return runUnconfirmed(Table::TUNER_S, arg, __func__);
}
void* SystemSetting::setVideoColorTunerHRun(void* arg) {
    return runUnconfirmed(Table::TUNER_H, arg, __func__);
}
