// The process framework and the values of the model.
#include <memory>
#include <type_traits>
#include <utility>

#include "accessor_status.h"
#include "catalogue/catalogue.h"
#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/table_access.h"
#include "platform_adaptation/system_access/value_access.h"
#include "visit.h"

using namespace lomodelapi;
using catalogue::KeyDefinition;

namespace conformance {

namespace {

constexpr char FRAMEWORK[] = "framework";

// A kind of value: its accessor and the type of its values.
template <typename ObserverOfIt, typename T>
struct Kind {
    using Access = ValueAccessT<ObserverOfIt>;
    using Value = T;
};

// Calls `use` with the kind of this type. Returns false for objects without a value.
template <typename Use>
bool withKind(ObjectTypeSpec type, Use use) {
    switch (type) {
        case OBJECT_TYPE_NUMERIC_INTEGER:
            use(Kind<ObserverNumericInteger, int>());
            return true;
        case OBJECT_TYPE_NUMERIC_INT64:
            use(Kind<ObserverNumericInt64, long long>());
            return true;
        case OBJECT_TYPE_STRING:
            use(Kind<ObserverString, std::string>());
            return true;
        case OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            use(Kind<ObserverVectorNumericInteger, std::vector<int>>());
            return true;
        case OBJECT_TYPE_VECTOR_STRING:
            use(Kind<ObserverVectorString, std::vector<std::string>>());
            return true;
        default:
            return false;
    }
}

std::string typeName(ObjectTypeSpec type) {
    switch (type) {
        case OBJECT_TYPE_NUMERIC_INTEGER:
            return "integer";
        case OBJECT_TYPE_NUMERIC_INT64:
            return "64-bit integer";
        case OBJECT_TYPE_STRING:
            return "text";
        case OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return "list of integers";
        case OBJECT_TYPE_VECTOR_STRING:
            return "list of texts";
        case OBJECT_TYPE_ACTION:
            return "action";
        case OBJECT_TYPE_TABLE:
            return "table";
        default:
            return "object of type " + std::to_string(type);
    }
}

template <typename Number, std::enable_if_t<std::is_integral_v<Number>, int> = 0>
std::string textOf(Number value) {
    return std::to_string(value);
}
template <typename T>
std::string textOf(const std::vector<T>& list) {
    std::string text;
    for (const T& element : list) text += (text.empty() ? "[" : ", ") + textOf(element);
    return text.empty() ? "[]" : text + ']';
}

// Connecting

[[noreturn]] void failToConnect(const KeyDefinition& key, int status) {
    if (status != STATUS_WRONG_TYPE)
        throw Failure{"cannot be connected within " + std::to_string(CONNECT_TIMEOUT_MS) + " ms (status " +
                          std::to_string(status) + ")",
                      "Let the model offer a key of exactly this name, and this process subscribe to it."};
    // TableAccess connects to an object of any type.
    TableAccess any(key.name);
    any.connect(CONNECT_TIMEOUT_MS);
    const auto type = static_cast<ObjectTypeSpec>(any.getType());
    throw Failure{"is of the type " + typeName(type) + " (" + ValueAccessBase::accessTypeName(type) +
                      "), not " + typeName(key.type) + " (" + ValueAccessBase::accessTypeName(key.type) + ")",
                  "Give the key the type " + typeName(key.type) +
                      " in the model, or adapt it between the model and the library."};
}

template <typename Access>
void connect(const KeyDefinition& key, Access& access) {
    const int status = timed("connecting", [&] { return access.connect(CONNECT_TIMEOUT_MS); });
    if (status != 0) failToConnect(key, status);
}

template <typename Value>
Value read(ValueAccessBase& access) {
    Value value{};
    if (const int status = timed("reading", [&] { return access.getValue(value); }); status != 0)
        throw Failure{"cannot be read (status " + std::to_string(status) + ")",
                      "See why the model refuses reads by this process."};
    return value;
}

template <typename Value>
void write(ValueAccessBase& access, const Value& value) {
    if (const int status = timed("writing", [&] { return access.setValue(value); }); status != 0)
        throw Failure{"cannot be written (status " + std::to_string(status) + ")",
                      "See why the model refuses writes by this process."};
}

// A subscription to a key, and its notifications.
template <typename K>
class Subscription {
  public:
    using Value = typename K::Value;

