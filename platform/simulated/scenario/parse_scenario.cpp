#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <set>

#include "catalogue/catalogue.h"
#include "catalogue/keys.h"
#include "catalogue/suggestion.h"
#include "scenes.h"
#include "simulated/faults.h"
#include "simulated/scenario.h"
#include "toml_reader.h"
#include "vocabulary.h"

using namespace lomodelapi;
using std::chrono::milliseconds;

namespace keys = catalogue::keys;

namespace simulated {

using catalogue::TomlReader;

namespace {

constexpr double LONGEST_SECONDS = 7 * 24 * 3600;

constexpr milliseconds::rep MS_PER_SECOND = 1000;

template <typename List>
std::string listed(const List& names) {
    std::string text;
    for (const auto& name : names) text.append(text.empty() ? "" : ", ").append(name);
    return text;
}

// The hint for an unknown name if one of `names` is similar.
template <typename List>
std::string hint(const std::string& name, const List& names) {
    return catalogue::suggestion(name, {names.begin(), names.end()});
}

std::vector<std::string> faultNames() {
    std::vector<std::string> names;
    for (const FaultDefinition& fault : faultDefinitions()) names.push_back(fault.name);
    return names;
}

class Parser {
  public:
    Parser(const TomlReader& reader, const std::vector<KeyDefinition>& keys) : m_reader(reader) {
        for (const KeyDefinition& key : keys) m_keys.emplace(key.name, key);
    }

    Scenario scenario(const toml::table& document) {
        refuseUnknown(document, {"title", "video", "scale_limits", "step"});
        Scenario scenario;
        if (const toml::node* const title = document.get("title")) scenario.title = text(*title);
        if (const toml::node* const video = document.get("video")) scenario.video = videoOf(*video);
        m_pictureIsOff = scenario.video == "off";
        if (const toml::node* const scale = document.get("scale_limits")) scenario.scaleLimits = flag(*scale);
        const toml::node* const steps = document.get("step");
        if (steps == nullptr) m_reader.fail(document.source(), "no [[step]] in it");
        if (!steps->is_array()) m_reader.fail(steps->source(), "steps are written as [[step]]");
        for (const toml::node& node : *steps->as_array()) {
            if (!node.is_table()) m_reader.fail(node.source(), "steps are written as [[step]]");
            scenario.steps.push_back(step(*node.as_table()));
        }
        return scenario;
    }

  private:
    // One kind of step: its own word, the other words that it may have, and its parser.
    struct Kind {
        std::string_view word;
        std::set<std::string_view> others;
        Action (Parser::*read)(const toml::table& table, const toml::node& node);
    };

    static const std::vector<Kind>& kinds() {
        static const std::vector<Kind> all{
            {"set", {"to"}, &Parser::set},
            {"source", {}, &Parser::source},
            {"announce", {}, &Parser::announce},
            {"channel", {}, &Parser::selectChannel},
            {"playing", {}, &Parser::setPlaying},
            {"invoke", {"arguments"}, &Parser::invoke},
            {"notify", {"application", "url", "text", "number"}, &Parser::notify},
            {"power", {}, &Parser::power},
            {"video", {}, &Parser::video},
            {"scene", {}, &Parser::scene},
            {"fault", {"key", "to"}, &Parser::fault},
            {"clear_faults", {}, &Parser::clearFaults},
            {"expect", {"is", "within"}, &Parser::expect},
        };
        return all;
    }

    Step step(const toml::table& table) {
        const Kind& kind = kindOf(table);
        std::set<std::string_view> known{"at", "after", "wait", kind.word};
        known.insert(kind.others.begin(), kind.others.end());
        refuseUnknown(table, known);
        Step step;
        step.line = table.source().begin.line;
        readTime(table, step);
        step.action = (this->*kind.read)(table, *table.get(kind.word));
        return step;
    }

    const Kind& kindOf(const toml::table& table) {
        const Kind* found = nullptr;
        for (const Kind& kind : kinds()) {
            const toml::node* const node = table.get(kind.word);
            if (node == nullptr) continue;
            if (found != nullptr)
                m_reader.fail(node->source(), "a step is one thing, not '" + std::string(found->word) +
                                                  "' and '" + std::string(kind.word) + "'");
            found = &kind;
        }
        if (found != nullptr) return *found;
        std::vector<std::string_view> words;
        std::set<std::string_view> known{"at", "after", "wait"};
        for (const Kind& kind : kinds()) {
            words.push_back(kind.word);
            known.insert(kind.word);
            known.insert(kind.others.begin(), kind.others.end());
        }
        refuseUnknown(table, known);
        m_reader.fail(table.source(), "a step that does nothing: it needs one of " + listed(words));
    }

