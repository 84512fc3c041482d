#include "simulated/source_switch.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "catalogue/keys.h"
#include "simulated/television.h"

using lomodelapi::Argument;

namespace keys = catalogue::keys;

namespace simulated {

namespace {

constexpr char FORMAT_PLAYING[] = "1920x1080p@50";

// The commands. The command is the argument at position 1.
constexpr char REQUEST_RESOURCE[] = "2";
constexpr char RELEASE_RESOURCE[] = "3";
constexpr char CHANGE_CHANNEL[] = "8";
constexpr char CHANGE_PLAYBACK[] = "11";

// Columns of the channel list.
enum Column : std::size_t { NUMBER, NAME, URI, UUID, FOLDER, HDR, ENCRYPTED, PICTURE, COLUMNS };

// The values of all arguments at a position, in order: a position may occur more than once.
std::vector<std::string> at(const std::vector<Argument>& arguments, unsigned position) {
    std::vector<std::string> values;
    for (const Argument& argument : arguments)
        if (argument.position == position) values.push_back(argument.value);
    return values;
}

std::string first(const std::vector<Argument>& arguments, unsigned position) {
    const std::vector<std::string> values = at(arguments, position);
    return values.empty() ? std::string() : values.front();
}

// Parses a set of resources; 0 for an invalid text.
int resources(const std::string& text) {
    int set = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), set);
    const bool isSet = error == std::errc() && end == text.data() + text.size() && set > 0 && set <= 7;
    return isSet ? set : 0;
}

// Returns the row after this one for "+1", the row before it for "-1", cyclically; the number of rows for
// other texts.
std::size_t neighbour(const Rows& rows, std::size_t row, const std::string& step) {
    if (rows.empty()) return 0;
    if (step == "+1") return (row + 1) % rows.size();
    if (step == "-1") return (row + rows.size() - 1) % rows.size();
    return rows.size();
}

}  // namespace

SourceSwitch::SourceSwitch(Model& model, VideoPipeline& video, Events& events)
    : m_model(model), m_video(video), m_events(events) {
    reset();
}

bool SourceSwitch::selectChannel(const std::string& number) {
    const std::lock_guard lock(m_mutex);
    const Rows rows = m_model.rows(keys::CHANNEL_LIST);
    std::size_t channel = neighbour(rows, m_channel, number);
    for (std::size_t i = 0; channel == rows.size() && i < rows.size(); ++i)
        if (rows[i].size() >= COLUMNS && rows[i][NUMBER] == number) channel = i;
    if (channel == rows.size() || rows[channel].size() < COLUMNS) return false;
    tune(rows, channel, false);
    return true;
}

void SourceSwitch::setPlaying(bool playing) {
    const std::lock_guard lock(m_mutex);
    play(playing);
}

std::size_t SourceSwitch::channel() const {
    const std::lock_guard lock(m_mutex);
    return m_channel;
}

std::string SourceSwitch::channelNumber() const {
    const std::lock_guard lock(m_mutex);
    const Rows rows = m_model.rows(keys::CHANNEL_LIST);
    return m_channel < rows.size() && rows[m_channel].size() >= COLUMNS ? rows[m_channel][NUMBER]
                                                                        : std::string();
}

int SourceSwitch::takenResources() const {
    const std::lock_guard lock(m_mutex);
    return m_takenResources;
}

bool SourceSwitch::playing() const {
    const std::lock_guard lock(m_mutex);
    return m_playing;
}

void SourceSwitch::reset() {
    const std::vector<KeyDefinition> keys = m_model.keys();
    const auto isAction = [](const KeyDefinition& key) { return key.name == keys::SWITCH_ACTION; };
    if (std::any_of(keys.begin(), keys.end(), isAction))
        m_model.setAction(keys::SWITCH_ACTION, [this](const std::vector<Argument>& arguments) {
            try {
                return perform(arguments);
            } catch (const std::out_of_range&) {
                // The catalogue may lack keys that a channel change sets.
                return Answer{ERROR_UNKNOWN_CHANNEL, {}};
            }
        });
    const std::lock_guard lock(m_mutex);
    if (std::exchange(m_channel, 0) != 0) {
        const Rows rows = m_model.rows(keys::CHANNEL_LIST);
        if (!rows.empty() && rows.front().size() >= COLUMNS)
            m_events.publish(SelectChannel{rows.front()[NUMBER]});
    }
    m_takenResources = 0;
    if (!std::exchange(m_playing, true)) m_events.publish(SetPlaying{true});
    m_video.showProgramme("");
    m_video.pause(false);
}

