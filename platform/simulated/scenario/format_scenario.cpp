#include <sstream>
#include <utility>

#include "simulated/faults.h"
#include "simulated/scenario.h"
#include "toml_reader.h"
#include "vocabulary.h"

using std::chrono::milliseconds;

namespace simulated {

namespace {

// The words of a step or of an event, each with its value in TOML.
using Entries = std::vector<std::pair<std::string, std::string>>;

std::string quoted(const std::string& text) {
    std::ostringstream out;
    out << toml::toml_formatter(toml::value<std::string>(text), toml::format_flags::allow_unicode_strings);
    return out.str();
}

std::string word(bool flag) { return flag ? "true" : "false"; }

template <typename T, typename Format>
std::string list(const std::vector<T>& values, Format format) {
    std::string text = "[";
    for (const T& value : values) text.append(text.size() > 1 ? ", " : "").append(format(value));
    return text + ']';
}

struct FormatValue {
    std::string operator()(std::monostate) const { return "nothing"; }
    std::string operator()(int value) const { return std::to_string(value); }
    std::string operator()(long long value) const { return std::to_string(value); }
    std::string operator()(const std::string& value) const { return quoted(value); }
    std::string operator()(const std::vector<int>& value) const {
        return list(value, [](int element) { return std::to_string(element); });
    }
    std::string operator()(const std::vector<std::string>& value) const { return list(value, quoted); }
};

struct FormatAction {
    Entries operator()(const SetKey& set) const {
        return {{"set", quoted(set.key)}, {"to", describe(set.value)}};
    }
    Entries operator()(const Announce& announce) const { return {{"announce", quoted(announce.key)}}; }
    Entries operator()(const Invoke& invoke) const {
        return {{"invoke", quoted(invoke.key)},
                {"arguments", list(invoke.arguments, [](const lomodelapi::Argument& argument) {
                     return '[' + std::to_string(argument.position) + ", " + quoted(argument.value) + ']';
                 })}};
    }
    Entries operator()(const SelectChannel& select) const { return {{"channel", quoted(select.number)}}; }
    Entries operator()(const SetPlaying& set) const { return {{"playing", word(set.playing)}}; }
    Entries operator()(const ShowVideo& show) const { return {{"video", quoted(show.video)}}; }
    Entries operator()(const ShowScene& show) const { return {{"scene", quoted(show.scene)}}; }
    Entries operator()(const Notify& notify) const {
        Entries entries{{"notify", quoted(lifecycleName(notify.notification))}};
        if (!notify.application.empty()) entries.emplace_back("application", quoted(notify.application));
        if (!notify.url.empty()) entries.emplace_back("url", quoted(notify.url));
        if (!notify.text.empty()) entries.emplace_back("text", quoted(notify.text));
        if (notify.number != 0) entries.emplace_back("number", std::to_string(notify.number));
        return entries;
    }
    Entries operator()(const SetPower& set) const {
        return {{"power", quoted(set.suspended ? SUSPEND : RESUME)}};
    }
    Entries operator()(const SetFault& set) const {
        Entries entries{{"fault", quoted(set.fault)}};
        if (!set.key.empty()) entries.emplace_back("key", quoted(set.key));
        const FaultDefinition* const definition = findFault(set.fault);
        const bool isFlag = definition != nullptr && definition->kind == FaultKind::FLAG;
        entries.emplace_back("to", isFlag ? word(set.value != 0) : std::to_string(set.value));
        return entries;
    }
    Entries operator()(const ClearFaults&) const { return {{"clear_faults", word(true)}}; }
    Entries operator()(const Expect& expect) const {
        Entries entries{{"expect", quoted(expect.key)}, {"is", describe(expect.value)}};
        if (expect.within.count() != 0) entries.emplace_back("within", describe(expect.within));
        return entries;
    }
};

struct FormatCondition {
    Entries operator()(const KeyReaches& reaches) const {
        return {{"key", quoted(reaches.key)}, {"is", describe(reaches.value)}};
    }
    Entries operator()(const KeyChanges& changes) const { return {{"changes", quoted(changes.key)}}; }
    Entries operator()(const ClientSubscribes& subscribes) const {
        return {{"client", quoted(subscribes.key)}};
    }
    Entries operator()(const ApplicationRegisters& registers) const {
        return {{"registered", quoted(registers.application)}};
    }
    Entries operator()(const ApplicationReports& reports) const {
        Entries entries{{"report", std::to_string(reports.status)}};
        if (!reports.application.empty()) entries.emplace_back("application", quoted(reports.application));
        return entries;
    }
    Entries operator()(const FramesArrive& frames) const {
        return {{"frames", std::to_string(frames.count)}};
    }
    Entries operator()(const ChannelChanges& channel) const {
        return {{"channel", quoted(channel.number.empty() ? ANY_CHANNEL : channel.number)}};
    }
};

std::string join(const Entries& entries, const char* is, const char* separator) {
    std::string text;
    for (const auto& [name, value] : entries)
        text.append(text.empty() ? "" : separator).append(name).append(is).append(value);
    return text;
}

std::string inlineTable(const After& after) {
    Entries entries = std::visit(FormatCondition(), after.condition);
    if (after.within != DEFAULT_EVENT_LIMIT) entries.emplace_back("within", describe(after.within));
    return "{ " + join(entries, " = ", ", ") + " }";
}

}  // namespace

std::string formatScenario(const Scenario& scenario) {
    std::string text;
    if (!scenario.title.empty()) text += "title = " + quoted(scenario.title) + '\n';
    if (!scenario.video.empty()) text += "video = " + quoted(scenario.video) + '\n';
    if (scenario.scaleLimits) text += "scale_limits = true\n";
    if (scenario.steps.empty()) text += "step = []\n";
    for (const Step& step : scenario.steps) text.append(text.empty() ? "" : "\n").append(formatStep(step));
    return text;
}

std::string formatStep(const Step& step) {
    Entries entries;
    if (step.at) entries.emplace_back("at", describe(*step.at));
    if (step.after) entries.emplace_back("after", inlineTable(*step.after));
    if (step.wait.count() != 0) entries.emplace_back("wait", describe(step.wait));
    for (auto& entry : std::visit(FormatAction(), step.action)) entries.push_back(std::move(entry));
    return "[[step]]\n" + join(entries, " = ", "\n") + '\n';
}

std::string describe(const Action& action) { return join(std::visit(FormatAction(), action), " ", ", "); }

std::string describe(const Condition& condition) {
    return join(std::visit(FormatCondition(), condition), " ", ", ");
}

std::string describe(const Value& value) { return std::visit(FormatValue(), value); }

std::string describe(milliseconds time) {
    std::string text = std::to_string(time.count() / 1000);
    const auto rest = time.count() % 1000;
    if (rest == 0) return text;
    std::string digits = std::to_string(1000 + rest).substr(1);
    digits.erase(digits.find_last_not_of('0') + 1);
    return text + '.' + digits;
}

}  // namespace simulated
