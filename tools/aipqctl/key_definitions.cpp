#include "key_definitions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "failure.h"

using namespace lomodelapi;

namespace aipqctl {

namespace {

struct ValueType {
    ObjectTypeSpec type;
    const char* what;  // the name of one such value in a sentence
};

constexpr std::array<ValueType, 5> VALUE_TYPES{{
    {OBJECT_TYPE_NUMERIC_INTEGER, "a whole number"},
    {OBJECT_TYPE_NUMERIC_INT64, "a whole number"},
    {OBJECT_TYPE_STRING, "one text"},
    {OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, "a list of whole numbers"},
    {OBJECT_TYPE_VECTOR_STRING, "a list of texts"},
}};

const ValueType* find(ObjectTypeSpec type) {
    const auto* const row = std::find_if(VALUE_TYPES.begin(), VALUE_TYPES.end(),
                                         [&](const ValueType& candidate) { return candidate.type == type; });
    return row != VALUE_TYPES.end() ? row : nullptr;
}

bool hasValue(ObjectTypeSpec type) { return find(type) != nullptr; }

[[noreturn]] void failType(const std::string& name, ObjectTypeSpec type, const std::string& text) {
    throw Failure(EXIT_WRONG_TYPE, name + " takes " + find(type)->what + ", not '" + text + "'");
}

long long parseNumber(const std::string& name, const KeyDefinition& key, const std::string& text) {
    const catalogue::Range range =
        key.range.value_or(key.type == OBJECT_TYPE_NUMERIC_INT64 ? catalogue::Range() : catalogue::INT_RANGE);

    long long number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (stop != end || error == std::errc::invalid_argument) failType(name, key.type, text);
    if (error == std::errc::result_out_of_range || !range.contains(number))
        throw Failure(EXIT_OUT_OF_RANGE, name + " takes " + range.text() + ", not " + text);
    return number;
}

}  // namespace

const std::vector<KeyDefinition>& catalogue() {
    static const std::vector<KeyDefinition> keys = [] {
        try {
            return catalogue::loadCatalogue();
        } catch (const std::runtime_error& error) {
            throw Failure(EXIT_BAD_FILE, error.what());
        }
    }();
    return keys;
}

const KeyDefinition* findKey(const std::string& name) {
    const auto& keys = catalogue();
    const auto found =
        std::find_if(keys.begin(), keys.end(), [&](const KeyDefinition& key) { return key.name == name; });
    return found != keys.end() ? &*found : nullptr;
}

const KeyDefinition& keyDefinition(const std::string& name) {
    if (const KeyDefinition* const key = findKey(name)) return *key;
    throw Failure(EXIT_UNKNOWN, "the catalogue has no key '" + name + "'");
}

std::vector<std::string> keyNames(Keys which) {
    std::vector<std::string> names;
    for (const KeyDefinition& key : catalogue())
        if (which == Keys::ALL || (which == Keys::VALUES && hasValue(key.type)) ||
            (which == Keys::TABLES && key.type == OBJECT_TYPE_TABLE))
            names.push_back(key.name);
    return names;
}

std::vector<std::string> valueTypeNames() {
    std::vector<std::string> names;
    for (const ValueType& row : VALUE_TYPES) names.emplace_back(typeName(row.type));
    return names;
}

ObjectTypeSpec valueType(const std::string& name) {
    for (const ValueType& row : VALUE_TYPES)
        if (typeName(row.type) == name) return row.type;
    const std::string hint = suggestion(name, valueTypeNames());
    throw Failure(EXIT_UNKNOWN, "no type '" + name + "'" +
                                    (hint.empty() ? ": integer, int64, string, integers or strings" : hint));
}

std::string rangeText(const KeyDefinition& key) {
    return key.range ? std::to_string(key.range->lowest) + ".." + std::to_string(key.range->highest) : "";
}

Value parseValue(const std::string& name, const KeyDefinition& key, const std::vector<std::string>& texts) {
    if (key.type == OBJECT_TYPE_VECTOR_STRING) return texts;
    if (key.type == OBJECT_TYPE_VECTOR_NUMERIC_INTEGER) {
        std::vector<int> numbers;
        for (const std::string& text : texts)
            numbers.push_back(static_cast<int>(parseNumber(name, key, text)));
        return numbers;
    }
    if (texts.size() != 1) {
        std::string all;
        for (const std::string& text : texts) all += (all.empty() ? "" : " ") + text;
        failType(name, key.type, all);
    }
    if (key.type == OBJECT_TYPE_STRING) return texts.front();
    const long long number = parseNumber(name, key, texts.front());
    if (key.type == OBJECT_TYPE_NUMERIC_INT64) return number;
    return static_cast<int>(number);
}

int parseInteger(const std::string& name, const KeyDefinition& key, const std::string& text) {
    return std::get<int>(parseValue(name, key, {text}));
}

Json toJson(const Value& value) {
    return std::visit(
        [](const auto& content) -> Json {
            if constexpr (std::is_same_v<std::decay_t<decltype(content)>, std::monostate>) {
                return nullptr;
            } else {
                return content;
            }
        },
        value);
}

std::string toText(const Value& value) {
    if (const auto* const text = std::get_if<std::string>(&value)) return *text;
    return toJson(value).dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace aipqctl