Answer SourceSwitch::perform(const std::vector<Argument>& arguments) {
    const std::lock_guard lock(m_mutex);
    const std::string command = first(arguments, 1);
    if (command == CHANGE_CHANNEL) return changeChannel(arguments);

    const int set = resources(first(arguments, 3));
    if (set == 0) return {ERROR_UNKNOWN_COMMAND, {}};
    if (command == REQUEST_RESOURCE) {
        m_takenResources |= set;
    } else if (command == RELEASE_RESOURCE) {
        m_takenResources &= ~set;
    } else if (command == CHANGE_PLAYBACK) {
        // The same command stops and restarts playback.
        play(!m_playing);
    } else {
        return {ERROR_UNKNOWN_COMMAND, {}};
    }
    return {};
}

Answer SourceSwitch::changeChannel(const std::vector<Argument>& arguments) {
    const Rows rows = m_model.rows(keys::CHANNEL_LIST);
    if (rows.empty()) return {ERROR_UNKNOWN_CHANNEL, {}};
    const std::string target = first(arguments, 3);
    const std::vector<std::string> folder = at(arguments, 4);
    const std::vector<std::string> flags = at(arguments, 5);

    std::size_t channel = rows.size();
    if (folder.empty()) {
        channel = neighbour(rows, m_channel, target);
    } else {
        const auto isTarget = [&](const std::vector<std::string>& row) {
            if (row.size() < COLUMNS || target.empty()) return false;
            return row[URI] == target || (row[UUID] == target && row[FOLDER] == folder.front());
        };
        channel = static_cast<std::size_t>(std::find_if(rows.begin(), rows.end(), isTarget) - rows.begin());
    }
    if (channel >= rows.size() || rows[channel].size() < COLUMNS) return {ERROR_UNKNOWN_CHANNEL, {}};
    tune(rows, channel, flags.size() > 1 && flags.back() == "1");
    return {0, {{0, 0, rows[channel][URI]}, {0, 1, rows[channel][NAME]}}};
}

void SourceSwitch::tune(const Rows& rows, std::size_t channel, bool forceShowAV) {
    m_channel = channel;
    {
        const Events::Consequences scope;
        show(rows[channel], forceShowAV);
    }
    m_events.publish(SelectChannel{rows[channel][NUMBER]});
}

void SourceSwitch::play(bool playing) {
    m_playing = playing;
    m_video.pause(!playing);
    {
        const Events::Consequences scope;
        m_model.set(keys::VIDEO_FORMAT, currentFormat());
    }
    m_events.publish(SetPlaying{playing});
}

void SourceSwitch::show(const std::vector<std::string>& row, bool forceShowAV) {
    m_playing = true;
    m_model.set(keys::SOURCE, std::string("TV"));
    m_model.set(keys::PLAY_ATTRIBUTES,
                std::vector<std::string>{"play", row[NUMBER], row[NAME], row[URI], row[UUID], row[FOLDER],
                                         row[HDR], forceShowAV ? "1" : "0", row[ENCRYPTED], "0"});
    setHdrType();
    m_model.set(keys::VIDEO_FORMAT, currentFormat());
    m_video.showProgramme(row[PICTURE]);
    m_video.pause(false);
}

std::string SourceSwitch::format() const {
    const std::lock_guard lock(m_mutex);
    return currentFormat();
}

std::string SourceSwitch::currentFormat() const {
    if (!m_playing) return {};
    const std::optional<Film> film = m_video.film();
    return film ? film->format : FORMAT_PLAYING;
}

void SourceSwitch::setHdrType() {
    if (const std::optional<Film> film = m_video.film()) {
        m_model.set(keys::HDR_TYPE, film->hdrType);
        return;
    }
    const Rows rows = m_model.rows(keys::CHANNEL_LIST);
    if (m_channel < rows.size() && rows[m_channel].size() >= COLUMNS)
        m_model.set(keys::HDR_TYPE, rows[m_channel][HDR]);
}

void SourceSwitch::describeVideo() {
    const std::lock_guard lock(m_mutex);
    setHdrType();
    m_model.set(keys::VIDEO_FORMAT, currentFormat());
}

}  // namespace simulated
