#include "arguments.h"

#include <charconv>
#include <cstdlib>
#include <string>

#include "message.h"

void parseArguments(CLI::App& arguments, int argc, char** argv) {
    constexpr int wrongUse = 2;
    try {
        arguments.parse(argc, argv);
    } catch (const CLI::Success& help) {
        std::exit(arguments.exit(help));
    } catch (const CLI::ParseError& error) {
        const std::string problem = error.what();
        const std::string program = argv[0];
        complain(program.substr(program.rfind('/') + 1), problem.substr(0, problem.find('\n')));
        std::exit(wrongUse);
    }
}

CLI::Validator isSeconds() {
    constexpr double day = 86400;
    return {[](const std::string& text) -> std::string {
                double number = 0;
                const char* const end = text.data() + text.size();
                const auto [stop, error] = std::from_chars(text.data(), end, number);
                const bool fits = error == std::errc() && stop == end && number >= 1 && number <= day;
                return fits ? "" : "takes 1 to 86400, not " + text;
            },
            ""};
}
