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

    // Start a change and return at once: 0 if it was started; -1 if the value is out of range, and nothing
    // happens, or if no thread could be created. A worker then brings the setting to the value: brightness,
    // contrast, saturation and sharpness (0 to 100) in steps of 2, MEMC (0 to 5) and NR, noise reduction (0
    // to 4), in one. It waits up to a minute for the television to announce each step. Success and failure
    // are only logged.
    //
    // Any thread. Two changes of one setting run side by side: each worker takes the newest value when it
    // starts, so both may bring the setting to the later one. Otherwise each steps towards its own value, and
    // the number of steps is not limited. A change that returned -1 because no thread could be created has
    // replaced the value for a worker that has not started yet.
    virtual int setVideoBrightness(int value) = 0;
    virtual int setVideoContrast(int value) = 0;
    virtual int setVideoSaturation(int value) = 0;
    virtual int setVideoSharpness(int value) = 0;
    virtual int setVideoMEMC(int value) = 0;
    virtual int setVideoNR(int value) = 0;

    // Writes the colour tuner: mode (0 to 6), brightness, saturation and hue (-50 to 50 each). Blocks until
    // all are written, not until the television has announced them. Returns 0 when they are written or their
    // failure is logged. Returns -1, and writes nothing, if there are not 4 elements or one is out of range.
    // Returns -1 if no thread could be created; some may be written then, even after the return. One caller
    // at a time.
    virtual int setVideoColorTunerFamily(std::vector<int>& ivec) = 0;

    // Reorders the 34 PQ parameters into the 27 that the television takes and writes them, on the caller's
    // thread. -1 if there are not 34 elements or the write failed; the values themselves are not checked.
    virtual int setVideoPQParameters(std::vector<int>& ivec) = 0;

    // Each getter reads the television now, on the caller's thread; it returns -1 on failure. Every read and
    // write of a key that is not connected first tries to connect it, for 100 ms.
    virtual int getVideoBrightness() = 0;
    virtual int getVideoContrast() = 0;
    virtual int getVideoSaturation() = 0;
    virtual int getVideoSharpness() = 0;
    virtual int getVideoMEMC() = 0;
    virtual int getVideoNR() = 0;

    // Reads the colour tuner's brightness, saturation and hue into elements 1 to 3; -1, which is also a valid
    // value, for each that fails. Does not read the mode, but sets it to element 0, like
    // setVideoColorTuner(), and blocks until it is written. Returns 0, whatever the result of the mode's
    // change and of the reads. Returns -1, and does nothing, if there are not 4 elements.
    virtual int getVideoColorTunerFamily(std::vector<int>& ivec) = 0;
};

// Destroy it only when all changes have ended: their workers use it, and no function waits for them. Only the
// log reports the end of a change. The simplest solution is to keep the object for the life of the process.
class PLATFORM_ADAPTATION_API SystemSetting : public SystemSettingInterface {
  public:
    using IntegerAccess = ValueAccessT<lomodelapi::ObserverNumericInteger>;
    using IntegersAccess = ValueAccessT<lomodelapi::ObserverVectorNumericInteger>;

    // Connects to the television, which takes 100 ms for each of eleven keys that is missing.
    SystemSetting();
    // Uses the given accessors, which keep their own handlers: a worker's wait times out unless those
    // handlers call the on...Changed operations.
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

    // Writes the colour tuner's mode. Returns 0 when the mode is written or its failure is logged; -1 if it
    // is out of range or no thread could be created.
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

    // The accessors call these with each change, on the model's thread. Each call ends one wait for its
    // setting. Throw std::system_error if the mutex cannot be locked.
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

    // Block until the television announces a change of the setting, to any value, and return 0; return -1
    // after a minute, or if the wait itself fails. A change that is announced before the wait begins does not
    // count. If several threads wait, one announcement ends one wait. A wait may end with 0 without a change:
    // read the setting again. The time is that of the system clock: setting it back lengthens the wait.
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

    // The workers' thread routines; `arg` is the SystemSetting. A null `arg` is logged. They return null.
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

    // Connects all eleven accessors.
    void connect();
    // Clears the pending values and the workers' handles, except for the handles of the colour tuner's three
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
    enum class Kind;
    struct PLATFORM_ADAPTATION_LOCAL Setting;
    struct PLATFORM_ADAPTATION_LOCAL Table;
    using Routine = void* (*)(void*);

    PLATFORM_ADAPTATION_LOCAL int get(const Setting& setting, const char* function);
    PLATFORM_ADAPTATION_LOCAL bool validate(const Setting& setting, int value, const char* function);
    PLATFORM_ADAPTATION_LOCAL int set(const Setting& setting, int value, const char* function);
    PLATFORM_ADAPTATION_LOCAL bool startWorker(const Setting& setting, pthread_t& thread);
    PLATFORM_ADAPTATION_LOCAL int waitForChange(const Setting& setting, const char* function);
    PLATFORM_ADAPTATION_LOCAL void onChanged(const Setting& setting, const ValueObject& value,
                                             const char* function);

    PLATFORM_ADAPTATION_LOCAL static void* run(const Setting& setting, void* arg, const char* function);
    PLATFORM_ADAPTATION_LOCAL bool apply(const Setting& setting, int target, const char* function);
    PLATFORM_ADAPTATION_LOCAL bool readCurrent(const Setting& setting, int& current, const char* function);
    PLATFORM_ADAPTATION_LOCAL bool write(const Setting& setting, int value, const char* function);
    PLATFORM_ADAPTATION_LOCAL bool writeAndWait(const Setting& setting, int value, const char* function);
};

#endif
