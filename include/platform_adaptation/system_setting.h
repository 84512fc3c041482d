// The television's picture settings.
#ifndef PLATFORM_ADAPTATION_SYSTEM_SETTING_H
#define PLATFORM_ADAPTATION_SYSTEM_SETTING_H

#include <pthread.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "lomodelapi/observer.h"
#include "platform_adaptation/export.h"
#include "platform_adaptation/system_access/value_access.h"

class PLATFORM_ADAPTATION_API SystemSettingInterface {
  public:
    virtual ~SystemSettingInterface() = default;

    // Start a change and return at once: 0 if it was started, -1 if the value is out of range (nothing
    // happens) or no thread could be had. A worker thread then moves brightness, contrast, saturation and
    // sharpness (0 to 100) to the value in steps of 2, MEMC (0 to 5) and NR, noise reduction (0 to 4), in
    // one, and waits up to a minute for the television to announce each step. How it ends is logged only. Any
    // thread; two changes of one setting at a time both run, each towards its own value.
    virtual int setVideoBrightness(int value) = 0;
    virtual int setVideoContrast(int value) = 0;
    virtual int setVideoSaturation(int value) = 0;
    virtual int setVideoSharpness(int value) = 0;
    virtual int setVideoMEMC(int value) = 0;
    virtual int setVideoNR(int value) = 0;

    // Writes the colour tuner: mode (0 to 6), brightness, saturation and hue (-50 to 50 each). Blocks until
    // all are written, not until the television has announced them. 0 once they were written or their failure
    // was logged; -1, and nothing is written, if there are not 4 elements or one is out of range; -1 as well
    // if no thread could be had, and then some may be written. One caller at a time.
    virtual int setVideoColorTunerFamily(std::vector<int>& ivec) = 0;

    // Reorders the 34 PQ parameters into the 27 that the television takes and writes them, on the caller's
    // thread. -1 if there are not 34 elements or the write failed; the values themselves are not checked.
    virtual int setVideoPQParameters(std::vector<int>& ivec) = 0;

    // Each reads the television now, on the caller's thread; -1 if that fails.
    virtual int getVideoBrightness() = 0;
    virtual int getVideoContrast() = 0;
    virtual int getVideoSaturation() = 0;
    virtual int getVideoSharpness() = 0;
    virtual int getVideoMEMC() = 0;
    virtual int getVideoNR() = 0;

    // Reads the colour tuner's brightness, saturation and hue into elements 1 to 3, -1 for each that fails
    // (which is a valid value, too). The mode is not read: it is set to element 0, which stays, as
    // setVideoColorTuner() does. -1, and nothing happens, if there are not 4 elements. Blocks until the mode
    // is written.
    virtual int getVideoColorTunerFamily(std::vector<int>& ivec) = 0;
};

// Changes must have ended before the object is destroyed: their workers use it, and nothing waits for them.
class PLATFORM_ADAPTATION_API SystemSetting : public SystemSettingInterface {
  public:
    using IntegerAccess = ValueAccessT<lomodelapi::ObserverNumericInteger>;
    using IntegersAccess = ValueAccessT<lomodelapi::ObserverVectorNumericInteger>;

    // Connects to the television; what cannot be connected yet is tried again at the first use.
    SystemSetting();
    // With accessors made elsewhere, which keep the handlers that they have.
    SystemSetting(std::shared_ptr<IntegerAccess> brightness, std::shared_ptr<IntegerAccess> contrast,
                  std::shared_ptr<IntegerAccess> saturation, std::shared_ptr<IntegerAccess> sharpness,
                  std::shared_ptr<IntegerAccess> memc, std::shared_ptr<IntegerAccess> nr,
                  std::shared_ptr<IntegerAccess> colorTuner, std::shared_ptr<IntegerAccess> colorTunerB,
                  std::shared_ptr<IntegerAccess> colorTunerS, std::shared_ptr<IntegerAccess> colorTunerH,
                  std::shared_ptr<IntegersAccess> pqParameters);
    ~SystemSetting() override;

    SystemSetting(const SystemSetting&) = delete;
    SystemSetting& operator=(const SystemSetting&) = delete;

    int setVideoBrightness(int value) override;
    int setVideoContrast(int value) override;
    int setVideoSaturation(int value) override;
    int setVideoSharpness(int value) override;
    int setVideoMEMC(int value) override;
    int setVideoNR(int value) override;
    int setVideoColorTunerFamily(std::vector<int>& ivec) override;
    int setVideoPQParameters(std::vector<int>& ivec) override;
    int getVideoBrightness() override;
    int getVideoContrast() override;
    int getVideoSaturation() override;
    int getVideoSharpness() override;
    int getVideoMEMC() override;
    int getVideoNR() override;
    int getVideoColorTunerFamily(std::vector<int>& ivec) override;

    // Writes the colour tuner's mode and blocks until it is written or its failure logged: 0. -1 if it is out
    // of range or no thread could be had.
    int setVideoColorTuner(int value);
    int getVideoColorTuner();
    int getVideoColorTunerB();
    int getVideoColorTunerS();
    int getVideoColorTunerH();

    bool isValidBrightnessValue(int value);
    bool isValidContrastValue(int value);
    bool isValidSaturationValue(int value);
    bool isValidSharpnessValue(int value);
    bool isValidMEMCValue(int value);
    bool isValidNRValue(int value);
    bool isValidColorTunerValue(int value);
    bool isValidColorTunerBValue(int value);
    bool isValidColorTunerSValue(int value);
    bool isValidColorTunerHValue(int value);

