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

// One setting that a worker thread of the library changes. Two workers of a setting at a time would pull it
// to and fro, so that a new change waits until the one before has ended.
//
// A worker misses an announcement that comes before it waits for it, and then waits for up to a minute. So
// the announcement is repeated to it while the setting stands still.
class WorkerSetting {
  public:
    using Clock = std::chrono::steady_clock;
    using Getter = int (SystemSetting::*)();
    using Setter = int (SystemSetting::*)(int);
    using Announcement = void (SystemSetting::*)(const ValueObject&);

    WorkerSetting(int Settings::*member, Getter get, Setter set, Announcement announce)
        : m_member(member), m_get(get), m_set(set), m_announce(announce) {}

    // The newest wish counts.
    void wish(const Settings& target) { m_wish = target.*m_member; }

    // Reads the setting back; negative if the television did not return the value.
    int read(SystemSetting& television) const { return (television.*m_get)(); }

    // Stores the value that was read, detects the end of a change, and starts the requested one.
    void advance(SystemSetting& television, int value, Settings& inForce);

    // Wakes the worker of a change, if there is one: while the television is away it then fails and ends.
    void repeatAnnouncement(SystemSetting& television) const;

    // Cancels the requested change. A worker that runs is still waited for.
    void forget() {
        m_wish.reset();
        m_lastMove = Clock::now();
    }

    bool changing() const { return m_running || m_wish.has_value(); }
    // Whether the picture shows the value, and nothing moves it.
    bool atRest() const;
    Clock::time_point lastMove() const { return m_lastMove; }

  private:
    void follow(SystemSetting& television, int value);

    int Settings::*m_member;
    Getter m_get;
    Setter m_set;
    Announcement m_announce;
    std::optional<int> m_wish;
    bool m_running = false;
    int m_target = 0;
    int m_value = -1;
    Clock::time_point m_lastMove;
    Clock::time_point m_lastAnnouncement;
};

// Reads and changes the picture settings. One thread.
class PictureControl {
  public:
    using Clock = WorkerSetting::Clock;

    PictureControl();
    // A change that has not ended keeps what it uses alive.
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

    // Call it regularly: reads the settings back, and starts changes that wait for the end of another one.
    // Returns false, with nothing changed, if a setting cannot be read.
    bool advance();

    // Whether the television is there. Any thread.
    bool isPresent() const { return m_pq.isPresent(); }

    // Call it when the television is back: cancels all changes.
    void forgetChanges();

    // The picture shows the settings in force: no value moves.
    bool atRest() const;
    // Nothing is being changed and nothing waits.
    bool settled() const;
    // When a setting last moved.
    Clock::time_point lastMove() const;

    // Moves everything back to what open() found; done once it has settled() and restored().
    void restore();
    bool restored() const { return m_inForce == m_found && m_inForceOther == m_foundOther; }

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

    // What the service keeps or puts back, but does not decide on.
    struct Other {
        int tunerBrightness = 0;
        std::vector<int> pq;
        bool operator==(const Other&) const = default;
    };

    bool written() const;
    // The colour tuner and the PQ parameters, which no worker changes: again if they did not arrive.
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
