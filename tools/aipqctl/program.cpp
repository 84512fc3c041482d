#include "program.h"

#include <csignal>
#include <cstdlib>
#include <sstream>

#include "command.h"
#include "failure.h"
#include "key_definitions.h"
#include "output.h"
#include "simulated_television.h"
#include "wrong_use.h"

namespace aipqctl {

namespace {

// The default name of the television that aipq-television starts.
constexpr char DEFAULT_TELEVISION[] = "living-room";

struct GlobalOptions {
    std::string television;
    bool embedded = false;
    bool verbose = false;
};

bool needsPicture(const CLI::App& program) {
    for (const CLI::App* const command : program.get_subcommands())
        if (command->get_name() == "capture" || command->get_name() == "doctor") return true;
    return false;
}

// Sets the variables that the platform reads when it is first used. A real television ignores them.
void prepareEnvironment(const GlobalOptions& options, const CLI::App& program) {
    if (options.embedded && !options.television.empty())
        throw Failure(EXIT_WRONG_USE, "either --tv or --embedded, not both");
    if (options.embedded) {
        setenv("AIPQ_TV", "embedded", 1);
    } else if (!options.television.empty()) {
        setenv("AIPQ_TV", options.television.c_str(), 1);
    } else {
        setenv("AIPQ_TV", DEFAULT_TELEVISION, 0);
    }
    requireTelevisionName();
    setenv("AIPQ_TV_LOG", options.verbose ? "info" : "off", options.verbose ? 1 : 0);
    // An embedded television runs its video pipeline only for commands that use the picture.
    if (!needsPicture(program)) setenv("AIPQ_TV_VIDEO", "off", 0);
}

void addCommands(CLI::App& program, Context& context) {
    addInfoCommand(program, context);
    addListCommand(program, context);
    addGetCommand(program, context);
    addSetCommand(program, context);
    addSaveCommand(program, context);
    addRestoreCommand(program, context);
    addWatchCommand(program, context);
    addCaptureCommand(program, context);
    addColorTunerCommand(program, context);
    addPqCommand(program, context);
    addSourceCommand(program, context);
    addChannelCommand(program, context);
    addPowerCommand(program, context);
    addTableCommand(program, context);
    addKeyCommand(program, context);
    addDoctorCommand(program, context);
    addTvCommand(program, context);
    addCompleteCommand(program, context);
}

int runCommand(int argc, char** argv) {
    CLI::App program("Reads and changes a television through its picture-quality library.", "aipqctl");
    Context context;
    GlobalOptions options;
    // The program's global options may also follow the command.
    program.fallthrough();
    program.require_subcommand(1);
    program.set_help_flag("-h,--help", "Print this help");
    program.set_version_flag("--version", "aipqctl " AIPQCTL_VERSION, "Print the version");
    program.add_flag("--json", context.json, "Print JSON, one object a line");
    program.add_option("--tv", options.television, "The simulated television to use")
        ->type_name("TELEVISION");
    program.add_flag("--embedded", options.embedded, "Start a private simulated television for this command");
    program.add_flag("-v,--verbose", options.verbose, "Show the platform's log");
    program.parse_complete_callback([&] {
        prepareEnvironment(options, program);
        // Report a malformed catalogue here, before the television reads it.
        catalogue();
    });
    program.get_formatter()->label("REQUIRED", "");
    addCommands(program, context);
    // Set the footer last: the commands would inherit it.
    program.footer("These options may also follow the command. 'aipqctl COMMAND --help' shows its own.");

    try {
        program.parse(argc, argv);
        return context.exitCode;
    } catch (const CLI::Success& help) {
        std::ostringstream text;
        const int code = program.exit(help, text, text);
        print(text.str());
        return code;
    } catch (const CLI::ParseError& error) {
        complain(wrongUse(error, program));
        return EXIT_WRONG_USE;
    }
}

}  // namespace

void skipKey(const Failure& failure, Context& context) {
    if (failure.exitCode() == EXIT_NO_TELEVISION) throw Failure(failure);
    complain(failure.what());
    context.exitCode = failure.exitCode();
}

int run(int argc, char** argv) {
    // Writing detects a closed pipe. A handler, not SIG_IGN: the video pipeline would inherit SIG_IGN.
    std::signal(SIGPIPE, [](int) {});
    occupyStandardStreams();
    try {
        return runCommand(argc, argv);
    } catch (const OutputClosed&) {
        return EXIT_DONE;
    } catch (const Failure& failure) {
        complain(failure.what());
        return failure.exitCode();
    } catch (const std::exception& error) {
        complain(error.what());
        return EXIT_REFUSED;
    }
}

}  // namespace aipqctl
