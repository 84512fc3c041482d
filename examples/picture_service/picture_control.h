#ifndef EXAMPLES_PICTURE_SERVICE_PICTURE_CONTROL_H
#define EXAMPLES_PICTURE_SERVICE_PICTURE_CONTROL_H

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_setting.h"
#include "settings.h"

// One setting that the television changes step by step, on a worker thread of the library. Two changes of a
// setting at a time would pull it to and fro, so that a new one waits until the one before has ended.
class SteppedSetting {
  public:
    using Clock = std::chrono::steady_clock;
    using Getter = int (SystemSetting::*)();
    using Setter = int (SystemSetting::*)(int);

    SteppedSetting(int Settings::*member, Getter get, Setter set)
        : m_member(member), m_get(get), m_set(set) {}

    // The newest wish counts.
    void wish(const Settings& target) { m_wish = target.*m_member; }

    // Reads the setting back; negative if the television did not return the value.
    int read(SystemSetting& television) const { return (television.*m_get)(); }

    // Stores the value that was read, detects the end of a change, and starts the requested one.
    void advance(SystemSetting& television, int value, Settings& inForce);

    // Cancels the current change.
    void forget() {
        m_wish.reset();
        m_running = false;
    }

    bool changing() const { return m_running || m_wish.has_value(); }

  private:
    void follow(int value);

    int Settings::*m_member;
    Getter m_get;
    Setter m_set;
    std::optional<int> m_wish;
    bool m_running = false;
    int m_target = 0;
    int m_value = -1;
    Clock::time_point m_lastMove;
};

// Reads and changes the picture settings. One thread.
class PictureControl {
  public:
    PictureControl();
    // What a change that has not ended still uses is left alive.
    ~PictureControl();

    PictureControl(const PictureControl&) = delete;
    PictureControl& operator=(const PictureControl&) = delete;

    // Reads what the television has now; to be called first. False if it does not tell.
    bool open();

    // What open() found.
    const Settings& found() const { return m_found; }
    // As last read back.
    const Settings& inForce() const { return m_inForce; }

    void moveTo(const Settings& target);

    // Call it regularly: reads the settings back, and starts changes that wait for the end of another one. Returns
    // false, with nothing changed, if a setting cannot be read.
    bool advance();

    // Whether the television is there. Any thread.
    bool isPresent() const { return m_pq.isPresent(); }

    // Call it when the television is back: cancels all changes.
    void forgetChanges() {
        for (SteppedSetting& setting : m_stepped) setting.forget();
    }

    // Nothing is being changed and nothing waits.
    bool settled() const;

    // Moves everything back to what open() found; done once it has settled() and restored().
    void restore();
    bool restored() const { return m_inForce == m_found; }

  private:
    // Also follows whether the television is there.
    class PqAccess final : public ValueAccessT<lomodelapi::ObserverVectorNumericInteger> {
      public:
        using ValueAccessT::ValueAccessT;
        // Before only the base class is left.
        ~PqAccess() override { disconnect(); }
        bool isPresent() const { return m_isPresent; }
        void notifyAvailability(bool available) override { m_isPresent = available; }

      private:
        std::atomic<bool> m_isPresent{true};
    };

    void writePq(const Settings& target);

    std::unique_ptr<SystemSetting> m_television;
    PqAccess m_pq;
    std::array<SteppedSetting, 3> m_stepped;
    std::vector<int> m_foundPq;
    Settings m_found;
    Settings m_inForce;
};

#endif
