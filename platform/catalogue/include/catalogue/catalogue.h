#ifndef CATALOGUE_CATALOGUE_H
#define CATALOGUE_CATALOGUE_H

#include <string>
#include <string_view>
#include <vector>

#include "catalogue/key_definition.h"

namespace catalogue {

// The keys that a catalogue's text lists. Throws std::runtime_error with `name`, line, column and what is
// wrong.
std::vector<KeyDefinition> parseCatalogue(std::string_view text, const std::string& name);

// The word of a catalogue for a type: "integer", "strings"; "none" for what no key has.
std::string typeName(lomodelapi::ObjectTypeSpec type);

// The built-in catalogue, or the one that AIPQ_TV_CATALOGUE names.
std::vector<KeyDefinition> loadCatalogue();

// What the key takes, if the value is none that it takes: "from 0 to 100", "27 numbers". Empty if it takes
// it.
std::string refusal(const KeyDefinition& definition, const Value& value);

}  // namespace catalogue

#endif
