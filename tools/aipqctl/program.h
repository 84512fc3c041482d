#ifndef AIPQCTL_PROGRAM_H
#define AIPQCTL_PROGRAM_H

namespace aipqctl {

// Runs the whole program; returns its exit code.
int run(int argc, char** argv);

}  // namespace aipqctl

#endif
