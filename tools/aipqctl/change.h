// Changes of settings and keys, as the command line gives them.
#ifndef AIPQCTL_CHANGE_H
#define AIPQCTL_CHANGE_H

#include <string>
#include <vector>

#include "key_definitions.h"
#include "settings.h"

namespace aipqctl {

// A wanted value: "60"; "+5" and "-5" relative to the current one; a name such as "smooth"; the elements of a
// list.
struct Assignment {
    std::string name;  // a setting or a key
    std::vector<std::string> texts;
    int sign = 0;  // of a number that is added, for NAME+=5 and NAME-=5
};

// From "NAME VALUE..." or from any number of "NAME=VALUE". Failure (2) if it is neither.
std::vector<Assignment> parseAssignments(const std::vector<std::string>& words);

// A setting or a key by its name; a setting is also found by its key.
struct Named {
    std::string name;
    const KeyDefinition* key;
    const Setting* setting;  // null for a key that is no setting
};

// Failure if there is no such name, or if the key has no value.
Named findNamed(const std::string& name);
Value readNamed(const Named& named);

struct ChangeOptions {
    bool wait = false;
    double timeout = 62;  // the library's workers wait for a minute
    bool json = false;
};

// Checks everything, then changes everything, settings all at the same time, and prints a line for each.
// Returns only when the television has arrived: the library changes a setting on a thread that ends with this
// program.
void change(const std::vector<Assignment>& assignments, const ChangeOptions& options);

}  // namespace aipqctl

#endif
