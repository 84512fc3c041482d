#ifndef AIPQCTL_RESOURCES_H
#define AIPQCTL_RESOURCES_H

#include <string>
#include <vector>

namespace aipqctl {

// What can be requested and released, and what can be paused and resumed.
std::vector<std::string> resourceNames();
std::vector<std::string> playbackNames();

// The channels of the television that runs, by name; none if it does not answer.
std::vector<std::string> channelNames();

}  // namespace aipqctl

#endif
