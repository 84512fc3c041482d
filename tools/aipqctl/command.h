// The commands of aipqctl. Each function adds one subcommand, whose callback executes it.
#ifndef AIPQCTL_COMMAND_H
#define AIPQCTL_COMMAND_H

#include <CLI/CLI.hpp>

#include "../support/exit_code.h"
#include "failure.h"

namespace aipqctl {

struct Context {
    bool json = false;
    int exitCode = EXIT_DONE;
};

// Prints the failure of one key of several, and sets the exit code. Throws it again if no television answers,
// because the other keys would fail, too.
void skipKey(const Failure& failure, Context& context);

// A callback that fails throws Failure (failure.h), or prints the reason on stderr and sets the exit code.
void addListCommand(CLI::App& app, Context& context);
void addGetCommand(CLI::App& app, Context& context);
void addSetCommand(CLI::App& app, Context& context);
void addSaveCommand(CLI::App& app, Context& context);
void addRestoreCommand(CLI::App& app, Context& context);
void addTvCommand(CLI::App& app, Context& context);
void addWatchCommand(CLI::App& app, Context& context);
void addInfoCommand(CLI::App& app, Context& context);
void addCaptureCommand(CLI::App& app, Context& context);
void addColorTunerCommand(CLI::App& app, Context& context);
void addPqCommand(CLI::App& app, Context& context);
void addSourceCommand(CLI::App& app, Context& context);
void addChannelCommand(CLI::App& app, Context& context);
void addPowerCommand(CLI::App& app, Context& context);
void addTableCommand(CLI::App& app, Context& context);
void addKeyCommand(CLI::App& app, Context& context);
void addDoctorCommand(CLI::App& app, Context& context);
// Hidden command for a shell's completion: prints the words that may replace the last given word.
void addCompleteCommand(CLI::App& app, Context& context);

}  // namespace aipqctl

#endif
