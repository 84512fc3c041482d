// The hint after a misspelt name.
#ifndef PLATFORM_CATALOGUE_SUGGESTION_H
#define PLATFORM_CATALOGUE_SUGGESTION_H

#include <string>
#include <vector>

namespace catalogue {

// Returns "; did you mean 'brightness'?" if one of `names` is similar, otherwise an empty text.
std::string suggestion(const std::string& word, const std::vector<std::string>& names);

}  // namespace catalogue

#endif
