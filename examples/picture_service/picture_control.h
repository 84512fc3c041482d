#ifndef EXAMPLES_PICTURE_SERVICE_PICTURE_CONTROL_H
#define EXAMPLES_PICTURE_SERVICE_PICTURE_CONTROL_H

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_setting.h"
#include "settings.h"

// One setting that a worker thread of the library changes. Two workers of one setting would work against each
// other, so a new change waits until the previous one has ended.
//
// A worker misses an announcement that arrives before its wait, and then waits for up to a minute. So the
// announcement is repeated while the setting does not change.
class WorkerSetting {
  public:
    using Clock = std::chrono::steady_clock;
    using Getter = int (SystemSetting::*)();
    using Setter = int (SystemSetting::*)(int);
    using Announcement = void (SystemSetting::*)(const ValueObject&);

    WorkerSetting(int Settings::*member, Getter get, Setter set, Announcement announce)
        : m_member(member), m_get(get), m_set(set), m_announce(announce) {}

    // Requests a value. A later request replaces it.
    void request(const Settings& target) { m_requested = target.*m_member; }

    // Reads the setting back; negative if the television did not return the value.
    int read(SystemSetting& television) const { return (television.*m_get)(); }

    // Stores the value that was read, detects the end of a change, and starts the requested one.
    void advance(SystemSetting& television, int value, Settings& inForce);

    // Wakes the worker of a change, if there is one. While the television is away, the worker then fails and
    // ends.
    void repeatAnnouncement(SystemSetting& television) const;

    // Cancels the requested change. A running worker must still end.
    void forget() {
        m_requested.reset();
        m_lastMove = Clock::now();
    }

    bool changing() const { return m_running || m_requested.has_value(); }
    // Whether the picture shows the value, and no worker changes it.
    bool atRest() const;
    Clock::time_point lastMove() const { return m_lastMove; }

  private:
    void follow(SystemSetting& television, int value);

    int Settings::*m_member;
    Getter m_get;
    Setter m_set;
    Announcement m_announce;
    std::optional<int> m_requested;
    bool m_running = false;
    int m_target = 0;
    int m_value = -1;
    Clock::time_point m_lastMove;
    Clock::time_point m_lastAnnouncement;
};

// Reads and changes the picture settings. Use it on one thread.
class PictureControl {
  public:
    using Clock = WorkerSetting::Clock;

    PictureControl();
    // If a change has not ended, its SystemSetting is not destroyed.
    ~PictureControl();

    PictureControl(const PictureControl&) = delete;
    PictureControl& operator=(const PictureControl&) = delete;

    // Reads the television's current settings. Call it first. Returns false if they cannot be read.
    bool open();

    // The settings that open() read.
    const Settings& found() const { return m_found; }
    // The settings that were read last.
    const Settings& inForce() const { return m_inForce; }

    void moveTo(const Settings& target);

    // Reads the settings, and starts changes that wait for the end of another one. Call it regularly. Returns
    // false, and changes nothing, if a setting cannot be read.
    bool advance();

    // Whether the television is available. Any thread.
    bool isPresent() const { return m_pq.isPresent(); }

    // Cancels all changes. Call it when the television is back.
    void forgetChanges();

    // Whether the picture shows the current settings, and no value changes.
    bool atRest() const;
    // Whether no change is running or waiting.
    bool settled() const;
    // The time at which a setting last changed.
    Clock::time_point lastMove() const;

    // Starts moving all settings back to those that open() read. It is done when settled() and restored()
    // return true.
    void restore();
    bool restored() const { return m_inForce == m_found && m_inForceOther == m_foundOther; }

  private:
    // Also tracks whether the television is available.
    class PqAccess final : public ValueAccessT<lomodelapi::ObserverVectorNumericInteger> {
      public:
        using ValueAccessT::ValueAccessT;
        // Disconnects before the derived part of the object is gone.
        ~PqAccess() override { disconnect(); }
        bool isPresent() const { return m_isPresent; }
        void notifyAvailability(bool available) override { m_isPresent = available; }

      private:
        std::atomic<bool> m_isPresent{true};
    };

    // Settings that the service keeps or restores, but does not decide on.
    struct Other {
        int tunerBrightness = 0;
        std::vector<int> pq;
        bool operator==(const Other&) const = default;
    };

    bool written() const;
    // Writes the colour tuner and the PQ parameters, which have no worker. Repeats writes that had no effect.
    void write();

    std::unique_ptr<SystemSetting> m_television;
    PqAccess m_pq;
    std::array<WorkerSetting, 6> m_workers;
    Settings m_found;
    Other m_foundOther;
    Settings m_inForce;
    Other m_inForceOther;
    std::optional<Settings> m_toWrite;
    Clock::time_point m_lastWrite;
};

#endif
