#include "television_objects.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "bus_method.h"
#include "catalogue/catalogue.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/observer.h"
#include "lomodelapi/root_interface.h"
#include "printable.h"
#include "protocol.h"
#include "scenes.h"
#include "simulated/faults.h"
#include "simulated/scenario.h"

using namespace lomodelapi;
using catalogue::typeName;
using simulated::KeyDefinition;
using simulated::Value;

namespace television {

namespace {

constexpr char KEY[] = "aipq.television.Key";
constexpr char VALUE[] = "aipq.television.Value";
constexpr char ACTION[] = "aipq.television.Action";
constexpr char TABLE[] = "aipq.television.Table";
constexpr char FAULTS[] = "aipq.television.Faults";
constexpr char PROPERTIES[] = "org.freedesktop.DBus.Properties";

constexpr char FAULT_PREFIX[] = "key.";  // the names of a key's faults begin with it

constexpr auto ACTION_LIMIT = std::chrono::seconds(20);

using Position = sdbus::Struct<std::uint16_t, std::string>;

// Returns the D-Bus signature for the type of a model value; empty for a type without a value.
const char* wireType(const Value& value) {
    static constexpr const char* types[] = {"", "i", "x", "s", "ai", "as"};
    return types[value.index()];
}

template <typename Visit>
void visitWire(const Value& value, Visit visit) {
    if (const int* const number = std::get_if<int>(&value)) visit(std::int32_t{*number});
    if (const long long* const wide = std::get_if<long long>(&value)) visit(static_cast<std::int64_t>(*wide));
    if (const auto* const text = std::get_if<std::string>(&value)) visit(printable(*text));
    if (const auto* const numbers = std::get_if<std::vector<int>>(&value)) visit(*numbers);
    if (const auto* const texts = std::get_if<std::vector<std::string>>(&value)) visit(printable(*texts));
}

template <typename Wire>
Wire take(sdbus::Message& message) {
    Wire wire{};
    message >> wire;
    return wire;
}

// A value of the same type as `like`.
Value takeValue(sdbus::Message& message, const Value& like) {
    if (std::holds_alternative<int>(like)) return take<std::int32_t>(message);
    if (std::holds_alternative<long long>(like)) return static_cast<long long>(take<std::int64_t>(message));
    if (std::holds_alternative<std::string>(like)) return take<std::string>(message);
    if (std::holds_alternative<std::vector<int>>(like)) return take<std::vector<std::int32_t>>(message);
    return take<std::vector<std::string>>(message);
}

void refuseWrongValue(const KeyDefinition& key, const Value& value) {
    const std::string taken = catalogue::refusal(key, value);
    if (taken.empty()) return;
    if (key.range)
        bus::refuse(bus::OUT_OF_RANGE,
                    key.name + " takes " + key.range->text() + ", not " + simulated::describe(value));
    bus::refuse(bus::WRONG_VALUE, key.name + " takes " + taken);
}

template <typename T>
void constant(sdbus::IObject& object, const char* interface, const char* name, const T& value) {
    sdbus::Flags flags;
    flags.set(sdbus::Flags::CONST_PROPERTY_VALUE);
    object.registerProperty(
        interface, name, sdbus::signature_of<T>::str(),
        [value](sdbus::PropertyGetReply& reply) { reply << value; }, flags);
}

template <typename Get>
void readable(sdbus::IObject& object, const char* interface, const char* name, Get get) {
    sdbus::Flags flags;
    flags.set(sdbus::Flags::EMITS_NO_SIGNAL);
    object.registerProperty(
        interface, name, sdbus::signature_of<std::invoke_result_t<Get>>::str(),
        [get](sdbus::PropertyGetReply& reply) { reply << get(); }, flags);
}

// Waits for the answer to one invocation of an action.
class OneAnswer final : public ObserverAction {
  public:
    void notifyExecutionError(unsigned, int error) override { set({error, {}}); }
    void notifyResult(unsigned, const std::vector<Argument>& result) override { set({0, result}); }

    // Returns nothing if no answer arrives in time.
    std::optional<simulated::Answer> wait() {
        auto answer = m_answer.get_future();
        if (answer.wait_for(ACTION_LIMIT) != std::future_status::ready) return std::nullopt;
        return answer.get();
    }

