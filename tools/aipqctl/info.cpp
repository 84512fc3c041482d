#include "info.h"

#include <array>

#include "command.h"
#include "output.h"
#include "television.h"

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

void info(bool json) {
    requireTelevision();
    SystemInfo television;
    const Json object{
        {"source", sourceName(television.getSourceType())},
        {"player", playerName(television.getPlayerState())},
        {"hdrType", hdrName(television.getVideoInfoHDRType())},
        {"gameMode", static_cast<int>(television.getVideoGameMode())},
        {"mediaStreamEncrypted", television.getMediaStreamEncrypted()},
        {"tvStreamEncrypted", television.getTvStreamEncrypted()},
        {"aipqSupported", television.getAIPQSupported()},
        {"aipqAvailable", television.getAIPQAvailable()},
        {"aipqSwitchAvailable", television.getAIPQSwitchAvailable()},
        {"aipqSwitchOn", television.getAIPQSwitchState()},
    };
    if (json) return printJson(object);

    struct Line {
        const char* entry;
        const char* words;
    };
    constexpr std::array<Line, 10> lines{{
        {"source", "source"},
        {"player", "player"},
        {"hdrType", "HDR type"},
        {"gameMode", "game mode"},
        {"mediaStreamEncrypted", "media player's stream encrypted"},
        {"tvStreamEncrypted", "TV stream encrypted"},
        {"aipqSupported", "AI picture quality supported"},
        {"aipqAvailable", "AI picture quality available now"},
        {"aipqSwitchAvailable", "user's switch can be operated"},
        {"aipqSwitchOn", "user's switch on"},
    }};
    std::vector<std::vector<std::string>> rows;
    for (const Line& line : lines) {
        const Json& value = object.at(line.entry);
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
    command.callback([&context] { info(context.json); });
}

}  // namespace aipqctl
