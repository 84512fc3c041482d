#include "command.h"
#include "output.h"
#include "simulated_television.h"

namespace aipqctl {

namespace {

void listTelevisions(bool json) {
    const std::vector<std::string> names = runningTelevisions();
    if (json) return printJson({{"televisions", names}});
    for (const std::string& name : names) printLine(name);
}

}  // namespace

void addTvCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("tv", "List the running simulated televisions");
    command.callback([&context] { listTelevisions(context.json); });
    // An alias, for users who expect a subcommand.
    command.add_subcommand("list", "List them");
}

}  // namespace aipqctl
