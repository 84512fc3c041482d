#include "television_watch.h"

namespace {

std::string toText(SourceType type) {
    switch (type) {
        case SOURCE_TYPE_UNKNOWN:
            return "unknown";
        case SOURCE_TYPE_TV:
            return "TV";
        case SOURCE_TYPE_HDMI:
            return "HDMI";
        case SOURCE_TYPE_AVS:
            return "AVS";
        case SOURCE_TYPE_MEDIA_PLAYER:
            return "media player";
        case SOURCE_TYPE_MIRACAST:
            return "Miracast";
        case SOURCE_TYPE_YOUTUBE:
            return "YouTube";
        case SOURCE_TYPE_NETFLIX:
            return "Netflix";
        case SOURCE_TYPE_AMAZON:
            return "Amazon";
        case SOURCE_TYPE_BROWSER:
            return "browser";
    }
    return "number " + std::to_string(static_cast<int>(type));
}

std::string toText(VideoInfoHDRType type) {
    switch (type) {
        case VIDEO_INFO_HDR_TYPE_UNKNOWN:
            return "unknown";
        case VIDEO_INFO_HDR_TYPE_SDR:
            return "SDR";
        case VIDEO_INFO_HDR_TYPE_HDR10:
            return "HDR10";
        case VIDEO_INFO_HDR_TYPE_HLG:
            return "HLG";
        case VIDEO_INFO_HDR_TYPE_DOLBY_VISION:
            return "Dolby Vision";
        case VIDEO_INFO_HDR_TYPE_HDR10_PLUS:
            return "HDR10+";
    }
    return "number " + std::to_string(static_cast<int>(type));
}

std::string toText(PlayerState state) {
    switch (state) {
        case PLAYER_STATE_UNKNOWN:
            return "unknown";
        case PLAYER_STATE_PLAYING:
            return "playing";
        case PLAYER_STATE_STOPPED:
            return "stopped";
    }
    return "number " + std::to_string(static_cast<int>(state));
}

std::string toText(TVPowerState state) {
    switch (state) {
        case TV_POWER_STATE_RUNNING:
            return "running";
        case TV_POWER_STATE_SUSPEND:
            return "suspended";
        case TV_POWER_STATE_SUSPEND_EX:
            return "suspended (extended)";
        case TV_POWER_STATE_RESUME:
            return "resumed";
        case TV_POWER_STATE_RESUME_EX:
            return "resumed (extended)";
        case TV_POWER_STATE_STR_SUSPENDING:
            return "suspending to RAM";
        case TV_POWER_STATE_STR_SUSPEND:
            return "suspended to RAM";
        case TV_POWER_STATE_STR_RESUME:
            return "resumed from RAM";
        case TV_POWER_STATE_STR_RESUMING:
            return "resuming from RAM";
    }
    return "number " + std::to_string(static_cast<int>(state));
}

bool isAsleep(TVPowerState state) {
    return state == TV_POWER_STATE_SUSPEND || state == TV_POWER_STATE_SUSPEND_EX ||
           state == TV_POWER_STATE_STR_SUSPENDING || state == TV_POWER_STATE_STR_SUSPEND;
}

}  // namespace

TelevisionWatch::TelevisionWatch(Timeline& timeline) : m_timeline(timeline), m_state("picture_service") {
    // The power state is notified, but cannot be read. A service that is started has power.
    onPowerState(TV_POWER_STATE_RUNNING, this);
    m_state.registerCallBackTVPowerState(onPowerState, this);

    // Register the callbacks first: a change after reading the values would otherwise be missed.
    m_info.registerCallBackSourceType(onSourceType, this);
    m_info.registerCallBackVideoInfoHDRType(onHDRType, this);
    m_info.registerCallBackPlayerState(onPlayerState, this);
    onSourceType(m_info.getSourceType(), this);
    onHDRType(m_info.getVideoInfoHDRType(), this);
    onPlayerState(m_info.getPlayerState(), this);
}

std::string TelevisionWatch::playing() {
    std::string format;
    if (m_format.getValue(format) != 0 || format.empty()) format = "unknown";
    return "source " + toText(m_source.last().value_or(SOURCE_TYPE_UNKNOWN)) + ", format " + format +
           ", HDR type " + toText(m_hdrType.last().value_or(VIDEO_INFO_HDR_TYPE_UNKNOWN));
}

void TelevisionWatch::onSourceType(SourceType type, void* userData) {
    auto& self = *static_cast<TelevisionWatch*>(userData);
    if (self.m_source.changesTo(type)) self.m_timeline.print("source: " + toText(type));
}

void TelevisionWatch::onHDRType(VideoInfoHDRType type, void* userData) {
    auto& self = *static_cast<TelevisionWatch*>(userData);
    if (self.m_hdrType.changesTo(type)) self.m_timeline.print("HDR type: " + toText(type));
}

void TelevisionWatch::onPlayerState(PlayerState state, void* userData) {
    auto& self = *static_cast<TelevisionWatch*>(userData);
    if (self.m_player.changesTo(state)) self.m_timeline.print("player: " + toText(state));
}

void TelevisionWatch::onPowerState(TVPowerState state, void* userData) {
    auto& self = *static_cast<TelevisionWatch*>(userData);
    self.m_asleep = isAsleep(state);
    if (self.m_power.changesTo(state)) self.m_timeline.print("power: " + toText(state));
}