    // What the accessors call with each change, on the model's thread: wakes one of those who wait for it.
    void onVideoBrightnessChanged(const ValueObject& value);
    void onVideoContrastChanged(const ValueObject& value);
    void onVideoSaturationChanged(const ValueObject& value);
    void onVideoSharpnessChanged(const ValueObject& value);
    void onVideoMEMCChanged(const ValueObject& value);
    void onVideoNRChanged(const ValueObject& value);
    void onVideoColorTunerChanged(const ValueObject& value);
    void onVideoColorTunerBChanged(const ValueObject& value);
    void onVideoColorTunerSChanged(const ValueObject& value);
    void onVideoColorTunerHChanged(const ValueObject& value);

    // Block until the television announces a change of the setting, to whatever value: 0; or for a minute:
    // -1. A change announced before the wait has begun does not count.
    int waitForVideoBrightnessChanged();
    int waitForVideoContrastChanged();
    int waitForVideoSaturationChanged();
    int waitForVideoSharpnessChanged();
    int waitForVideoMEMCChanged();
    int waitForVideoNRChanged();
    int waitForVideoColorTunerChanged();
    int waitForVideoColorTunerBChanged();
    int waitForVideoColorTunerSChanged();
    int waitForVideoColorTunerHChanged();

    // The workers' thread routines; `arg` is the SystemSetting. Null is logged. They return null.
    static void* setVideoBrightnessRun(void* arg);
    static void* setVideoContrastRun(void* arg);
    static void* setVideoSaturationRun(void* arg);
    static void* setVideoSharpnessRun(void* arg);
    static void* setVideoMEMCRun(void* arg);
    static void* setVideoNRRun(void* arg);
    static void* setVideoColorTunerRun(void* arg);
    static void* setVideoColorTunerBRun(void* arg);
    static void* setVideoColorTunerSRun(void* arg);
    static void* setVideoColorTunerHRun(void* arg);

    // All eleven accessors.
    void connect();
    // Forgets pending values, and the handles of the workers but for those of the colour tuner's three
    // values.
    void initValue();

  protected:
    static constexpr int SETTINGS = 10;

    // The settings in the order of their indices.
    std::shared_ptr<IntegerAccess> m_brightness;
    std::shared_ptr<IntegerAccess> m_contrast;
    std::shared_ptr<IntegerAccess> m_saturation;
    std::shared_ptr<IntegerAccess> m_sharpness;
    std::shared_ptr<IntegerAccess> m_memc;
    std::shared_ptr<IntegerAccess> m_nr;
    std::shared_ptr<IntegerAccess> m_colorTuner;
    std::shared_ptr<IntegerAccess> m_colorTunerB;
    std::shared_ptr<IntegerAccess> m_colorTunerS;
    std::shared_ptr<IntegerAccess> m_colorTunerH;
    std::shared_ptr<IntegersAccess> m_pqParameters;
    // By index. Handles and values are shared between threads without a lock, by design.
    pthread_t m_setThread[SETTINGS];
    std::mutex m_changeMutex[SETTINGS];
    std::condition_variable m_changeCond[SETTINGS];
    int m_setValue[SETTINGS];

  private:
    struct PLATFORM_ADAPTATION_LOCAL Setting;
    struct PLATFORM_ADAPTATION_LOCAL Table;
    using Routine = void* (*)(void*);

    PLATFORM_ADAPTATION_LOCAL int get(const Setting& setting, const char* function);
    PLATFORM_ADAPTATION_LOCAL bool validate(const Setting& setting, int value, const char* function);
    PLATFORM_ADAPTATION_LOCAL int set(const Setting& setting, int value, Routine routine,
                                      const char* function);
    PLATFORM_ADAPTATION_LOCAL bool startWorker(const Setting& setting, Routine routine, pthread_t& thread,
                                               int line);
    PLATFORM_ADAPTATION_LOCAL int waitForChange(const Setting& setting, const char* function);
    PLATFORM_ADAPTATION_LOCAL void onChanged(const Setting& setting, const ValueObject& value,
                                             const char* function);

    // What the workers do. Each takes its setting's value and checks it; those whose changes are confirmed
    // also read where the television is; then they differ.
    PLATFORM_ADAPTATION_LOCAL static SystemSetting* beginWorker(const Setting& setting, void* arg,
                                                                int& target, const char* function);
    PLATFORM_ADAPTATION_LOCAL static SystemSetting* beginConfirmed(const Setting& setting, void* arg,
                                                                   int& target, int& current,
                                                                   const char* function);
    PLATFORM_ADAPTATION_LOCAL bool readCurrent(const Setting& setting, int& current, const char* function);
    PLATFORM_ADAPTATION_LOCAL bool writeAndWait(const Setting& setting, int value, const char* function);
    PLATFORM_ADAPTATION_LOCAL static void* runSteps(const Setting& setting, void* arg, const char* function);
    PLATFORM_ADAPTATION_LOCAL static void* runOnce(const Setting& setting, void* arg, const char* function);
    PLATFORM_ADAPTATION_LOCAL static void* runUnconfirmed(const Setting& setting, void* arg,
                                                          const char* function);
};

#endif
