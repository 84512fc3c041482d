// A key of the television's model, and the values of keys.
#ifndef CATALOGUE_KEY_DEFINITION_H
#define CATALOGUE_KEY_DEFINITION_H

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "lomodelapi/object_type_spec.h"

namespace catalogue {

// The rows of a table, one text per column.
using Rows = std::vector<std::vector<std::string>>;

// A key's value; monostate for an object that has none (an action, a table).
using Value =
    std::variant<std::monostate, int, long long, std::string, std::vector<int>, std::vector<std::string>>;

// The numbers from the lowest to the highest.
struct Range {
    long long lowest = std::numeric_limits<long long>::min();
    long long highest = std::numeric_limits<long long>::max();

    bool contains(long long number) const { return number >= lowest && number <= highest; }
    // "0 to 100"
    std::string text() const { return std::to_string(lowest) + " to " + std::to_string(highest); }
};

// The range of an int.
inline constexpr Range INT_RANGE{std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};

struct KeyDefinition {
    std::string group;
    std::string name;
    lomodelapi::ObjectTypeSpec type = lomodelapi::OBJECT_TYPE_NONE;
    Value initial;
    std::optional<Range> range;
    std::string meaning;
    std::vector<std::string> columns = {};  // of a table
    Rows rows = {};
    std::vector<std::string> texts = {};     // allowed texts; empty if every text is allowed
    std::optional<std::size_t> length = {};  // of a list
};

}  // namespace catalogue

#endif
