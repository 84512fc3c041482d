#include "info.h"

#include <array>

#include "catalogue/keys.h"
#include "command.h"
#include "failure.h"
#include "key_access.h"
#include "key_definitions.h"
#include "television_presence.h"

namespace keys = catalogue::keys;

namespace aipqctl {

namespace {

const char* hdrName(VideoInfoHDRType type) {
    switch (type) {
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
        case VIDEO_INFO_HDR_TYPE_UNKNOWN:
            break;
    }
    return "unknown";
}

const char* playerName(PlayerState state) {
    switch (state) {
        case PLAYER_STATE_PLAYING:
            return "playing";
        case PLAYER_STATE_STOPPED:
            return "stopped";
        case PLAYER_STATE_UNKNOWN:
            break;
    }
    return "unknown";
}

struct Line {
    const char* entry;  // the member of the JSON object
    const char* words;
    const char* key;
    Json (*read)(SystemInfo&);
};

constexpr std::array<Line, 10> LINES{{
    {"source", "source", keys::SOURCE,
     [](SystemInfo& television) { return Json(sourceName(television.getSourceType())); }},
    {"player", "player", keys::VIDEO_FORMAT,
     [](SystemInfo& television) { return Json(playerName(television.getPlayerState())); }},
    {"hdrType", "HDR type", keys::HDR_TYPE,
     [](SystemInfo& television) { return Json(hdrName(television.getVideoInfoHDRType())); }},
    {"gameMode", "game mode", "dovra.sl2.i32.video.enum.instant.game.response",
     [](SystemInfo& television) { return Json(static_cast<int>(television.getVideoGameMode())); }},
    {"mediaStreamEncrypted", "media player's stream encrypted", "dovra.sl2.mpctrl.i32.media.stream.encrypted",
     [](SystemInfo& television) { return Json(television.getMediaStreamEncrypted()); }},
    {"tvStreamEncrypted", "TV stream encrypted", keys::PLAY_ATTRIBUTES,
     [](SystemInfo& television) { return Json(television.getTvStreamEncrypted()); }},
    {"aipqSupported", "AI picture quality supported", "dovra.sl2.i32.video.aipq.supported",
     [](SystemInfo& television) { return Json(television.getAIPQSupported()); }},
    {"aipqAvailable", "AI picture quality available now", "dovra.sl2.i32.video.ai.pq.available",
     [](SystemInfo& television) { return Json(television.getAIPQAvailable()); }},
    {"aipqSwitchAvailable", "user's switch can be operated", "dovra.sl2.i32.video.ai.pq.switch",
     [](SystemInfo& television) { return Json(television.getAIPQSwitchAvailable()); }},
    {"aipqSwitchOn", "user's switch on", "dovra.sl2.i32.video.aipq.user.switch.osd",
     [](SystemInfo& television) { return Json(television.getAIPQSwitchState()); }},
}};

void info(Context& context) {
    requireTelevision();
    SystemInfo television;
    Json object;
    for (const Line& line : LINES) {
        object[line.entry] = nullptr;
        try {
            // The library returns a default if it cannot read a key.
            const KeyDefinition& key = keyDefinition(line.key);
            KeyAccess(key.name, key.type).read();
            object[line.entry] = line.read(television);
        } catch (const Failure& failure) {
            skipKey(failure, context);
        }
        // Without a television, the library waits up to 1 s for each of the other keys.
        requireSameTelevision();
    }
    if (context.json) return printJson(object);

    std::vector<std::vector<std::string>> rows;
    for (const Line& line : LINES) {
        const Json& value = object.at(line.entry);
        if (value.is_null()) continue;
        rows.push_back({line.words, value.is_boolean()  ? value.get<bool>() ? "yes" : "no"
                                    : value.is_string() ? value.get<std::string>()
                                                        : value.dump()});
    }
    for (const std::string& line : aligned(rows)) printLine(line);
}

}  // namespace

const char* sourceName(SourceType type) {
    switch (type) {
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
        case SOURCE_TYPE_UNKNOWN:
            break;
    }
    return "unknown";
}

void addInfoCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("info", "Show the television's state");
    command.callback([&context] { info(context); });
}

}  // namespace aipqctl