  private:
    void set(const simulated::Answer& answer) {
        if (!m_set.exchange(true)) m_answer.set_value(answer);
    }

    std::atomic<bool> m_set{false};
    std::promise<simulated::Answer> m_answer;
};

simulated::Answer invoke(RootInterface& root, const std::string& key,
                         const std::vector<Argument>& arguments) {
    OneAnswer observer;
    BizValue* action = nullptr;
    if (const int status = root.connectValue(key, &observer, action); status != 0 || action == nullptr)
        bus::refuse(bus::REFUSED, key + " cannot be reached, status " + std::to_string(status));
    unsigned id = 0;
    const int status = action->invoke(id, arguments);
    const auto answer = status == 0 ? observer.wait() : std::nullopt;
    root.disconnectValue(key, &observer, action);
    if (status != 0) bus::refuse(bus::REFUSED, key + " is refused, status " + std::to_string(status));
    if (!answer) bus::refuse(bus::REFUSED, key + " is not answered");
    return *answer;
}

}  // namespace

TelevisionObjects::TelevisionObjects(simulated::Television& television, remote::BusConnection& connection,
                                     WorkerPool& workers, std::string name)
    : m_television(television),
      m_connection(connection),
      m_workers(workers),
      m_name(std::move(name)),
      m_whole(sdbus::createObject(connection.bus(), remote::OBJECT)),
      m_events(television.events(), [this](const simulated::Event& event) {
          if (const auto* const set = std::get_if<simulated::SetKey>(&event.what))
              visitWire(set->value,
                        [&](const auto& wire) { announce(set->key, VALUE, "Value", sdbus::Variant(wire)); });
      }) {
    addTelevision();
    m_whole->addObjectManager();
    for (const KeyDefinition& key : m_television.model().keys()) addKey(key);
}

void TelevisionObjects::addKey(const KeyDefinition& key) {
    auto object = sdbus::createObject(m_connection.bus(), remote::objectPath(key.name));
    addDescription(*object, key);
    if (key.type == OBJECT_TYPE_ACTION) {
        addAction(*object, key.name);
    } else if (key.type == OBJECT_TYPE_TABLE) {
        addTable(*object, key);
    } else {
        addValue(*object, key);
    }
    addFaults(*object, key.name);
    object->finishRegistration();
    m_keys.emplace(key.name, std::move(object));
}

void TelevisionObjects::addDescription(sdbus::IObject& object, const KeyDefinition& key) {
    constant(object, KEY, "Name", key.name);
    constant(object, KEY, "Type", typeName(key.type));
    constant(object, KEY, "Group", printable(key.group));
    constant(object, KEY, "Meaning", printable(key.meaning));
    // The lowest and the highest value; empty without a range.
    std::vector<std::int64_t> range;
    if (key.range) range = {key.range->lowest, key.range->highest};
    constant(object, KEY, "Range", range);
    readable(object, KEY, "Subscribers", [&model = m_television.model(), name = key.name] {
        return std::uint32_t{model.subscribers(name)};
    });
}

void TelevisionObjects::addValue(sdbus::IObject& object, const KeyDefinition& key) {
    simulated::Model& model = m_television.model();
    object.registerProperty(
        VALUE, "Value", wireType(key.initial),
        [&model, name = key.name](sdbus::PropertyGetReply& reply) {
            visitWire(model.value(name), [&](const auto& wire) { reply << wire; });
        },
        [&model, key](sdbus::PropertySetCall& call) {
            const Value value = takeValue(call, key.initial);
            refuseWrongValue(key, value);
            model.set(key.name, value);
        });
}

void TelevisionObjects::addAction(sdbus::IObject& object, const std::string& key) {
    bus::MethodAdder(object, ACTION, m_connection, m_workers)
        .add<std::vector<Position>>("Invoke", {{"arguments"}, {"error", "result"}},
                                    [this, key](const std::vector<Position>& positions) {
                                        std::vector<Argument> arguments;
                                        for (const auto& position : positions)
                                            arguments.push_back({0, position.get<0>(), position.get<1>()});
                                        const simulated::Answer answer =
                                            invoke(*m_television.model().root(), key, arguments);
                                        std::vector<Position> result;
                                        for (const Argument& element : answer.result)
                                            result.emplace_back(element.position, printable(element.value));
                                        return std::tuple(std::int32_t{answer.error}, result);
                                    });
}

void TelevisionObjects::addTable(sdbus::IObject& object, const KeyDefinition& key) {
    simulated::Model& model = m_television.model();
    constant(object, TABLE, "Columns", printable(key.columns));
    readable(object, TABLE, "Iterators",
             [&model, name = key.name] { return std::uint32_t{model.iterators(name)}; });
    object.registerProperty(
        TABLE, "Rows", "aas",
        [&model, name = key.name](sdbus::PropertyGetReply& reply) { reply << printable(model.rows(name)); },
        [this, &model, name = key.name, columns = key.columns.size()](sdbus::PropertySetCall& call) {
            const auto rows = take<simulated::Rows>(call);
            for (const auto& row : rows)
                if (row.size() != columns)
                    bus::refuse(bus::WRONG_VALUE, name + " has " + std::to_string(columns) +
                                                      " columns, and a row here has " +
                                                      std::to_string(row.size()));
            model.setRows(name, rows);
            announce(name, TABLE, "Rows", sdbus::Variant(printable(rows)));
        });
}

void TelevisionObjects::addFaults(sdbus::IObject& object, const std::string& key) {
    for (const simulated::FaultDefinition& definition : simulated::faultDefinitions()) {
        if (!definition.ofKey) continue;
        sdbus::Flags flags;
        flags.set(sdbus::Flags::EMITS_NO_SIGNAL);
        object.registerProperty(
            FAULTS, definition.name.substr(sizeof FAULT_PREFIX - 1), "x",
            [this, key, name = definition.name](sdbus::PropertyGetReply& reply) {
                reply << static_cast<std::int64_t>(simulated::fault(m_television, key, name));
            },
            [this, key, name = definition.name](sdbus::PropertySetCall& call) {
                const auto value = take<std::int64_t>(call);
                bus::asBusErrors([&] { simulated::setFault(m_television, key, name, value); });
            },
            flags);
    }
}

void TelevisionObjects::addTelevision() {
    sdbus::IObject& whole = *m_whole;
    simulated::Television& tv = m_television;
    constant(whole, remote::TELEVISION_INTERFACE, "Name", m_name);
    readable(whole, remote::TELEVISION_INTERFACE, "Applications",
             [&tv] { return printable(tv.applications().applications()); });
    readable(whole, remote::TELEVISION_INTERFACE, "Reports", [&tv] {
        std::vector<sdbus::Struct<std::string, std::int32_t>> reports;
        for (const auto& report : tv.applications().reports())
            reports.emplace_back(printable(report.name), report.status);
        return reports;
    });
    readable(whole, remote::TELEVISION_INTERFACE, "Playing", [&tv] { return tv.sourceSwitch().playing(); });
    readable(whole, remote::TELEVISION_INTERFACE, "Suspended", [&tv] { return tv.suspended(); });
    readable(whole, remote::TELEVISION_INTERFACE, "TakenResources",
             [&tv] { return std::int32_t{tv.sourceSwitch().takenResources()}; });
    readable(whole, remote::TELEVISION_INTERFACE, "VideoRunning", [&tv] { return tv.video().running(); });
    readable(whole, remote::TELEVISION_INTERFACE, "VideoProblem",
             [&tv] { return printable(tv.video().problem()); });
    readable(whole, remote::TELEVISION_INTERFACE, "FramesDelivered",
             [&tv] { return std::uint32_t{tv.video().delivered()}; });

    using Nothing = std::tuple<>;
    bus::MethodAdder methods(whole, remote::TELEVISION_INTERFACE, m_connection, m_workers);
    methods.add<>("Reset", {}, [&tv] {
        tv.reset();
        return Nothing();
    });
    methods.add<std::string>("SelectChannel", {{"number"}, {}}, [&tv](const std::string& number) {
        if (!tv.sourceSwitch().selectChannel(number))
            bus::refuse(bus::WRONG_VALUE, "there is no channel '" + number + "'");
        return Nothing();
    });
    methods.add<bool>("SetPlaying", {{"playing"}, {}}, [&tv](bool playing) {
        tv.sourceSwitch().setPlaying(playing);
        return Nothing();
    });
    methods.add<>("Suspend", {}, [&tv] {
        tv.suspend();
        return Nothing();
    });
    methods.add<>("Resume", {}, [&tv] {
        tv.resume();
        return Nothing();
    });
    methods.add<std::string, std::string, std::string, std::string, std::int32_t>(
        "Notify", {{"application", "notification", "url", "text", "number"}, {}},
        [&tv](const std::string& application, const std::string& name, const std::string& url,
              const std::string& text, std::int32_t number) {
            const auto notification = simulated::findLifecycle(name);
            if (!notification) {
                std::string names;
                for (const std::string& known : simulated::lifecycleNames()) names += ' ' + known;
                bus::refuse(bus::WRONG_VALUE,
                            "there is no notification '" + name + "'; choose one of" + names);
            }
            if (application.empty()) {
                tv.applications().notify(*notification, url, text, number);
            } else {
                tv.applications().notifyOne(application, *notification, url, text, number);
            }
            return Nothing();
        });
    methods.add<std::string>("ShowVideo", {{"video"}, {}}, [&tv](const std::string& video) {
        if (!tv.showVideo(video)) bus::refuse(bus::REFUSED, tv.video().error());
        return Nothing();
    });
    methods.add<std::string>("ShowScene", {{"scene"}, {}}, [&tv](const std::string& scene) {
        const auto& names = pipeline::SCENE_NAMES;
        if (!scene.empty() && std::find(names.begin(), names.end(), scene) == names.end()) {
            std::string known;
            for (const std::string_view name : names) known += ' ' + std::string(name);
            bus::refuse(bus::WRONG_VALUE, "there is no scene '" + scene + "'; choose one of" + known);
        }
        tv.video().showProgramme(scene);
        return Nothing();
    });
    methods.add<std::uint32_t, std::uint32_t>(
        "Picture", {{"width", "height"}, {"rgba"}}, [&tv](std::uint32_t width, std::uint32_t height) {
            const simulated::Picture picture = tv.video().picture(width, height);
            if (picture.rgba.empty()) bus::refuse(bus::REFUSED, "no picture: " + picture.problem);
            return std::tuple(picture.rgba);
        });

    using Definition = sdbus::Struct<std::string, bool, std::int64_t, std::int64_t, std::string>;
    methods.add<>("ListFaults", {{}, {"faults"}}, [] {
        std::vector<Definition> definitions;
        for (const auto& fault : simulated::faultDefinitions())
            definitions.emplace_back(fault.name, fault.ofKey, fault.lowest, fault.highest, fault.meaning);
        return std::tuple(definitions);
    });
    methods.add<std::string, std::string, std::int64_t>(
        "SetFault", {{"key", "fault", "value"}, {}},
        [&tv](const std::string& key, const std::string& fault, std::int64_t value) {
            simulated::setFault(tv, key, fault, value);
            return Nothing();
        });
    methods.add<std::string, std::string>(
        "GetFault", {{"key", "fault"}, {"value"}}, [&tv](const std::string& key, const std::string& fault) {
            return std::tuple(static_cast<std::int64_t>(simulated::fault(tv, key, fault)));
        });
    methods.add<>("ClearFaults", {}, [&tv] {
        simulated::clearFaults(tv);
        return Nothing();
    });
    m_whole->finishRegistration();
}

void TelevisionObjects::announce(const std::string& key, const char* interface, const char* property,
                                 sdbus::Variant value) {
    m_announcer.post(nullptr, [this, key, interface, property, value = std::move(value)] {
        const auto found = m_keys.find(key);
        if (found == m_keys.end()) return;  // a key that was not in the catalogue
        try {
            sdbus::Signal signal = found->second->createSignal(PROPERTIES, "PropertiesChanged");
            signal << std::string(interface) << std::map<std::string, sdbus::Variant>{{property, value}}
                   << std::vector<std::string>();
            signal.send();
        } catch (const sdbus::Error&) {
            return;  // the bus is gone
        }
        m_connection.wake();
    });
}

}  // namespace television
