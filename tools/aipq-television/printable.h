#ifndef AIPQ_TELEVISION_PRINTABLE_H
#define AIPQ_TELEVISION_PRINTABLE_H

#include <string>
#include <vector>

namespace television {

// Replaces bytes that are not UTF-8, because a D-Bus string must be UTF-8.
std::string printable(const std::string& text);
std::vector<std::string> printable(const std::vector<std::string>& texts);
std::vector<std::vector<std::string>> printable(const std::vector<std::vector<std::string>>& rows);

}  // namespace television

#endif
