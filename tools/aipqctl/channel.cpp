#include <algorithm>
#include <functional>
#include <memory>

#include "catalogue/keys.h"
#include "command.h"
#include "failure.h"
#include "key_definitions.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "resources.h"
#include "simulated_television.h"
#include "table_reader.h"
#include "television_presence.h"

namespace aipqctl {

namespace {

using Access = SourceSwitchAccess;

using catalogue::keys::CHANNEL_LIST;

class Channels {
  public:
    Channels() {
        m_columns = keyDefinition(CHANNEL_LIST).columns;
        m_rows = readTable(CHANNEL_LIST, m_columns.size());
    }

    const std::vector<std::string>& columns() const { return m_columns; }
    const Rows& rows() const { return m_rows; }

    // Returns a cell of a row; empty if there is no such column.
    std::string cell(const std::vector<std::string>& row, const std::string& column) const {
        const auto found = std::find(m_columns.begin(), m_columns.end(), column);
        const auto index = static_cast<std::size_t>(found - m_columns.begin());
        return index < row.size() ? row[index] : "";
    }

    Json describe(const std::vector<std::string>& row) const {
        Json channel = Json::object();
        for (const std::string& column : m_columns) channel[column] = cell(row, column);
        return channel;
    }

    // Finds a channel by number or by name.
    const std::vector<std::string>& find(const std::string& wanted) const {
        for (const char* const column : {"number", "name"}) {
            const auto isWanted = [&](const auto& row) { return cell(row, column) == wanted; };
            const auto found = std::find_if(m_rows.begin(), m_rows.end(), isWanted);
            if (found == m_rows.end()) continue;
            if (std::find_if(found + 1, m_rows.end(), isWanted) != m_rows.end())
                throw Failure(EXIT_UNKNOWN, "several channels have the " + std::string(column) + " '" +
                                                wanted +
                                                "': choose one of 'aipqctl channel list' with 'channel uri'");
            return *found;
        }
        std::vector<std::string> names;
        for (const auto& row : m_rows) names.push_back(cell(row, "name"));
        const std::string hint = suggestion(wanted, names);
        throw Failure(EXIT_UNKNOWN, "no channel '" + wanted + "'" +
                                        (hint.empty() ? ": 'aipqctl channel list' shows all" : hint));
    }

  private:
    std::vector<std::string> m_columns;
    Rows m_rows;
};

void listChannels(bool json) {
    const Channels channels;
    if (json) {
        Json all = Json::array();
        for (const auto& row : channels.rows()) all.push_back(channels.describe(row));
        return printJson({{"channels", all}});
    }
    Rows rows = channels.rows();
    rows.insert(rows.begin(), channels.columns());
    for (const std::string& line : aligned(rows)) printLine(line);
}

// `target` names the channel if the operation has one.
void change(const std::string& operation, const Json& target, const std::function<bool(Access&)>& perform,
            bool json) {
    requireTelevision();
    const std::string what =
        "channel " + operation + (target.is_string() ? " " + target.get<std::string>() : "");
    Access& access = *SourceSwitchAccessImpl::GetInstance();
    if (!answered([&access, perform] { return perform(access); }))
        throw Failure(EXIT_REFUSED, "the television refuses " + what + ": -v shows the platform's log");
    if (!json) return printLine(what + ": done");
    Json object{{"operation", operation}};
    if (!target.is_null()) object["target"] = target;
    object["done"] = true;
    printJson(object);
}

struct ChannelRequest {
    std::string target;
    std::string folder;
    bool force = false;
};

}  // namespace

std::vector<std::string> channelNames() {
    std::vector<std::string> names;
    try {
        // Completion must not start a television.
        if (!televisionRun()) return names;
        const Channels channels;
        for (const auto& row : channels.rows()) names.push_back(channels.cell(row, "name"));
    } catch (const Failure&) {
        // Completion cannot report errors.
    }
    return names;
}

void addChannelCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("channel", "List and change channels");
    command.callback([&command, &context] {
        if (command.get_subcommands().empty()) listChannels(context.json);
    });
    command.add_subcommand("list", "Show the television's channels")->callback([&context] {
        listChannels(context.json);
    });
    command.add_subcommand("next", "Go to the next channel")->callback([&context] {
        change(
            "next", nullptr, [](Access& access) { return access.setChannelNext(); }, context.json);
    });
    command.add_subcommand("prev", "Go to the previous channel")->callback([&context] {
        change(
            "prev", nullptr, [](Access& access) { return access.setChannelPrev(); }, context.json);
    });

    const auto request = std::make_shared<ChannelRequest>();
    const auto addForce = [&](CLI::App& operation) -> CLI::App& {
        operation.add_flag("--force", request->force,
                           "request picture and sound even if the television suppresses them");
        return operation;
    };

    CLI::App& to = addForce(*command.add_subcommand("to", "Go to a channel of the list"));
    to.add_option("CHANNEL", request->target, "its number or its name")->type_name("")->required();
    to.callback([request, &context] {
        const Channels channels;
        const auto& row = channels.find(request->target);
        const std::string uuid = channels.cell(row, "uuid");
        const std::string folder = channels.cell(row, "folder");
        change(
            "to", request->target,
            [uuid, folder, force = request->force](Access& access) {
                return access.setChannelByUUIDs(uuid, folder, force);
            },
            context.json);
    });

    CLI::App& uri = addForce(*command.add_subcommand("uri", "Go to a channel by its URI"));
    uri.add_option("URI", request->target, "its URI in the list")->type_name("")->required();
    uri.callback([request, &context] {
        change(
            "uri", request->target,
            [request](Access& access) { return access.setChannelByURI(request->target, request->force); },
            context.json);
    });

    CLI::App& uuid = addForce(*command.add_subcommand("uuid", "Go to a channel by its UUIDs"));
    uuid.add_option("UUID", request->target, "the channel's UUID in the list")->type_name("")->required();
    uuid.add_option("FOLDER", request->folder, "its folder's UUID in the list")->type_name("")->required();
    uuid.callback([request, &context] {
        change(
            "uuid", request->target,
            [request](Access& access) {
                return access.setChannelByUUIDs(request->target, request->folder, request->force);
            },
            context.json);
    });
}

}  // namespace aipqctl
