#include <array>
#include <functional>
#include <memory>

#include "catalogue/keys.h"
#include "command.h"
#include "failure.h"
#include "info.h"
#include "key_access.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "resources.h"
#include "television_presence.h"

namespace aipqctl {

namespace {

using Access = SourceSwitchAccess;

struct Resources {
    const char* name;
    Access::_ResourceType type;
};
constexpr std::array<Resources, 5> RESOURCES{{
    {"video", Access::RESOURCE_VIDEO},
    {"av", Access::RESOURCE_AV},
    {"psi", Access::RESOURCE_PSI},
    {"video-psi", Access::RESOURCE_VIDEO_PSI},
    {"psi-av", Access::RESOURCE_PSI_AV},
}};

struct Playback {
    const char* name;
    bool (Access::*pause)();
    bool (Access::*resume)();
};
constexpr std::array<Playback, 3> PLAYBACK{{
    {"video", &Access::pauseVideo, &Access::resumeVideo},
    {"av", &Access::pauseAV, &Access::resumeAV},
    {"psi", &Access::pausePSI, &Access::resumePSI},
}};

template <typename Rows>
std::vector<std::string> names(const Rows& rows) {
    std::vector<std::string> all;
    for (const auto& row : rows) all.emplace_back(row.name);
    return all;
}

template <typename Rows>
const auto& find(const Rows& rows, const std::string& name) {
    std::string all;
    for (const auto& row : rows) {
        if (row.name == name) return row;
        all += (all.empty() ? "" : ", ") + std::string(row.name);
    }
    const std::string hint = suggestion(name, names(rows));
    throw Failure(EXIT_UNKNOWN, "no resources '" + name + "'" + (hint.empty() ? ": one of " + all : hint));
}

void showSource(bool json) {
    requireTelevision();
    const char* const name = sourceName(SystemInfo().getSourceType());
    const Value path = KeyAccess(catalogue::keys::SOURCE, lomodelapi::OBJECT_TYPE_STRING).read();
    requireSameTelevision();
    if (json) return printJson({{"source", name}, {"path", toJson(path)}});
    for (const std::string& line : aligned({{"source", name}, {"path", toText(path)}})) printLine(line);
}

void request(const std::string& operation, const std::string& resources,
             const std::function<bool(Access&)>& perform, bool json) {
    requireTelevision();
    Access& access = *SourceSwitchAccessImpl::GetInstance();
    if (!answered([&access, perform] { return perform(access); }))
        throw Failure(EXIT_REFUSED, "the television refuses to " + operation + ' ' + resources +
                                        ": -v shows the platform's log");
    if (json) return printJson({{"operation", operation}, {"resources", resources}, {"done", true}});
    printLine(operation + ' ' + resources + ": done");
}

CLI::App& addOperation(CLI::App& parent, const char* name, const char* what, const char* positional,
                       const std::vector<std::string>& choice,
                       const std::shared_ptr<std::string>& resources) {
    CLI::App& operation = *parent.add_subcommand(name, what);
    operation.add_option(positional, *resources, CLI::detail::join(choice, ", "))->type_name("")->required();
    return operation;
}

}  // namespace

std::vector<std::string> resourceNames() { return names(RESOURCES); }
std::vector<std::string> playbackNames() { return names(PLAYBACK); }

void addSourceCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("source", "Show the source; request and release its resources");
    command.callback([&command, &context] {
        if (command.get_subcommands().empty()) showSource(context.json);
    });
    command.add_subcommand("get", "Show the current source")->callback([&context] {
        showSource(context.json);
    });

    const auto name = std::make_shared<std::string>();
    addOperation(command, "request", "Request resources from the television's own playback", "RESOURCES",
                 resourceNames(), name)
        .callback([name, &context] {
            const auto type = find(RESOURCES, *name).type;
            request(
                "request", *name, [type](Access& access) { return access.requestResourceFromSystem(type); },
                context.json);
        });
    addOperation(command, "release", "Release resources", "RESOURCES", resourceNames(), name)
        .callback([name, &context] {
            const auto type = find(RESOURCES, *name).type;
            request(
                "release", *name, [type](Access& access) { return access.releaseResourceToSystem(type); },
                context.json);
        });
    addOperation(command, "pause", "Stop playback", "PLAYBACK", playbackNames(), name)
        .callback([name, &context] {
            const auto operation = find(PLAYBACK, *name).pause;
            request(
                "pause", *name, [operation](Access& access) { return (access.*operation)(); }, context.json);
        });
    addOperation(command, "resume", "Restart playback", "PLAYBACK", playbackNames(), name)
        .callback([name, &context] {
            const auto operation = find(PLAYBACK, *name).resume;
            request(
                "resume", *name, [operation](Access& access) { return (access.*operation)(); }, context.json);
        });
}

}  // namespace aipqctl