    void readTime(const toml::table& table, Step& step) {
        const toml::node* const at = table.get("at");
        const toml::node* const after = table.get("after");
        const toml::node* const wait = table.get("wait");
        if (at != nullptr && after != nullptr)
            m_reader.fail(after->source(), "a step is 'at' a time or 'after' an event, not both");
        if (at != nullptr && wait != nullptr)
            m_reader.fail(wait->source(), "a step is 'at' a time or has to 'wait', not both");
        if (after != nullptr) step.after = afterOf(*after);
        if (wait != nullptr) step.wait = seconds(*wait);
        m_earliest += step.wait;
        if (at == nullptr) return;
        step.at = seconds(*at);
        if (*step.at < m_earliest)
            m_reader.fail(at->source(), "never happens: the steps before it take until later");
        m_earliest = *step.at;
    }

    After afterOf(const toml::node& node) {
        const toml::table* const table = node.as_table();
        static constexpr char FORM[] =
            "'after' is { key, is }, { changes }, { client }, { registered }, { report }, { frames } or "
            "{ channel }";
        if (table == nullptr) m_reader.fail(node.source(), FORM);
        struct Word {
            std::string_view word;
            std::set<std::string_view> others;
            Condition (Parser::*read)(const toml::table& table, const toml::node& node);
        };
        static const std::vector<Word> words{
            {"key", {"is"}, &Parser::keyReaches},          {"changes", {}, &Parser::keyChanges},
            {"client", {}, &Parser::clientSubscribes},     {"registered", {}, &Parser::registers},
            {"report", {"application"}, &Parser::reports}, {"frames", {}, &Parser::frames},
            {"channel", {}, &Parser::channelChanges},
        };
        const auto found = std::find_if(words.begin(), words.end(),
                                        [&](const Word& word) { return table->get(word.word) != nullptr; });
        if (found == words.end()) m_reader.fail(node.source(), FORM);
        std::set<std::string_view> known{"within", found->word};
        known.insert(found->others.begin(), found->others.end());
        refuseUnknown(*table, known);
        After after{(this->*found->read)(*table, *table->get(found->word)), DEFAULT_EVENT_LIMIT};
        if (const toml::node* const within = table->get("within")) after.within = seconds(*within);
        return after;
    }

    Condition keyReaches(const toml::table& table, const toml::node& node) {
        const KeyDefinition& key = keyOf(node);
        return KeyReaches{key.name, valueOf(key, needed(table, "is"))};
    }
    Condition keyChanges(const toml::table&, const toml::node& node) {
        return KeyChanges{keyWithValue(node).name};
    }
    Condition clientSubscribes(const toml::table&, const toml::node& node) {
        return ClientSubscribes{keyOf(node).name};
    }
    Condition registers(const toml::table&, const toml::node& node) {
        return ApplicationRegisters{nonEmpty(node)};
    }
    Condition reports(const toml::table& table, const toml::node& node) {
        const toml::node* const application = table.get("application");
        return ApplicationReports{application != nullptr ? nonEmpty(*application) : std::string(),
                                  m_reader.integer(node)};
    }
    Condition frames(const toml::table&, const toml::node& node) {
        if (m_pictureIsOff) m_reader.fail(node.source(), "never happens: the video is off");
        return FramesArrive{static_cast<unsigned>(number(node, {1, INT_MAX}))};
    }
    Condition channelChanges(const toml::table&, const toml::node& node) {
        const std::string channel = channelText(node);
        if (channel == ANY_CHANNEL) return ChannelChanges{};
        refuseUnknownChannel(node, channel);
        return ChannelChanges{channel};
    }

