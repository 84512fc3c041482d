#include "catalogue/catalogue.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <set>
#include <stdexcept>

#include "catalogue/text_file.h"
#include "catalogue_text.h"
#include "toml_reader.h"

using namespace lomodelapi;

namespace catalogue {

namespace {

struct TypeName {
    const char* name;
    ObjectTypeSpec type;
};

constexpr std::array<TypeName, 7> TYPES{{
    {"integer", OBJECT_TYPE_NUMERIC_INTEGER},
    {"int64", OBJECT_TYPE_NUMERIC_INT64},
    {"string", OBJECT_TYPE_STRING},
    {"integers", OBJECT_TYPE_VECTOR_NUMERIC_INTEGER},
    {"strings", OBJECT_TYPE_VECTOR_STRING},
    {"action", OBJECT_TYPE_ACTION},
    {"table", OBJECT_TYPE_TABLE},
}};

class Parser {
  public:
    explicit Parser(const TomlReader& reader) : m_reader(reader) {}

    KeyDefinition key(const toml::table& table) {
        KeyDefinition key;
        if (const auto group = table["group"].value<std::string>()) m_group = *group;
        key.group = m_group;
        key.name = text(table, "name");
        key.meaning = text(table, "meaning");
        if (!m_names.insert(key.name).second)
            m_reader.fail(table.source(), "key '" + key.name + "' stands twice");
        readType(table, key);
        readRange(table, key);
        readTexts(table, key);
        readLength(table, key);
        readRows(table, key);
        for (const auto& [name, node] : table) {
            static const std::set<std::string_view> known{"group",   "name",    "type", "default", "range",
                                                          "meaning", "columns", "rows", "texts",   "length"};
            if (known.count(name.str()) == 0)
                m_reader.fail(name.source(), "unknown entry '" + std::string(name.str()) + "'");
        }
        return key;
    }

  private:
    std::string text(const toml::table& table, const char* name) {
        const toml::node* const node = table.get(name);
        if (node == nullptr) m_reader.fail(table.source(), std::string("a key without '") + name + "'");
        const auto value = node->value_exact<std::string>();
        if (!value) m_reader.fail(node->source(), std::string("'") + name + "' is not a text");
        return *value;
    }

    void readType(const toml::table& table, KeyDefinition& key) {
        const std::string type = text(table, "type");
        const toml::node* const initial = table.get("default");
        const auto* const known =
            std::find_if(TYPES.begin(), TYPES.end(), [&](const TypeName& row) { return type == row.name; });
        const bool hasValue = type != "action" && type != "table";
        if (hasValue && initial == nullptr) m_reader.fail(table.source(), "a key without 'default'");
        if (known == TYPES.end()) m_reader.fail(table.get("type")->source(), "unknown type '" + type + "'");
        if (!hasValue && initial != nullptr)
            m_reader.fail(initial->source(), "the type '" + type + "' has no default");
        key.type = known->type;
        if (hasValue) key.initial = m_reader.value(*initial, key.type);
    }

    void readRows(const toml::table& table, KeyDefinition& key) {
        const toml::node* const columns = table.get("columns");
        const toml::node* const rows = table.get("rows");
        for (const toml::node* const node : {columns, rows})
            if (node != nullptr && key.type != OBJECT_TYPE_TABLE)
                m_reader.fail(node->source(), "only a table has these");
        if (key.type != OBJECT_TYPE_TABLE) return;
        if (columns == nullptr || rows == nullptr)
            m_reader.fail(table.source(), "a table without 'columns' and 'rows'");
        key.columns = m_reader.strings(*columns);
        key.rows = m_reader.list<std::vector<std::string>>(*rows, [&](const toml::node& row) {
            std::vector<std::string> cells = m_reader.strings(row);
            if (cells.size() != key.columns.size()) m_reader.fail(row.source(), "not one text per column");
            return cells;
        });
    }

