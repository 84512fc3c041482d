// What the catalogue says about keys, and values as people write and read them.
#ifndef AIPQCTL_KEY_DEFINITIONS_H
#define AIPQCTL_KEY_DEFINITIONS_H

#include <string>
#include <vector>

#include "catalogue/catalogue.h"
#include "output.h"

namespace aipqctl {

using catalogue::KeyDefinition;
using catalogue::typeName;
using catalogue::Value;

// All keys. Failure if the file that AIPQ_TV_CATALOGUE names is bad.
const std::vector<KeyDefinition>& catalogue();
// Null for a key that is not listed.
const KeyDefinition* findKey(const std::string& name);
// Failure if it is not listed.
const KeyDefinition& keyDefinition(const std::string& name);

enum class Keys { ALL, VALUES, TABLES };
std::vector<std::string> keyNames(Keys which);

// The types that have values, and the type of such a name; Failure for another name.
std::vector<std::string> valueTypeNames();
lomodelapi::ObjectTypeSpec valueType(const std::string& name);
// "0..100", or nothing.
std::string rangeText(const KeyDefinition& key);

// The value that `texts` stand for; Failure, which speaks of the key as `name`, if they do not fit its type
// or its range.
Value parseValue(const std::string& name, const KeyDefinition& key, const std::vector<std::string>& texts);
int parseInteger(const std::string& name, const KeyDefinition& key, const std::string& text);

Json toJson(const Value& value);
std::string toText(const Value& value);

// "; did you mean 'brightness'?" if one of `names` is near, else nothing.
std::string suggestion(const std::string& word, const std::vector<std::string>& names);

}  // namespace aipqctl

#endif