    Action set(const toml::table& table, const toml::node& node) {
        const KeyDefinition& key = keyOf(node);
        return SetKey{key.name, valueOf(key, needed(table, "to"))};
    }
    Action source(const toml::table&, const toml::node& node) {
        refuseUnknownKey(node, keys::SOURCE);
        const std::vector<std::string>& sources = m_keys.at(keys::SOURCE).texts;
        return SetKey{keys::SOURCE, sources.empty() ? text(node) : oneOf(node, sources, "source")};
    }
    Action announce(const toml::table&, const toml::node& node) { return Announce{keyWithValue(node).name}; }
    Action selectChannel(const toml::table&, const toml::node& node) {
        refuseUnknownKey(node, keys::CHANNEL_LIST);
        const std::string channel = channelText(node);
        if (channel != "+1" && channel != "-1") refuseUnknownChannel(node, channel);
        return SelectChannel{channel};
    }
    Action setPlaying(const toml::table&, const toml::node& node) { return SetPlaying{flag(node)}; }
    Action invoke(const toml::table& table, const toml::node& node) {
        const KeyDefinition& key = keyOf(node);
        if (key.type != OBJECT_TYPE_ACTION)
            m_reader.fail(node.source(), "'" + key.name + "' is not an action");
        Invoke invoke{key.name, {}};
        if (const toml::node* const arguments = table.get("arguments"))
            invoke.arguments = m_reader.list<Argument>(*arguments, [this](const toml::node& element) {
                const toml::array* const pair = element.as_array();
                if (pair == nullptr || pair->size() != 2)
                    m_reader.fail(element.source(), "an argument is [position, \"value\"]");
                return Argument{0, static_cast<std::uint16_t>(number(*pair->get(0), {0, UINT16_MAX})),
                                text(*pair->get(1))};
            });
        return invoke;
    }
    Action notify(const toml::table& table, const toml::node& node) {
        const std::optional<Lifecycle> notification =
            findLifecycle(oneOf(node, lifecycleNames(), "notification"));
        Notify notify{{}, *notification, {}, {}, 0};
        if (const toml::node* const name = table.get("application")) notify.application = nonEmpty(*name);
        if (const toml::node* const url = table.get("url")) notify.url = text(*url);
        if (const toml::node* const parameter = table.get("text")) notify.text = text(*parameter);
        if (const toml::node* const value = table.get("number")) notify.number = m_reader.integer(*value);
        return notify;
    }
    Action power(const toml::table&, const toml::node& node) {
        const std::array<std::string_view, 2> words{SUSPEND, RESUME};
        return SetPower{oneOf(node, words, "power state") == SUSPEND};
    }
    Action video(const toml::table&, const toml::node& node) {
        ShowVideo video{videoOf(node)};
        m_pictureIsOff = video.video == "off";
        return video;
    }
    Action scene(const toml::table&, const toml::node& node) {
        if (text(node).empty()) return ShowScene{};
        return ShowScene{oneOf(node, pipeline::SCENE_NAMES, "scene")};
    }
    Action fault(const toml::table& table, const toml::node& node) {
        const FaultDefinition* const definition = findFault(oneOf(node, faultNames(), "fault"));
        SetFault fault{{}, definition->name, 0};
        const toml::node* const key = table.get("key");
        if (key != nullptr && !definition->ofKey)
            m_reader.fail(key->source(), "the fault '" + definition->name + "' does not belong to a key");
        if (definition->ofKey) fault.key = keyOf(needed(table, "key")).name;
        const toml::node& value = needed(table, "to");
        fault.value = definition->kind == FaultKind::FLAG
                          ? static_cast<long long>(flag(value))
                          : number(value, {definition->lowest, definition->highest});
        return fault;
    }
    Action clearFaults(const toml::table&, const toml::node& node) {
        if (!flag(node)) m_reader.fail(node.source(), "write clear_faults = true");
        return ClearFaults{};
    }
    Action expect(const toml::table& table, const toml::node& node) {
        const KeyDefinition& key = keyOf(node);
        Expect expect{key.name, valueOf(key, needed(table, "is")), {}};
        if (const toml::node* const within = table.get("within")) expect.within = seconds(*within);
        return expect;
    }

    void refuseUnknown(const toml::table& table, const std::set<std::string_view>& known) {
        for (const auto& [name, node] : table)
            if (const std::string word(name.str()); known.count(word) == 0)
                m_reader.fail(name.source(), '\'' + word + "' does not belong here; " + listed(known) +
                                                 " do" + hint(word, known));
    }

    const toml::node& needed(const toml::table& table, const char* name) {
        const toml::node* const node = table.get(name);
        if (node == nullptr) m_reader.fail(table.source(), std::string("'") + name + "' is missing");
        return *node;
    }

    std::string text(const toml::node& node) {
        std::string value = m_reader.string(node);
        // C functions would end the text at a NUL.
        if (value.find('\0') != std::string::npos)
            m_reader.fail(node.source(), "a text must not contain a NUL");
        return value;
    }

