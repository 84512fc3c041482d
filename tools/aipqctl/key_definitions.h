// The catalogue's definitions of keys, and the text form of values.
#ifndef AIPQCTL_KEY_DEFINITIONS_H
#define AIPQCTL_KEY_DEFINITIONS_H

#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "catalogue/suggestion.h"
#include "output.h"

namespace aipqctl {

using catalogue::KeyDefinition;
using catalogue::typeName;
using catalogue::Value;

// Returns all keys. Throws Failure if the file named by AIPQ_TV_CATALOGUE is malformed.
const std::vector<KeyDefinition>& catalogue();
// Returns null if the catalogue has no such key.
const KeyDefinition* findKey(const std::string& name);
// Throws Failure if the catalogue has no such key.
const KeyDefinition& keyDefinition(const std::string& name);

enum class Keys { ALL, VALUES, TABLES };
std::vector<std::string> keyNames(Keys which);

// The names of the types that have values, and the type with a given name. Throws Failure for an unknown
// name.
std::vector<std::string> valueTypeNames();
lomodelapi::ObjectTypeSpec valueType(const std::string& name);
// Returns "0..100", or an empty text without a range.
std::string rangeText(const KeyDefinition& key);

// Converts `texts` to a value. Throws Failure, which calls the key `name`, if they do not fit its type or
// range.
Value parseValue(const std::string& name, const KeyDefinition& key, const std::vector<std::string>& texts);
int parseInteger(const std::string& name, const KeyDefinition& key, const std::string& text);

Json toJson(const Value& value);
std::string toText(const Value& value);

using catalogue::suggestion;

}  // namespace aipqctl

#endif
