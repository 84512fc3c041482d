// Events on the simulated television, reported as they happen.
#ifndef SIMULATED_EVENTS_H
#define SIMULATED_EVENTS_H

#include <chrono>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "simulated/lifecycle.h"
#include "simulated/model.h"

namespace simulated {

// The value of a key changed.
struct SetKey {
    std::string key;
    Value value;
};

// A key's value was announced without a change.
struct Announce {
    std::string key;
};

// A client, or the television itself, invoked an action.
struct Invoke {
    std::string key;
    std::vector<lomodelapi::Argument> arguments;
};

// A channel was selected; `number` is its number in the channel list.
struct SelectChannel {
    std::string number;
};

// Digital television stopped or continued.
struct SetPlaying {
    bool playing;
};

// The screen shows something else: the path of a film, "scenes" or "off".
struct ShowVideo {
    std::string video;
};

// A generated scene was selected; empty for the film or the scenes of the last start.
struct ShowScene {
    std::string scene;
};

// A notification for one application, or for all if `application` is empty.
struct Notify {
    std::string application;
    Lifecycle notification;
    std::string url;
    std::string text;
    int number;
};

// The television suspended to RAM or resumed.
struct SetPower {
    bool suspended;
};

// A fault was set by its name (faults.h).
struct SetFault {
    std::string key;
    std::string fault;
    long long value;
};

// A client subscribed to a key.
struct ClientConnected {
    std::string key;
};

struct ApplicationRegistered {
    std::string application;
};

struct ApplicationReported {
    std::string application;
    int status;
};

// `number` frames were delivered since the start of the video pipeline.
struct FrameDelivered {
    unsigned number;
};

// The video pipeline died, or its new start failed, without a request to stop it.
struct PipelineDied {
    std::string text;                                // how the process ended, and what follows
    std::optional<std::chrono::milliseconds> pause;  // until the next start; none if the pipeline stays off
};

// The video pipeline runs again after it died.
struct PipelineRestarted {};

struct Event {
    std::variant<SetKey, Announce, Invoke, SelectChannel, SetPlaying, ShowVideo, ShowScene, Notify, SetPower,
                 SetFault, ClientConnected, ApplicationRegistered, ApplicationReported, FrameDelivered,
                 PipelineDied, PipelineRestarted>
        what;
    // True if another event caused this one, as a channel change changes values.
    bool consequence;
};

// All operations: any thread.
class Events {
  public:
    // Called on the thread that causes the event, one call at a time, in the order of the events. Parts of
    // the television may be locked during the call: a listener must not call the television, and must not
    // wait for a thread that does.
    using Listener = std::function<void(const Event&)>;

    // The destructor ends the subscription; after it, the listener is not called any more. A listener must
    // not destroy it.
    class Subscription {
      public:
        Subscription(Events& events, Listener listener);
        ~Subscription();
        Subscription(const Subscription&) = delete;
        Subscription& operator=(const Subscription&) = delete;

      private:
        Events& m_events;
        std::list<Listener>::iterator m_position;
    };

    // Called by the television's parts.
    void publish(decltype(Event::what) what);

    // While an object of this class lives, every event of its thread is a consequence.
    class Consequences {
      public:
        Consequences();
        ~Consequences();
        Consequences(const Consequences&) = delete;
        Consequences& operator=(const Consequences&) = delete;
    };

  private:
    std::mutex m_mutex;
    std::list<Listener> m_listeners;
};

}  // namespace simulated

#endif
