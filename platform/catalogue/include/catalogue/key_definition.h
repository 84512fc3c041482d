// A key of the television's model, and the values that keys have.
#ifndef CATALOGUE_KEY_DEFINITION_H
#define CATALOGUE_KEY_DEFINITION_H

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "lomodelapi/object_type_spec.h"

namespace catalogue {

// The rows of a table, one text per column.
using Rows = std::vector<std::vector<std::string>>;

// A key's value; monostate for an object that has none (an action, a table).
using Value =
    std::variant<std::monostate, int, long long, std::string, std::vector<int>, std::vector<std::string>>;

struct KeyDefinition {
    std::string group;
    std::string name;
    lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
    Value initial;
    std::optional<std::pair<long long, long long>> range;
    std::string meaning;
    std::vector<std::string> columns = {};  // of a table
    Rows rows = {};
    std::vector<std::string> texts = {};     // that a text may be; empty for any
    std::optional<std::size_t> length = {};  // of a list
};

}  // namespace catalogue

#endif
