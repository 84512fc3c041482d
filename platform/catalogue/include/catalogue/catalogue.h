#ifndef CATALOGUE_CATALOGUE_H
#define CATALOGUE_CATALOGUE_H

#include <string>
#include <string_view>
#include <vector>

#include "catalogue/key_definition.h"

namespace catalogue {

// Returns the keys that a catalogue's text lists. Throws std::runtime_error with `name`, the line, the column
// and the error.
std::vector<KeyDefinition> parseCatalogue(std::string_view text, const std::string& name);

// The name of a type in a catalogue, such as "integer" or "strings"; "none" for a type that no key has.
std::string typeName(lomodelapi::ObjectTypeSpec type);

// The built-in catalogue, or the one that AIPQ_TV_CATALOGUE names.
std::vector<KeyDefinition> loadCatalogue();

// Returns the values that the key accepts, such as "from 0 to 100" or "27 numbers", if it does not accept
// `value`. Returns an empty text if it does.
std::string refusal(const KeyDefinition& definition, const Value& value);

}  // namespace catalogue

#endif
