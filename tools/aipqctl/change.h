// Changes of settings and keys that the command line requests.
#ifndef AIPQCTL_CHANGE_H
#define AIPQCTL_CHANGE_H

#include <string>
#include <vector>

#include "key_definitions.h"
#include "settings.h"

namespace aipqctl {

// A requested value: "60"; "+5" or "-5", relative to the current value; a name such as "smooth"; or the
// elements of a list.
struct Assignment {
    std::string name;  // a setting or a key
    std::vector<std::string> texts;
    int sign = 0;  // the sign of NAME+=5 or NAME-=5; 0 for NAME=5
};

// Parses "NAME VALUE..." or any number of "NAME=VALUE". Throws Failure (2) for anything else.
std::vector<Assignment> parseAssignments(const std::vector<std::string>& words);

// A setting or key, found by name. A setting is also found by its key.
struct Named {
    std::string name;
    const KeyDefinition* key;
    const Setting* setting;  // null for a key that is not a setting
};

// Throws Failure if the name is unknown, or if the key has no value.
Named findNamed(const std::string& name);
Value readNamed(const Named& named);

// Checks everything that does not depend on the television. Throws Failure if the name is unknown, or if the
// value does not fit its type or range; a relative value is not checked.
Named check(const Assignment& assignment);

struct ChangeOptions {
    bool wait = false;
    double timeout = 62;  // seconds; the library's workers wait for 60
    bool json = false;
};

// Checks all assignments, then makes all changes and prints a line for each. Settings change at the same
// time. Returns only after all values are reached, because the library changes a setting on a thread that
// ends with this program.
void change(const std::vector<Assignment>& assignments, const ChangeOptions& options);

}  // namespace aipqctl

#endif
