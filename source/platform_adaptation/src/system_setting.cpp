#include "platform_adaptation/system_setting.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <new>
#include <system_error>
#include <utility>

#include "csp/thread.h"
#include "make_access.h"
#include "shared_member.h"
#include "system_setting_table.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

namespace {

constexpr int STEP = 2;
constexpr int WAIT_PERIODS = 60;
constexpr std::chrono::seconds WAIT_PERIOD{1};

constexpr std::size_t FAMILY_SIZE = 4;
constexpr std::size_t PQ_INPUT_SIZE = 34;

// The indices of the 34 input elements in the order of the 27 written ones: six leading values, then the
// groups 2, 4, 6, 5, 1, 3 and 7, each without the first of its four elements.
constexpr std::array<std::size_t, 27> PQ_ORDER{0,  1,  2,  3,  4, 5, 11, 12, 13, 19, 20, 21, 27, 28,
                                               29, 23, 24, 25, 7, 8, 9,  15, 16, 17, 31, 32, 33};

void logElements(const std::vector<int>& elements, const char* function) {
    for (std::size_t i = 0; i < elements.size(); ++i)
        LOG_INFO_AS(function, "vct[%d] = %d.\n\n", static_cast<int>(i), elements[i]);
}

bool hasSize(const std::vector<int>& elements, std::size_t size, const char* function) {
    if (elements.size() == size) return true;
    LOG_ERROR_AS(function, "invalid parameter, ivec.size() = %d.\n", static_cast<int>(elements.size()));
    return false;
}

}  // namespace

SystemSetting::SystemSetting() : m_setThread{} {
    for (const Setting* setting : Table::ALL)
        this->*setting->access = makeAccess<IntegerAccess>(setting->key, this, setting->changeHandler);
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
    for (const Setting* setting : Table::ALL) (this->*setting->access)->disconnect();
    m_pqParameters->disconnect();
}

void SystemSetting::connect() {
    for (const Setting* setting : Table::ALL) (this->*setting->access)->connect(FACADE_CONNECT_TIMEOUT_MS);
    m_pqParameters->connect(FACADE_CONNECT_TIMEOUT_MS);
}

void SystemSetting::initValue() {
    for (const Setting* setting : Table::ALL) {
        storeShared(m_setValue[setting->index], -1);
        if (!setting->keepsThread) storeShared(m_setThread[setting->index], pthread_t{});
    }
}

// One implementation for the ten settings; `function` is the operation that the client called.

int SystemSetting::get(const Setting& setting, const char* function) {
    LOG_ENTER_AS(function);
    int value = -1;
    if ((this->*setting.access)->getValue(value) != 0) {
        LOG_ERROR_AS(function, "get video %s failed.\n", setting.getterWord);
        return -1;
    }
    LOG_INFO_AS(function, "get video %s: %d.\n", setting.getterWord, value);
    return value;
}

bool SystemSetting::validate(const Setting& setting, int value, const char* function) {
    if (Table::isValid(setting, value)) return true;
    LOG_ERROR_AS(function, "set video %s invalid value: %d.\n", setting.word, value);
    return false;
}

bool SystemSetting::startWorker(const Setting& setting, pthread_t& thread) {
    pthread_attr_t attributes;
    if (_cspOsalPOSIX_pthread_attr_init(&attributes) != 0) return false;
    const int status =
        _cspOsalPOSIX_pthread_create_line(&thread, &attributes, setting.routine, this, __FILE__, __LINE__);
    _cspOsalPOSIX_pthread_attr_destroy(&attributes);
    if (status != 0) return false;
    storeShared(m_setThread[setting.index], thread);
    return true;
}

int SystemSetting::set(const Setting& setting, int value, const char* function) {
    LOG_INFO_AS(function, "set video %s, value: %d.\n", setting.word, value);
    if (!validate(setting, value, function)) return -1;
    storeShared(m_setValue[setting.index], value);
    pthread_t thread{};
    if (!startWorker(setting, thread)) return -1;
    pthread_detach(thread);
    return 0;
}

