// Checks whether a television is present and answers.
#ifndef AIPQCTL_TELEVISION_PRESENCE_H
#define AIPQCTL_TELEVISION_PRESENCE_H

#include <functional>
#include <string>

namespace aipqctl {

// Identifies the run of the television that answers now; empty if no television answers.
std::string answeringRun();

// Fails (7) if no television answers. Call it before creating objects of the library: some of them cannot
// distinguish a missing television from the value 0.
void requireTelevision();

// Fails (7) if the television has left since the first requireTelevision(), even if it has returned. In that
// case, a value that was read may be a default, and a failed request may not have reached the television.
void requireSameTelevision();

// Runs a request that blocks while the television does not answer. Returns its result. Throws Failure after
// 10 s, and if the television has left.
bool answered(std::function<bool()> request);

// Returns why no frame arrives, as reported by a simulated television in another process; otherwise a
// question.
std::string whyNoFrame();

}  // namespace aipqctl

#endif
