// Checks of numbers on a command line, shared by all programs. They add no text to the help.
#ifndef TOOLS_SUPPORT_VALIDATORS_H
#define TOOLS_SUPPORT_VALIDATORS_H

#include <CLI/CLI.hpp>
#include <charconv>
#include <string>

// A number within the limits. Unlike CLI::Range, it rejects a text that is not a number (nan).
template <typename Number>
CLI::Validator isNumber(Number least, Number most) {
    return {[least, most](const std::string& text) -> std::string {
                Number number{};
                const char* const end = text.data() + text.size();
                const auto [stop, error] = std::from_chars(text.data(), end, number);
                if (error == std::errc() && stop == end && number >= least && number <= most) return "";
                return "takes " + CLI::detail::to_string(least) + " to " + CLI::detail::to_string(most) +
                       ", not " + text;
            },
            ""};
}

inline CLI::Validator isDuration() { return isNumber(0.001, 1e7); }
inline CLI::Validator isCount() { return isNumber(1U, 1000000000U); }
inline CLI::Validator isRate() { return isNumber(0.001, 1e3); }

#endif
