#ifndef AIPQCTL_RESOURCES_H
#define AIPQCTL_RESOURCES_H

#include <string>
#include <vector>

namespace aipqctl {

// The names of the resources for request and release, and of those for pause and resume.
std::vector<std::string> resourceNames();
std::vector<std::string> playbackNames();

// The channel names of the running television; empty if it does not answer.
std::vector<std::string> channelNames();

}  // namespace aipqctl

#endif
