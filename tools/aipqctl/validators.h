#ifndef AIPQCTL_VALIDATORS_H
#define AIPQCTL_VALIDATORS_H

#include <CLI/CLI.hpp>

namespace aipqctl {

// Of an option's number; they say nothing in the help.
inline CLI::Validator isDuration() { return CLI::Range(0.001, 1e7).description(""); }
inline CLI::Validator isCount() { return CLI::Range(1U, 1000000000U).description(""); }

}  // namespace aipqctl

#endif