// Does not check a value or a predicate: any wake-up before the deadline counts as the change, and a change
// that was announced before the wait began is missed. This is intended; the workers read the value again.
int SystemSetting::waitForChange(const Setting& setting, const char* function) {
    using std::chrono::system_clock;
    LOG_ENTER_AS(function);
    std::unique_lock lock(m_changeMutex[setting.index], std::defer_lock);
    try {
        lock.lock();
    } catch (const std::system_error& error) {
        LOG_ERROR_AS(function, "wait video %s changed failed: %s.\n", setting.word, error.what());
        return -1;
    }
    for (int period = 0; period < WAIT_PERIODS; ++period) {
        LOG_INFO_AS(function, "wait video %s changed ... [%03d].\n", setting.word, period);
        const system_clock::time_point deadline = system_clock::now() + WAIT_PERIOD;
        m_changeCond[setting.index].wait_until(lock, deadline);
        if (system_clock::now() < deadline) {
            LOG_INFO_AS(function, "wait video %s changed done. [%03d].\n", setting.word, period);
            return 0;
        }
        LOG_INFO_AS(function, "wait video %s changed timeout. [%03d].\n", setting.word, period);
    }
    return -1;
}

void SystemSetting::onChanged(const Setting& setting, const ValueObject& value, const char* function) {
    LOG_ENTER_AS(function);
    LOG_INFO_AS(function, "video %s changed: %d.\n", setting.word, static_cast<int>(value));
    const std::lock_guard lock(m_changeMutex[setting.index]);
    m_changeCond[setting.index].notify_one();
}

// Workers

void* SystemSetting::run(const Setting& setting, void* arg, const char* function) {
    LOG_ENTER_AS(function);
    if (arg == nullptr) {
        LOG_ERROR_AS(function, "invalid parameter.\n");
        return nullptr;
    }
    auto& self = *static_cast<SystemSetting*>(arg);
    const int target = loadShared(self.m_setValue[setting.index]);
    LOG_INFO_AS(function, "set video %s, value: %d.\n", setting.word, target);
    if (self.validate(setting, target, function) && self.apply(setting, target, function))
        LOG_INFO_AS(function, "set video %s successed.\n", setting.word);
    return nullptr;
}

bool SystemSetting::apply(const Setting& setting, int target, const char* function) {
    if (setting.kind == Kind::UNCONFIRMED) return write(setting, target, function);

    int current = 0;
    if (!readCurrent(setting, current, function)) return false;
    LOG_INFO_AS(function, "set video %s, current value: %d, set value: %d.\n", setting.word, current, target);
    if (setting.kind == Kind::ONCE) return current == target || writeAndWait(setting, target, function);

    // Steps from the value read back, not from the written value, because the television may choose another
    // value. The number of steps is not limited.
    while (current != target) {
        const int distance = target - current;
        const int next = std::abs(distance) <= STEP ? target : distance > 0 ? current + STEP : current - STEP;
        if (!writeAndWait(setting, next, function) || !readCurrent(setting, current, function)) return false;
    }
    return true;
}

bool SystemSetting::readCurrent(const Setting& setting, int& current, const char* function) {
    current = (this->*setting.getter)();
    if (Table::isValid(setting, current)) return true;
    LOG_ERROR_AS(function, "get video %s failed.\n", setting.word);
    return false;
}

bool SystemSetting::write(const Setting& setting, int value, const char* function) {
    if ((this->*setting.access)->setValue(value) == 0) return true;
    LOG_ERROR_AS(function, "set video %s failed.\n", setting.failureWord);
    return false;
}

