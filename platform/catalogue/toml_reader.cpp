#include "toml_reader.h"

#include <limits>
#include <sstream>
#include <stdexcept>

using namespace lomodelapi;

namespace catalogue {

void TomlReader::fail(const toml::source_region& where, const std::string& what) const {
    std::ostringstream message;
    message << m_file << ':' << where.begin.line << ':' << where.begin.column << ": " << what;
    throw std::runtime_error(message.str());
}

toml::table TomlReader::parse(std::string_view text) const {
    try {
        return toml::parse(text, m_file);
    } catch (const toml::parse_error& error) {
        fail(error.source(), std::string(error.description()));
    }
}

long long TomlReader::number(const toml::node& node, const Range& range) const {
    const auto value = node.value_exact<std::int64_t>();
    if (!value || !range.contains(*value)) fail(node.source(), "no number of this type");
    return *value;
}

int TomlReader::integer(const toml::node& node) const { return static_cast<int>(number(node, INT_RANGE)); }

std::string TomlReader::string(const toml::node& node) const {
    const auto value = node.value_exact<std::string>();
    if (!value) fail(node.source(), "no text");
    return *value;
}

std::vector<std::string> TomlReader::strings(const toml::node& node) const {
    return list<std::string>(node, [this](const toml::node& element) { return string(element); });
}

Value TomlReader::value(const toml::node& node, ObjectTypeSpec type) const {
    switch (type) {
        case OBJECT_TYPE_NUMERIC_INTEGER:
            return integer(node);
        case OBJECT_TYPE_NUMERIC_INT64:
            return number(node, Range());
        case OBJECT_TYPE_STRING:
            return string(node);
        case OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return list<int>(node, [this](const toml::node& element) { return integer(element); });
        case OBJECT_TYPE_VECTOR_STRING:
            return strings(node);
        default:
            fail(node.source(), "an action or a table has no value");
    }
}

}  // namespace catalogue