    Subscription(Visit& visit, const KeyDefinition& key)
        : m_notifications(std::make_shared<Notifications>()),
          m_access(std::make_shared<typename K::Access>(key.name, m_notifications)) {
        visit.keep(m_access);
        connect(key, *m_access);
    }
    ~Subscription() { end(); }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

    void end() {
        if (std::exchange(m_connected, false)) m_access->disconnect();
    }

    ValueAccessBase& access() { return *m_access; }
    const Record<Value>& announced() const { return m_notifications->record; }

    std::vector<Value> values() const {
        std::vector<Value> list;
        for (const auto& entry : announced().entries()) list.push_back(entry.value);
        return list;
    }

    bool lastIs(const Value& value) const {
        const std::vector<Value> list = values();
        return !list.empty() && list.back() == value;
    }

    // Waits for this many announcements. Returns false if fewer arrive.
    bool await(const Visit& visit, std::size_t count) const {
        const Clock::time_point since = Clock::now();
        if (!visit.waitUntil(GIVE_UP, [&] { return announced().size() >= count; })) return false;
        const auto took = announced().entries()[count - 1].when - since;
        if (took > IN_TIME)
            throw Failure{
                "was announced " + seconds(took) + " after the write, later than " + seconds(IN_TIME),
                "Find what delays the model's notifications: a change of a setting waits for one per "
                "step."};
        return true;
    }

  private:
    struct Notifications final : ValueHandler {
        void onNewValue(const ValueObject& value) override { record.add(value.operator Value()); }
        Record<Value> record;
    };

    std::shared_ptr<Notifications> m_notifications;
    std::shared_ptr<typename K::Access> m_access;
    bool m_connected = true;
};

// Values

void requireInRange(const KeyDefinition& key, long long value) {
    if (!key.range || key.range->contains(value)) return;
    throw Failure{std::to_string(value) + " is not in " + std::to_string(key.range->lowest) + ".." +
                      std::to_string(key.range->highest),
                  "Let the model convert the value to this range: the library accepts no other."};
}

std::string foundValue(const KeyDefinition& key, long long value) {
    requireInRange(key, value);
    if (!key.range) return std::to_string(value);
    return std::to_string(value) + " in " + std::to_string(key.range->lowest) + ".." +
           std::to_string(key.range->highest);
}
std::string foundValue(const KeyDefinition&, const std::string& value) { return quoted(value); }
std::string foundValue(const KeyDefinition&, const std::vector<std::string>& value) {
    return std::to_string(value.size()) + " elements";
}
// A list of integers is written as a whole and has a fixed length.
std::string foundValue(const KeyDefinition& key, const std::vector<int>& value) {
    const std::size_t wanted = std::get<std::vector<int>>(key.initial).size();
    if (value.size() != wanted)
        throw Failure{
            "has " + std::to_string(value.size()) + " elements instead of " + std::to_string(wanted),
            "Give the list this length in the model: the library writes no other."};
    return std::to_string(value.size()) + " elements";
}

// A value that differs by one, in the same range.
template <typename Number, std::enable_if_t<std::is_integral_v<Number>, int> = 0>
Number stepFrom(const KeyDefinition& key, Number value) {
    requireInRange(key, value);
    return key.range ? (value < key.range->highest ? value + 1 : value - 1)
                     : (value <= 0 ? value + 1 : value - 1);
}
std::vector<int> stepFrom(const KeyDefinition& key, std::vector<int> list) {
    foundValue(key, list);
    if (list.empty()) throw Failure{"has no elements to change", "Skip this check."};
    list.back() += list.back() <= 0 ? 1 : -1;
    return list;
}

template <typename K>
void putBack(const KeyDefinition& key, const typename K::Value& value) {
    typename K::Access access(key.name);
    connect(key, access);
    access.setValue(value);
    // Also waits if the run is to stop.
    typename K::Value now{};
    const Clock::time_point end = Clock::now() + IN_TIME;
    while (access.getValue(now) != 0 || now != value) {
        if (Clock::now() >= end)
            throw Failure{"could not be put back: it was " + textOf(value) + " and is now " + textOf(now),
                          ""};
        std::this_thread::sleep_for(milliseconds(10));
    }
}

// A setting that a check writes, and its original value.
template <typename K>
class Setting {
  public:
    using Value = typename K::Value;

