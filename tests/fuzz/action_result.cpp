// Fuzzes the model's answers to an action: any number of elements, at any positions, of any types, also in
// answers to no request. Checks the result of the action accessor and of the source switch.
#include <memory>
#include <vector>

#include "embedded_television.h"
#include "fuzzing.h"
#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"

namespace {

using fuzzing::Input;
using lomodelapi::Argument;

constexpr char ACTION[] = "fuzz.action";
constexpr char SWITCH_ACTION[] = "dovra.sl2.action.source.switch";

// The expected list: the low 8 bits of a position are a signed index. If several elements have the same
// index, the last one counts. An element whose index is outside the list is dropped.
std::vector<std::string> expectedList(const std::vector<Argument>& arguments) {
    std::vector<std::string> texts(arguments.size());
    for (const Argument& argument : arguments) {
        const unsigned low = argument.position % 256U;
        if (low < 128 && low < texts.size()) texts[low] = argument.value;
    }
    return texts;
}

class Handler final : public ActionHandler {
  public:
    void onActionResult(int actionId, const ValueObject& result) override {
        ++calls;
        id = actionId;
        error = 0;
        FUZZ_CHECK(result.type() == ValueObject::TYPE_VECTOR);
        texts.clear();
        for (const ValueObject& item : result.items) {
            FUZZ_CHECK(item.type() == ValueObject::TYPE_STRING);
            texts.push_back(item.text);
        }
    }
    void onActionFailed(int actionId, int code) override {
        ++calls;
        id = actionId;
        error = code;
        texts.clear();
    }

    unsigned calls = 0;
    int id = 0;
    int error = 0;
    std::vector<std::string> texts;
};

simulated::Answer takeAnswer(Input& input) {
    simulated::Answer answer;
    // Half of the answers are results; a failure has any error number.
    if (input.flag()) answer.error = input.number<std::int8_t>();
    // A few elements of any type at any position, then many elements at regular positions.
    const unsigned few = input.choice(12);
    for (unsigned i = 0; i < few; ++i) {
        const auto type = input.number<std::uint16_t>();
        const auto position = input.number<std::uint16_t>();
        answer.result.push_back({type, position, input.text(input.choice(6))});
    }
    const unsigned many = input.flag() ? 2U * input.byte() : 0;
    const unsigned step = input.byte();
    for (unsigned i = 0; i < many; ++i)
        answer.result.push_back({0, static_cast<std::uint16_t>(i * step), std::to_string(i)});
    return answer;
}

// Clears the records of earlier inputs and disables the delays.
void prepare(simulated::Model& model) {
    model.reset();
    model.setNotificationDelay(std::chrono::milliseconds(0));
    simulated::KeyFaults faults;
    faults.answerBeforeReturning = true;
    model.setFaults(ACTION, faults);
}

void checkAnswer(Handler& handler, unsigned id, const simulated::Answer& answer) {
    FUZZ_CHECK(handler.calls == 1);
    FUZZ_CHECK(handler.id == static_cast<int>(id));
    FUZZ_CHECK(handler.error == answer.error);
    FUZZ_CHECK(handler.texts ==
               (answer.error == 0 ? expectedList(answer.result) : std::vector<std::string>()));
    handler.calls = 0;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    simulated::Television& television = fuzzing::switchedOn();
    television.debugOutput().setSink([](unsigned, const std::string&) {});
    television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::TRACE);
    simulated::KeyDefinition action;
    action.name = ACTION;
    action.type = lomodelapi::OBJECT_TYPE_ACTION;
    television.model().define(action);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static simulated::Television& television = fuzzing::switchedOn();
    static simulated::Model& model = television.model();
    static const std::shared_ptr<Handler> handler = std::make_shared<Handler>();
    static ActionAccess& action = *[] {
        auto* const made = new ActionAccess(ACTION, handler);
        FUZZ_CHECK(made->connect(0) == 0);
        return made;
    }();

    prepare(model);
    Input input(data, size);
    const unsigned way = input.choice(4);
    const simulated::Answer answer = takeAnswer(input);
    if (way == 0) {
        // Calls the observer directly, without the model.
        const auto id = input.number<unsigned>();
        if (answer.error == 0) {
            action.notifyResult(id, answer.result);
        } else {
            action.notifyExecutionError(id, answer.error);
        }
        checkAnswer(*handler, id, answer);
    } else if (way == 1) {
        // The model sends an answer to no request.
        const auto id = input.number<unsigned>();
        model.answer(ACTION, id, answer);
        FUZZ_CHECK(model.settle());
        checkAnswer(*handler, id, answer);
    } else if (way == 2) {
        std::vector<Argument> arguments;
        model.setAction(ACTION, [&](const std::vector<Argument>& received) {
            arguments = received;
            return answer;
        });
        unsigned id = 0;
        const std::string text = input.rest();
        FUZZ_CHECK(action.invoke(id, {{0, 0, text}}) == 0);
        FUZZ_CHECK(arguments.size() == 1 && arguments[0].position == 0 && arguments[0].value == text);
        checkAnswer(*handler, id, answer);
        model.setAction(ACTION, nullptr);
    } else {
        static SourceSwitchAccess& sourceSwitch = *SourceSwitchAccessImpl::GetInstance();
        std::vector<Argument> arguments;
        model.setAction(SWITCH_ACTION, [&](const std::vector<Argument>& received) {
            arguments = received;
            return answer;
        });
        const bool force = input.flag();
        const std::string uri = input.rest();
        FUZZ_CHECK(sourceSwitch.setChannelByURI(uri, force) == (answer.error == 0));
        const std::vector<std::string> values{"8", "hbbtv", uri, "", "2", force ? "1" : "0"};
        const std::vector<unsigned> positions{1, 2, 3, 4, 5, 5};
        FUZZ_CHECK(arguments.size() == 1 + values.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            FUZZ_CHECK(arguments[i + 1].position == positions[i] && arguments[i + 1].value == values[i]);
            FUZZ_CHECK(arguments[i + 1].type == 0);
        }
        model.setAction(SWITCH_ACTION, nullptr);
    }
    return 0;
}
