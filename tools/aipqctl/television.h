// The television as a whole: whether it is there, and whether it answers.
#ifndef AIPQCTL_TELEVISION_H
#define AIPQCTL_TELEVISION_H

#include <functional>
#include <string>

namespace aipqctl {

// Fails if no television answers. To be called before the library's classes are made: some of them cannot
// tell a television that is not there from a value of 0.
void requireTelevision();

// Runs a request that blocks for as long as the television does not answer, and gives its result; Failure
// after 10 s.
bool answered(std::function<bool()> request);

// Why no frame arrives, as a simulated television in a process of its own says; else a question.
std::string whyNoFrame();

}  // namespace aipqctl

#endif
