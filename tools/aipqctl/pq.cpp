#include <memory>

#include "command.h"
#include "failure.h"
#include "key_access.h"
#include "settings.h"
#include "television_presence.h"

namespace aipqctl {

namespace {

// The number of parameters of the library's call. The library passes fewer to the television, in another
// order.
constexpr std::size_t PARAMETERS = 34;

void showParameters(bool json) {
    const Value value =
        KeyAccess(catalogue::keys::PQ_SETTING, lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER).read();
    if (json) return printJson({{"values", toJson(value)}});
    printLine(toText(value));
}

void set(const std::vector<std::string>& texts, bool json) {
    auto parameters =
        std::get<std::vector<int>>(parseValue("pq", keyDefinition(catalogue::keys::PQ_SETTING), texts));
    if (parameters.size() != PARAMETERS)
        throw Failure(EXIT_WRONG_USE, "pq takes " + std::to_string(PARAMETERS) + " numbers, not " +
                                          std::to_string(parameters.size()));
    if (systemSetting().setVideoPQParameters(parameters) != 0) {
        requireSameTelevision();
        throw Failure(EXIT_REFUSED, "the PQ parameters cannot be written: -v shows the platform's log");
    }
    showParameters(json);
}

}  // namespace

void addPqCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("pq", "Show or set the PQ parameters");
    command.callback([&command, &context] {
        if (command.get_subcommands().empty()) showParameters(context.json);
    });
    command.add_subcommand("get", "Show the television's current parameters")->callback([&context] {
        showParameters(context.json);
    });
    CLI::App& setter = *command.add_subcommand(
        "set", "Set the parameters, which the library puts in the television's order");
    const auto texts = std::make_shared<std::vector<std::string>>();
    setter.add_option("NUMBER", *texts, "the 34 parameters")->type_name("")->required()->delimiter(',');
    setter.callback([texts, &context] { set(*texts, context.json); });
}

}  // namespace aipqctl
