#include "simulated/faults.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <stdexcept>

namespace simulated {

namespace {

struct Fault {
    FaultDefinition definition;
    long long (*get)(Television& television, const std::string& key);
    void (*set)(Television& television, const std::string& key, long long value);
};

// The status or error that a client receives; 0 for no refusal.
constexpr long long LOWEST_STATUS = std::numeric_limits<int>::min();
constexpr long long HIGHEST_STATUS = std::numeric_limits<int>::max();
// All repetitions are created at once, in memory.
constexpr long long MOST_REPEATS = 1000;
constexpr long long MOST_EVENTS = std::numeric_limits<int>::max();
constexpr long long LONGEST_DELAY = 3'600'000;
constexpr long long LONGEST_ANSWER_DELAY = 60'000;  // cannot be ended earlier

template <auto member>
long long getOfKey(Television& television, const std::string& key) {
    const auto value = television.model().faults(key).*member;
    if constexpr (std::is_same_v<decltype(value), const std::chrono::milliseconds>) {
        return value.count();
    } else {
        return static_cast<long long>(value);
    }
}

template <auto member>
void setOfKey(Television& television, const std::string& key, long long value) {
    television.model().changeFaults(key, [value](KeyFaults& faults) {
        faults.*member = std::remove_reference_t<decltype(faults.*member)>(value);
    });
}

template <auto member>
Fault ofKey(const char* name, FaultKind kind, long long lowest, long long highest, const char* meaning) {
    return {{name, kind, true, lowest, highest, 0, meaning}, &getOfKey<member>, &setOfKey<member>};
}

template <auto member>
Fault flagOfKey(const char* name, const char* meaning) {
    return ofKey<member>(name, FaultKind::FLAG, 0, 1, meaning);
}

template <auto member>
Fault statusOfKey(const char* name, const char* meaning) {
    return ofKey<member>(name, FaultKind::NUMBER, LOWEST_STATUS, HIGHEST_STATUS, meaning);
}

void requireVideo(bool isThere) {
    if (!isThere) throw std::runtime_error("the video pipeline does not run");
}

void setWithdrawn(Television& television, const std::string& key, long long value) {
    if (value != 0) {
        television.model().withdraw(key);
    } else {
        television.model().offer(key);
    }
}

void setHeld(Television& television, long long value) {
    if (value != 0) {
        television.model().holdNotifications();
    } else {
        television.model().releaseNotifications();
    }
}

void setKilled(Television& television, long long value) {
    VideoPipeline& video = television.video();
    if (value != 0) {
        requireVideo(video.killed() || video.kill());
    } else if (video.killed() && !video.start(video.clip())) {
        throw std::runtime_error(video.error());
    }
}

void setStalled(Television& television, long long value) {
    if (value == 0) {
        television.video().resume();
    } else {
        requireVideo(television.video().running());
        television.video().stall();
    }
}

const std::vector<Fault>& table() {
    using F = KeyFaults;
    using T = Television;
    static const std::vector<Fault> faults{
        {{"key.withdrawn", FaultKind::FLAG, true, 0, 1, 0,
          "the television does not offer the key; observers of the key are notified"},
         [](T& tv, const std::string& key) -> long long { return tv.model().isOffered(key) ? 0 : 1; },
         &setWithdrawn},
        statusOfKey<&F::connectStatus>("key.connect_status", "subscriptions are refused with this status"),
        flagOfKey<&F::connectYieldsNothing>("key.connect_yields_nothing",
                                            "a subscription reports success without an object"),
        statusOfKey<&F::readStatus>("key.read_status",
                                    "reads of texts and lists are refused with this status"),
        flagOfKey<&F::refuseWrites>("key.refuse_writes", "a write is refused and changes nothing"),
        flagOfKey<&F::keepValue>("key.keep_value", "a write changes nothing, and the old value is announced"),
        ofKey<&F::dropNotifications>("key.drop", FaultKind::NUMBER, 0, MOST_EVENTS,
                                     "the next N notifications are lost"),
        ofKey<&F::repeatNotifications>("key.repeat", FaultKind::NUMBER, 0, MOST_REPEATS,
                                       "each notification is delivered N additional times"),
        ofKey<&F::notificationDelay>("key.delay", FaultKind::MILLISECONDS, 0, LONGEST_DELAY,
                                     "additional delay of the key's notifications"),
        ofKey<&F::answerDelay>("key.answer_delay", FaultKind::MILLISECONDS, 0, LONGEST_ANSWER_DELAY,
                               "additional duration of each client request for the key"),
        statusOfKey<&F::invokeStatus>("key.invoke_status", "the action is refused with this status"),
        flagOfKey<&F::neverAnswer>("key.never_answer", "the action is accepted, but never answered"),
        ofKey<&F::repeatAnswers>("key.repeat_answers", FaultKind::NUMBER, 0, MOST_REPEATS,
                                 "each answer of the action is delivered N additional times"),
        flagOfKey<&F::answerBeforeReturning>(
            "key.answer_before_returning", "an invocation returns only after its answer has been delivered"),

        {{"notifications.delay", FaultKind::MILLISECONDS, false, 0, LONGEST_DELAY,
          Model::NOTIFICATION_DELAY.count(), "delay between a change and its notification"},
         [](T& tv, const std::string&) -> long long { return tv.model().notificationDelay().count(); },
         [](T& tv, const std::string&, long long value) {
             tv.model().setNotificationDelay(std::chrono::milliseconds(value));
         }},
        {{"notifications.reverse", FaultKind::FLAG, false, 0, 1, 0,
          "held notifications are released in reverse order"},
         [](T& tv, const std::string&) -> long long {
             return tv.model().releaseOrder() == Order::REVERSED ? 1 : 0;
         },
         [](T& tv, const std::string&, long long value) {
             tv.model().setReleaseOrder(value != 0 ? Order::REVERSED : Order::AS_THEY_CAME);
         }},
        {{"notifications.hold", FaultKind::FLAG, false, 0, 1, 0,
          "notifications are held until this fault is cleared"},
         [](T& tv, const std::string&) -> long long { return tv.model().holdsNotifications() ? 1 : 0; },
         [](T& tv, const std::string&, long long value) { setHeld(tv, value); }},
        {{"framework.status", FaultKind::NUMBER, false, LOWEST_STATUS, HIGHEST_STATUS, 0,
          "lookups at the process framework are refused with this status"},
         [](T& tv, const std::string&) -> long long { return tv.framework().lookupStatus(); },
         [](T& tv, const std::string&, long long value) {
             tv.framework().failLookups(static_cast<int>(value));
         }},
        {{"framework.no_root", FaultKind::FLAG, false, 0, 1, 0,
          "the process framework returns an interface without a root"},
         [](T& tv, const std::string&) -> long long { return tv.framework().withholdsRoot() ? 1 : 0; },
         [](T& tv, const std::string&, long long value) { tv.framework().withholdRoot(value != 0); }},
        {{"applications.unreachable", FaultKind::FLAG, false, 0, 1, 0,
          "clients cannot reach the application manager"},
         [](T& tv, const std::string&) -> long long { return tv.applications().reachable() ? 0 : 1; },
         [](T& tv, const std::string&, long long value) { tv.applications().setReachable(value == 0); }},
        {{"applications.status", FaultKind::NUMBER, false, LOWEST_STATUS, HIGHEST_STATUS, 0,
          "registrations at the application manager are refused with this status"},
         [](T& tv, const std::string&) -> long long { return tv.applications().refusal(); },
         [](T& tv, const std::string&, long long value) {
             tv.applications().refuseRegistrations(static_cast<int>(value));
         }},
        {{"threads.skip", FaultKind::NUMBER, false, 0, MOST_EVENTS, 0,
          "N threads are created before threads.fail takes effect"},
         [](T& tv, const std::string&) -> long long { return tv.threads().skips(); },
         [](T& tv, const std::string&, long long value) {
             tv.threads().fail(tv.threads().failures(), static_cast<unsigned>(value));
         }},
        {{"threads.fail", FaultKind::NUMBER, false, 0, MOST_EVENTS, 0, "the next N thread creations fail"},
         [](T& tv, const std::string&) -> long long { return tv.threads().failures(); },
         [](T& tv, const std::string&, long long value) {
             tv.threads().fail(static_cast<unsigned>(value), tv.threads().skips());
         }},
        {{"video.stalled", FaultKind::FLAG, false, 0, 1, 0, "the video pipeline hangs"},
         [](T& tv, const std::string&) -> long long { return tv.video().stalled() ? 1 : 0; },
         [](T& tv, const std::string&, long long value) { setStalled(tv, value); }},
        // Last, because clearing this fault may fail when all are cleared.
        {{"video.killed", FaultKind::FLAG, false, 0, 1, 0,
          "the video pipeline is dead; clearing this fault starts it again"},
         [](T& tv, const std::string&) -> long long { return tv.video().killed() ? 1 : 0; },
         [](T& tv, const std::string&, long long value) { setKilled(tv, value); }},
    };
    return faults;
}

const Fault& at(const std::string& key, const std::string& name) {
    const auto found = std::find_if(table().begin(), table().end(),
                                    [&](const Fault& fault) { return fault.definition.name == name; });
    if (found == table().end()) throw std::out_of_range("there is no fault '" + name + "'");
    if (found->definition.ofKey && key.empty())
        throw std::invalid_argument("the fault '" + name + "' is of a key: name one");
    if (!found->definition.ofKey && !key.empty())
        throw std::invalid_argument("the fault '" + name + "' does not belong to a key");
    return *found;
}

void setAndPublish(Television& television, const std::string& key, const Fault& fault, long long value) {
    {
        const Events::Consequences scope;
        fault.set(television, key, value);
    }
    television.events().publish(SetFault{key, fault.definition.name, value});
}

}  // namespace

const std::vector<FaultDefinition>& faultDefinitions() {
    static const std::vector<FaultDefinition> definitions = [] {
        std::vector<FaultDefinition> all;
        for (const Fault& fault : table()) all.push_back(fault.definition);
        return all;
    }();
    return definitions;
}

const FaultDefinition* findFault(const std::string& name) {
    for (const FaultDefinition& definition : faultDefinitions())
        if (definition.name == name) return &definition;
    return nullptr;
}

void setFault(Television& television, const std::string& key, const std::string& name, long long value) {
    const Fault& fault = at(key, name);
    const catalogue::Range range{fault.definition.lowest, fault.definition.highest};
    if (!range.contains(value)) throw std::domain_error("the fault '" + name + "' is from " + range.text());
    setAndPublish(television, key, fault, value);
}

long long fault(Television& television, const std::string& key, const std::string& name) {
    return at(key, name).get(television, key);
}

std::vector<SetFault> activeFaults(Television& television) {
    std::vector<std::string> keys;
    for (const KeyDefinition& key : television.model().keys()) keys.push_back(key.name);
    std::vector<SetFault> active;
    for (const Fault& fault : table()) {
        const std::vector<std::string> owners = fault.definition.ofKey ? keys : std::vector<std::string>{""};
        for (const std::string& owner : owners)
            if (const long long value = fault.get(television, owner); value != fault.definition.harmless)
                active.push_back({owner, fault.definition.name, value});
    }
    return active;
}

void clearFaults(Television& television) {
    for (const SetFault& active : activeFaults(television)) {
        const Fault& fault = at(active.key, active.fault);
        setAndPublish(television, active.key, fault, fault.definition.harmless);
    }
}

}  // namespace simulated
