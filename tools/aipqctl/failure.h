#ifndef AIPQCTL_FAILURE_H
#define AIPQCTL_FAILURE_H

#include <stdexcept>
#include <string>

#include "../support/exit_code.h"

namespace aipqctl {

// The exit code after Ctrl-C, as in shells.
constexpr int EXIT_CUT_SHORT = 130;

// An error that ends the program: one line that says what is wrong and what to do, and an exit code.
class Failure : public std::runtime_error {
  public:
    Failure(int exitCode, const std::string& line) : std::runtime_error(line), m_exitCode(exitCode) {}
    int exitCode() const { return m_exitCode; }

  private:
    int m_exitCode;
};

}  // namespace aipqctl

#endif
