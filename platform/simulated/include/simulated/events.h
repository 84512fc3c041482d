// What happens on the simulated television, told as it happens.
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

// A key has another value.
struct SetKey {
    std::string key;
    Value value;
};

// A key's value is announced without having changed.
struct Announce {
    std::string key;
};

// A client, or the television itself, invokes an action.
struct Invoke {
    std::string key;
    std::vector<lomodelapi::Argument> arguments;
};

// A channel is on; its number in the channel list.
struct SelectChannel {
    std::string number;
};

// Digital television stops or goes on.
struct SetPlaying {
    bool playing;
};

// What the screen shows: the path of a film, "scenes" or "off".
struct ShowVideo {
    std::string video;
};

// A generated scene; empty for what the screen showed at first.
struct ShowScene {
    std::string scene;
};

// News for an application, or for every one if its name is empty.
struct Tell {
    std::string application;
    Lifecycle news;
    std::string url;
    std::string text;
    int number;
};

// The television suspends to RAM, or is back.
struct SetPower {
    bool suspended;
};

// A fault is set by its name (faults.h).
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

// Frames delivered since the video pipeline was started.
struct FrameDelivered {
    unsigned number;
};

// The video pipeline died, or did not start again, although nobody ended it.
struct PipelineDied {
    std::string text;                                // how it ended, and what follows
    std::optional<std::chrono::milliseconds> pause;  // until it starts again; none if it stays off
};

// The video pipeline runs again after it died.
struct PipelineRestarted {};

struct Event {
    std::variant<SetKey, Announce, Invoke, SelectChannel, SetPlaying, ShowVideo, ShowScene, Tell, SetPower,
                 SetFault, ClientConnected, ApplicationRegistered, ApplicationReported, FrameDelivered,
                 PipelineDied, PipelineRestarted>
        what;
    // It follows from another event (the values that a channel change changes).
    bool consequence;
};

// All operations: any thread.
class Events {
  public:
    // Called on the thread that makes the event, one at a time, in the order in which things happen. It may
    // be called with parts of the television locked: it must not call the television, nor wait for who does.
    using Listener = std::function<void(const Event&)>;

    // Ends with its life; then the listener is not being called any more. Not to be destroyed by a listener.
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

    // For the television's parts.
    void tell(decltype(Event::what) what);

    // What this thread tells while it lives is a consequence.
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
