#ifndef EXAMPLES_PICTURE_SERVICE_TELEVISION_WATCH_H
#define EXAMPLES_PICTURE_SERVICE_TELEVISION_WATCH_H

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_info.h"
#include "platform_adaptation/system_state.h"
#include "timeline.h"

// Follows the source, HDR type, player state and power state, and prints each change on the timeline.
class TelevisionWatch {
  public:
    explicit TelevisionWatch(Timeline& timeline);

    TelevisionWatch(const TelevisionWatch&) = delete;
    TelevisionWatch& operator=(const TelevisionWatch&) = delete;

    // Whether the television is suspended or about to be. Any thread.
    bool asleep() const { return m_asleep; }

    // The last source, format and HDR type.
    std::string playing();

  private:
    // The last value of a kind, to recognise repeated values.
    template <typename T>
    class Last {
      public:
        bool changesTo(T value) {
            const std::lock_guard lock(m_mutex);
            return std::exchange(m_value, value) != value;
        }
        std::optional<T> last() {
            const std::lock_guard lock(m_mutex);
            return m_value;
        }

      private:
        std::mutex m_mutex;
        std::optional<T> m_value;
    };

    // On the model's thread.
    static void onSourceType(SourceType type, void* userData);
    static void onHDRType(VideoInfoHDRType type, void* userData);
    static void onPlayerState(PlayerState state, void* userData);
    // On the application manager's client thread.
    static void onPowerState(TVPowerState state, void* userData);

    Timeline& m_timeline;
    Last<SourceType> m_source;
    Last<VideoInfoHDRType> m_hdrType;
    Last<PlayerState> m_player;
    Last<TVPowerState> m_power;
    std::atomic<bool> m_asleep = false;
    // Declared last, so destroyed first: after that, no callback arrives.
    SystemInfo m_info;
    SystemState m_state;
    ValueAccessT<lomodelapi::ObserverString> m_format{"dovra.sl2.str.video.format.info"};
};

#endif