    std::string nonEmpty(const toml::node& node) {
        std::string value = text(node);
        if (value.empty()) m_reader.fail(node.source(), "must not be empty");
        return value;
    }

    bool flag(const toml::node& node) {
        const auto value = node.value_exact<bool>();
        if (!value) m_reader.fail(node.source(), "must be true or false");
        return *value;
    }

    long long number(const toml::node& node, const catalogue::Range& range) {
        const auto value = node.value_exact<std::int64_t>();
        if (!value || !range.contains(*value))
            m_reader.fail(node.source(), "must be a whole number from " + range.text());
        return *value;
    }

    milliseconds seconds(const toml::node& node) {
        const auto value = node.is_number() ? node.value<double>() : std::nullopt;
        // The comparison also refuses NaN.
        if (!value || !(*value >= 0 && *value <= LONGEST_SECONDS))
            m_reader.fail(node.source(), "must be a number of seconds, from 0 to a week");
        return milliseconds(std::llround(*value * static_cast<double>(MS_PER_SECOND)));
    }

    template <typename List>
    std::string oneOf(const toml::node& node, const List& names, const std::string& what) {
        std::string name = text(node);
        if (std::find(names.begin(), names.end(), name) == names.end())
            m_reader.fail(node.source(), '\'' + name + "' is not a " + what + ": it is one of " +
                                             listed(names) + hint(name, names));
        return name;
    }

    std::string videoOf(const toml::node& node) {
        std::string video = nonEmpty(node);
        if (video.find('\n') != std::string::npos)
            m_reader.fail(node.source(), "the name of a film is one line");
        if (video != "off" && video != "scenes") refuseUnplayable(node, video);
        return video;
    }

    // Opens each film once.
    void refuseUnplayable(const toml::node& node, const std::string& film) {
        if (m_playable.count(film) != 0) return;
        const bool isThere = ::access(film.c_str(), R_OK) == 0;
        const std::string problem = isThere ? VideoPipeline::problemWith(film)
                                            : "cannot play '" + film + "': " + std::strerror(errno);
        if (!problem.empty()) m_reader.fail(node.source(), problem);
        m_playable.insert(film);
    }

    std::string channelText(const toml::node& node) {
        return node.is_integer() ? std::to_string(*node.value<std::int64_t>()) : text(node);
    }

    void refuseUnknownChannel(const toml::node& node, const std::string& channel) {
        const auto list = m_keys.find(keys::CHANNEL_LIST);
        if (list != m_keys.end())
            for (const std::vector<std::string>& row : list->second.rows)
                if (!row.empty() && row.front() == channel) return;
        m_reader.fail(node.source(), "there is no channel " + channel);
    }

    void refuseUnknownKey(const toml::node& node, const std::string& name) {
        if (m_keys.count(name) != 0) return;
        std::vector<std::string> names;
        for (const auto& [known, key] : m_keys) names.push_back(known);
        m_reader.fail(node.source(), "the television has no key '" + name + "'" + hint(name, names));
    }

    const KeyDefinition& keyOf(const toml::node& node) {
        const std::string name = text(node);
        refuseUnknownKey(node, name);
        return m_keys.at(name);
    }

    const KeyDefinition& keyWithValue(const toml::node& node) {
        const KeyDefinition& key = keyOf(node);
        if (std::holds_alternative<std::monostate>(key.initial))
            m_reader.fail(node.source(), "an action or a table has no value");
        return key;
    }

    Value valueOf(const KeyDefinition& key, const toml::node& node) {
        const Value value = m_reader.value(node, key.type);
        if (const std::string taken = refusal(key, value); !taken.empty())
            m_reader.fail(node.source(), "'" + key.name + (key.range ? "' is " : "' takes ") + taken);
        return value;
    }

    const TomlReader& m_reader;
    std::map<std::string, KeyDefinition> m_keys;
    std::set<std::string> m_playable;
    bool m_pictureIsOff = false;
    milliseconds m_earliest{0};  // the earliest time at which the current step can begin
};

}  // namespace

void checkText(std::string_view text, const std::string& name) { TomlReader(name).parse(text); }

Scenario parseScenario(std::string_view text, const std::string& name,
                       const std::vector<KeyDefinition>& keys) {
    const TomlReader reader(name);
    const toml::table document = reader.parse(text);
    Scenario scenario = Parser(reader, keys).scenario(document);
    scenario.name = name;
    return scenario;
}

}  // namespace simulated