    void readRange(const toml::table& table, KeyDefinition& key) {
        const toml::node* const node = table.get("range");
        if (node == nullptr) return;
        const toml::array* const range = node->as_array();
        const bool isNumber =
            key.type == OBJECT_TYPE_NUMERIC_INTEGER || key.type == OBJECT_TYPE_NUMERIC_INT64;
        if (!isNumber || range == nullptr || range->size() != 2)
            m_reader.fail(node->source(), "'range' is [lowest, highest] of a number");
        key.range = Range{m_reader.number(*range->get(0), Range()), m_reader.number(*range->get(1), Range())};
        if (!refusal(key, key.initial).empty())
            m_reader.fail(node->source(), "the default is out of this range");
    }

    void readTexts(const toml::table& table, KeyDefinition& key) {
        const toml::node* const node = table.get("texts");
        if (node == nullptr) return;
        if (key.type != OBJECT_TYPE_STRING) m_reader.fail(node->source(), "only a string has 'texts'");
        key.texts = m_reader.strings(*node);
        if (key.texts.empty()) m_reader.fail(node->source(), "'texts' without a text");
        refuseDefault(*node, key);
    }

    void readLength(const toml::table& table, KeyDefinition& key) {
        const toml::node* const node = table.get("length");
        if (node == nullptr) return;
        if (key.type != OBJECT_TYPE_VECTOR_NUMERIC_INTEGER && key.type != OBJECT_TYPE_VECTOR_STRING)
            m_reader.fail(node->source(), "only a list has a 'length'");
        key.length = static_cast<std::size_t>(m_reader.number(*node, {0, INT_RANGE.highest}));
        refuseDefault(*node, key);
    }

    void refuseDefault(const toml::node& node, const KeyDefinition& key) {
        const std::string taken = refusal(key, key.initial);
        if (!taken.empty()) m_reader.fail(node.source(), "the default is not " + taken);
    }

    const TomlReader& m_reader;
    std::string m_group;
    std::set<std::string> m_names;
};

}  // namespace

std::vector<KeyDefinition> parseCatalogue(std::string_view text, const std::string& name) {
    const TomlReader reader(name);
    const toml::table document = reader.parse(text);
    const toml::array* const keys = document["key"].as_array();
    if (keys == nullptr) throw std::runtime_error(name + ":1:1: no [[key]] in it");

    Parser parser(reader);
    std::vector<KeyDefinition> definitions;
    for (const toml::node& key : *keys) {
        if (!key.is_table()) reader.fail(key.source(), "'key' is not a table");
        definitions.push_back(parser.key(*key.as_table()));
    }
    return definitions;
}

std::string refusal(const KeyDefinition& definition, const Value& value) {
    if (definition.range) {
        const long long number =
            std::holds_alternative<int>(value) ? std::get<int>(value) : std::get<long long>(value);
        if (!definition.range->contains(number)) return "from " + definition.range->text();
    }
    const std::vector<std::string>& texts = definition.texts;
    if (!texts.empty() &&
        std::find(texts.begin(), texts.end(), std::get<std::string>(value)) == texts.end()) {
        std::string names;
        for (const std::string& text : texts) names.append(names.empty() ? "" : ", ").append(text);
        return "one of " + names;
    }
    if (definition.length) {
        const auto* const numbers = std::get_if<std::vector<int>>(&value);
        const std::size_t length =
            numbers != nullptr ? numbers->size() : std::get<std::vector<std::string>>(value).size();
        if (length != *definition.length)
            return std::to_string(*definition.length) + (numbers != nullptr ? " numbers" : " texts");
    }
    return {};
}

std::string typeName(ObjectTypeSpec type) {
    for (const TypeName& row : TYPES)
        if (row.type == type) return row.name;
    return "none";
}

std::vector<KeyDefinition> loadCatalogue() {
    const char* const path = std::getenv("AIPQ_TV_CATALOGUE");
    if (path == nullptr || *path == '\0') return parseCatalogue(CATALOGUE_TEXT, "catalogue.toml");
    return parseCatalogue(readTextFile(path), path);
}

}  // namespace catalogue