    Setting(Visit& visit, const KeyDefinition& key)
        : subscription(visit, key),
          original(read<Value>(subscription.access())),
          changed(stepFrom(key, original)),
          m_visit(visit),
          m_key(key) {}

    // Writes the new value. It is undone by changeBack(), or when the check ends.
    void change() {
        m_visit.undoLater(m_key.name + " was " + textOf(original),
                          [key = m_key, value = original] { putBack<K>(key, value); });
        write(subscription.access(), changed);
    }
    void changeBack() { write(subscription.access(), original); }
    // Call it when the television has the original value again.
    void isBack() { m_visit.undone(); }

    Subscription<K> subscription;
    const Value original;
    const Value changed;

  private:
    Visit& m_visit;
    const KeyDefinition m_key;
};

constexpr char ADVICE_ANNOUNCE[] =
    "Let the model announce every change of the value to every subscriber, the writer included.";

// Checks

Passed checkFramework(Visit&) {
    if (ValueAccessBase::getRootInterface() == nullptr)
        throw Failure{"does not give the model's root",
                      "Start the model's service, and see why getInterfaceReference() of "
                      "\"dovra.lm.interfaces.tvapi.RootInterface\" fails or why that interface has no root."};
    return {"gives the model's root"};
}

Passed checkKey(const KeyDefinition& key) {
    Passed passed{typeName(key.type)};
    const bool hasValue = withKind(key.type, [&](auto kind) {
        using K = decltype(kind);
        typename K::Access access(key.name);
        connect(key, access);
        passed.finding += ", " + foundValue(key, read<typename K::Value>(access));
    });
    if (hasValue) return passed;
    if (key.type == OBJECT_TYPE_ACTION) {
        ActionAccess access(key.name);
        connect(key, access);
    } else {
        TableAccess access(key.name);
        connect(key, access);
        if (access.getType() != key.type) failToConnect(key, STATUS_WRONG_TYPE);
    }
    return passed;
}

template <typename K>
Passed checkWrite(Visit& visit, const KeyDefinition& key) {
    Setting<K> setting(visit, key);
    const auto& subscription = setting.subscription;
    const auto read = [&] { return conformance::read<typename K::Value>(setting.subscription.access()); };
    const std::string after = " after " + textOf(setting.changed) + " was written";

    setting.change();
    if (!subscription.await(visit, 1)) {
        const auto now = read();
        throw Failure{
            "nothing was announced within " + seconds(GIVE_UP) + after + ", and it reads " + textOf(now),
            now == setting.changed ? ADVICE_ANNOUNCE
                                   : "See why the model does not accept the value from this process."};
    }
    const auto first = subscription.announced().entries().front();
    if (first.value != setting.changed)
        throw Failure{textOf(first.value) + " was announced" + after,
                      "See why the model does not keep the value, or whether another client operates the "
                      "television."};
    if (first.thread == std::this_thread::get_id())
        throw Failure{
            "was announced on the writer's own thread",
            "Deliver notifications on a thread of the model: the library's callers may hold locks."};
    if (const auto now = read(); now != setting.changed)
        throw Failure{"reads " + textOf(now) + after + " and announced",
                      "Let the model keep the value before it announces it."};

    setting.changeBack();
    // If announcements arrive twice, the repeated one must not be taken for the original value.
    if (!visit.waitUntil(GIVE_UP, [&] { return subscription.lastIs(setting.original); }))
        throw Failure{"nothing was announced within " + seconds(GIVE_UP) + " after " +
                          textOf(setting.original) + " was written back",
                      ADVICE_ANNOUNCE};
    if (const auto now = read(); now != setting.original)
        throw Failure{
            "reads " + textOf(now) + " after " + textOf(setting.original) + " was written back and announced",
            "Let the model keep the value before it announces it."};
    setting.isBack();
    visit.pause(QUIET);
    if (const auto values = subscription.values(); values.size() != 2)
        throw Failure{
            "2 writes were announced " + std::to_string(values.size()) + " times: " + textOf(values),
            "Let the model announce each change once, or find other clients that operate the television."};
    return {"a small change and its reversal are each kept and announced once"};
}

template <typename K>
Passed checkOrder(Visit& visit, const KeyDefinition& key) {
    Setting<K> setting(visit, key);
    setting.change();
    setting.changeBack();
    const bool all = setting.subscription.await(visit, 2);
    const auto values = setting.subscription.values();
    if (!all)
        throw Failure{"of 2 writes without a pause, " + std::to_string(values.size()) +
                          " were announced within " + seconds(GIVE_UP),
                      "Let the model announce each change: a setting waits a minute for a missing "
                      "announcement."};
    if (values != std::vector<typename K::Value>{setting.changed, setting.original})
        throw Failure{textOf(values) + " was announced after " + textOf(setting.changed) + " and then " +
                          textOf(setting.original) + " were written",
                      "Let the model announce changes in their order, on one thread."};
    return {"2 writes without a pause are announced in their order"};
}

template <typename K>
Passed checkSilence(Visit& visit, const KeyDefinition& key) {
    Setting<K> setting(visit, key);
    Subscription<K> ended(visit, key);
    setting.change();
    if (!setting.subscription.await(visit, 1) || !ended.await(visit, 1))
        throw Failure{"a change was not announced to both of 2 subscribers within " + seconds(GIVE_UP),
                      ADVICE_ANNOUNCE};
    ended.end();
    const std::size_t before = ended.announced().size();
    setting.changeBack();
    if (!visit.waitUntil(GIVE_UP, [&] { return setting.subscription.lastIs(setting.original); }))
        throw Failure{"nothing was announced to the other subscriber within " + seconds(GIVE_UP),
                      "Let the end of one subscription not change the others."};
    setting.isBack();
    visit.pause(QUIET);
    if (const auto values = ended.values(); values.size() != before)
        throw Failure{textOf(values.back()) + " was announced to a subscriber that had disconnected",
                      "Let disconnectValue() return only when its observer is not called any more: the "
                      "library destroys it next."};
    return {"silent after disconnecting, for " + std::to_string(QUIET.count()) + " ms"};
}

// Whether clients of the library write the key; the television writes the others itself.
bool isSetting(const KeyDefinition& key) {
    return key.group == "Picture settings" || (key.group == "Source switching" && key.initial.index() != 0);
}

}  // namespace

std::vector<Check> modelChecks() {
    const std::vector<KeyDefinition> keys = catalogue::loadCatalogue();
    std::vector<Check> checks{{FRAMEWORK, "", "whether the process framework answers", {}, checkFramework}};
    for (const KeyDefinition& key : keys)
        checks.push_back({"key",
                          key.name,
                          "whether it exists as " + typeName(key.type) +
                              (key.initial.index() != 0 ? " and can be read" : ""),
                          {FRAMEWORK},
                          [key](Visit&) { return checkKey(key); }});
    for (const KeyDefinition& key : keys) {
        if (!isSetting(key)) continue;
        const auto add = [&](const char* group, const char* question, const char* needed, auto check) {
            checks.push_back({group, key.name, question, {FRAMEWORK, nameOf(needed, key.name)}, check, true});
        };
        withKind(key.type, [&](auto kind) {
            using K = decltype(kind);
            if constexpr (!std::is_same_v<typename K::Value, std::string> &&
                          !std::is_same_v<typename K::Value, std::vector<std::string>>) {
                add("write", "whether a written value is kept and announced, once, on another thread", "key",
                    [key](Visit& visit) { return checkWrite<K>(visit, key); });
                add("order", "whether 2 quick writes are announced in their order", "write",
                    [key](Visit& visit) { return checkOrder<K>(visit, key); });
                add("silence", "whether nothing is announced after disconnecting", "order",
                    [key](Visit& visit) { return checkSilence<K>(visit, key); });
            }
        });
    }
    return checks;
}

}  // namespace conformance
