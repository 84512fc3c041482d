#include "program.h"

#include <csignal>
#include <cstdlib>

#include "command.h"
#include "failure.h"
#include "key_definitions.h"
#include "output.h"
#include "simulated_television.h"

namespace aipqctl {

namespace {

// The television that aipq-television starts if it is not told a name.
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

// What the platform reads when it is first used. On a real television the variables mean nothing.
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
    // A television of one's own shows a picture only to those who look at it.
    if (!needsPicture(program)) setenv("AIPQ_TV_VIDEO", "off", 0);
}

// The long options of a command, and of those above it.
std::vector<std::string> optionNames(const CLI::App* command) {
    std::vector<std::string> names;
    for (; command != nullptr; command = command->get_parent())
        for (const CLI::Option* const option : command->get_options())
            for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    return names;
}

// The first line that CLI11 has to say, and where to read on.
int reportWrongUse(const CLI::ParseError& error, const CLI::App& program) {
    std::string what = error.what();
    const CLI::App* command = &program;
    std::string path = program.get_name();
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        path += ' ' + command->get_name();
    }
    std::vector<std::string> names;
    for (const CLI::App* const below : command->get_subcommands({}))
        if (!below->get_group().empty()) names.push_back(below->get_name());
    std::string hint;
    for (const std::string& word : program.remaining(true)) {
        if (word.starts_with('-')) {
            what = "no option '" + word + "'";
            hint = suggestion(word.substr(0, word.find('=')), optionNames(command));
        } else {
            what = names.empty() ? "'" + word + "' is one word too many" : "no command '" + word + "'";
            hint = suggestion(word, names);
        }
        break;
    }
    if (hint.empty()) hint = ": '" + path + " --help' shows the usage";
    complain(what.substr(0, what.find('\n')) + hint);
    return EXIT_WRONG_USE;
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
    // GlobalOptions of the program may stand behind the command, too.
    program.fallthrough();
    program.require_subcommand(1);
    program.set_help_flag("-h,--help", "Print this help");
    program.set_version_flag("--version", "aipqctl " AIPQCTL_VERSION, "Print the version");
    program.add_flag("--json", context.json, "Print JSON, one object a line");
    program.add_option("--tv", options.television, "The simulated television to talk to")
        ->type_name("TELEVISION");
    program.add_flag("--embedded", options.embedded, "Use a short-lived simulated television of one's own");
    program.add_flag("-v,--verbose", options.verbose, "Show the platform's log");
    program.parse_complete_callback([&] {
        prepareEnvironment(options, program);
        // A bad file ends the program here, before the television reads it, too.
        catalogue();
    });
    program.get_formatter()->label("REQUIRED", "");
    addCommands(program, context);
    // Later, as commands would inherit it.
    program.footer("These options may stand behind a command, too. 'aipqctl COMMAND --help' shows its own.");

    try {
        program.parse(argc, argv);
        return context.exitCode;
    } catch (const CLI::Success& help) {
        return program.exit(help);
    } catch (const CLI::ParseError& error) {
        return reportWrongUse(error, program);
    }
}

}  // namespace

int run(int argc, char** argv) {
    // A reader that goes away is seen when writing to it. A handler rather than SIG_IGN, which the video
    // pipeline would inherit.
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