// The write precedes the lock that the wait takes: a change announced in between wakes no worker. This is
// intended.
bool SystemSetting::writeAndWait(const Setting& setting, int value, const char* function) {
    if (!write(setting, value, function)) return false;
    if ((this->*setting.wait)() == 0) return true;
    LOG_ERROR_AS(function, "wait for video %s changed failed.\n", setting.word);
    return false;
}

// The colour tuner: callers wait for the workers; the workers do not wait for confirmations.

int SystemSetting::setVideoColorTuner(int value) {
    LOG_INFO("set video color tuner, value: %d.\n", value);
    if (!validate(Table::TUNER, value, __func__)) return -1;
    storeShared(m_setValue[Table::TUNER.index], value);
    pthread_t thread{};
    if (!startWorker(Table::TUNER, thread)) return -1;
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

    // The mode is written before the values, which are written in parallel.
    LOG_INFO("1.create set video color tuner thread.\n");
    pthread_t mode{};
    if (!startWorker(Table::TUNER, mode)) return -1;
    pthread_join(mode, nullptr);

    std::array<pthread_t, FAMILY_SIZE - 1> threads{};
    for (std::size_t i = 0; i < threads.size(); ++i) {
        const Setting& setting = *family[i + 1];
        LOG_INFO("%d.create set video %s thread.\n", static_cast<int>(i + 2), setting.word);
        if (startWorker(setting, threads[i])) continue;
        // Workers that already run are not waited for.
        for (std::size_t running = 0; running < i; ++running) pthread_detach(threads[running]);
        return -1;
    }
    for (const pthread_t thread : threads) pthread_join(thread, nullptr);
    return 0;
}

int SystemSetting::getVideoColorTunerFamily(std::vector<int>& ivec) {
    LOG_ENTER();
    if (!hasSize(ivec, FAMILY_SIZE, __func__)) return -1;
    // The mode is not read, but set to the caller's value: the television's clients rely on this.
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
    try {
        std::vector<int> ordered;
        ordered.reserve(PQ_ORDER.size());
        for (const std::size_t position : PQ_ORDER) ordered.push_back(ivec[position]);
        return m_pqParameters->setValue(ordered) == 0 ? 0 : -1;
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

// The names of the ten settings

int SystemSetting::setVideoBrightness(int value) { return set(Table::BRIGHTNESS, value, __func__); }
int SystemSetting::setVideoContrast(int value) { return set(Table::CONTRAST, value, __func__); }
int SystemSetting::setVideoSaturation(int value) { return set(Table::SATURATION, value, __func__); }
int SystemSetting::setVideoSharpness(int value) { return set(Table::SHARPNESS, value, __func__); }
int SystemSetting::setVideoMEMC(int value) { return set(Table::MEMC, value, __func__); }
int SystemSetting::setVideoNR(int value) { return set(Table::NR, value, __func__); }

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

void* SystemSetting::setVideoBrightnessRun(void* arg) { return run(Table::BRIGHTNESS, arg, __func__); }
void* SystemSetting::setVideoContrastRun(void* arg) { return run(Table::CONTRAST, arg, __func__); }
void* SystemSetting::setVideoSaturationRun(void* arg) { return run(Table::SATURATION, arg, __func__); }
void* SystemSetting::setVideoSharpnessRun(void* arg) { return run(Table::SHARPNESS, arg, __func__); }
void* SystemSetting::setVideoMEMCRun(void* arg) { return run(Table::MEMC, arg, __func__); }
void* SystemSetting::setVideoNRRun(void* arg) { return run(Table::NR, arg, __func__); }
void* SystemSetting::setVideoColorTunerRun(void* arg) { return run(Table::TUNER, arg, __func__); }
void* SystemSetting::setVideoColorTunerBRun(void* arg) { return run(Table::TUNER_B, arg, __func__); }
void* SystemSetting::setVideoColorTunerSRun(void* arg) { return run(Table::TUNER_S, arg, __func__); }
void* SystemSetting::setVideoColorTunerHRun(void* arg) { return run(Table::TUNER_H, arg, __func__); }
