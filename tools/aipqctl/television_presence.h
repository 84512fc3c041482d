// The television as a whole: whether it is there, and whether it answers.
#ifndef AIPQCTL_TELEVISION_PRESENCE_H
#define AIPQCTL_TELEVISION_PRESENCE_H

#include <functional>
#include <string>

namespace aipqctl {

// Identifies the run of the television that answers now; empty if none does.
std::string answeringRun();

// Fails (7) if no television answers. To be called before the library's classes are made: some of them cannot
// distinguish a missing television from a value of 0.
void requireTelevision();

// Fails (7) if the television has left since the first requireTelevision(), even if it has returned: what was
// read in between may be no value, and what was refused may not have been refused by it.
void requireSameTelevision();

// Runs a request that blocks for as long as the television does not answer, and gives its result; Failure
// after 10 s, and if the television has left.
bool answered(std::function<bool()> request);

// Why no frame arrives, as a simulated television in a process of its own says; else a question.
std::string whyNoFrame();

}  // namespace aipqctl

#endif
