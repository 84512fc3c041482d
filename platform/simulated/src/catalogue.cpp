#include "catalogue.h"

#include <toml++/toml.h>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>
#include <stdexcept>

#include "catalogue_text.h"

using namespace lomodelapi;

namespace simulated {

namespace {

[[noreturn]] void fail(const std::string& file, const toml::source_region& where, const std::string& what) {
    std::ostringstream message;
    message << file << ':' << where.begin.line << ':' << where.begin.column << ": " << what;
    throw std::runtime_error(message.str());
}

class Parser {
  public:
    explicit Parser(std::string file) : m_file(std::move(file)) {}

    KeyDefinition key(const toml::table& table) {
        KeyDefinition key;
        if (const auto group = table["group"].value<std::string>()) m_group = *group;
        key.group = m_group;
        key.name = text(table, "name");
        key.meaning = text(table, "meaning");
        if (!m_names.insert(key.name).second)
            fail(m_file, table.source(), "key '" + key.name + "' stands twice");
        readType(table, key);
        readRange(table, key);
        readRows(table, key);
        for (const auto& [name, node] : table) {
            static const std::set<std::string_view> known{"group", "name",    "type",    "default",
                                                          "range", "meaning", "columns", "rows"};
            if (known.count(name.str()) == 0)
                fail(m_file, name.source(), "unknown entry '" + std::string(name.str()) + "'");
        }
        return key;
    }

  private:
    std::string text(const toml::table& table, const char* name) {
        const toml::node* const node = table.get(name);
        if (node == nullptr) fail(m_file, table.source(), std::string("a key without '") + name + "'");
        const auto value = node->value_exact<std::string>();
        if (!value) fail(m_file, node->source(), std::string("'") + name + "' is no text");
        return *value;
    }

    long long number(const toml::node& node, long long lowest, long long highest) {
        const auto value = node.value_exact<std::int64_t>();
        if (!value || *value < lowest || *value > highest)
            fail(m_file, node.source(), "no number of this type");
        return *value;
    }

    int integer(const toml::node& node) {
        return static_cast<int>(
            number(node, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
    }

    template <typename T, typename Read>
    std::vector<T> list(const toml::node& node, Read read) {
        const toml::array* const array = node.as_array();
        if (array == nullptr) fail(m_file, node.source(), "no list");
        std::vector<T> values;
        for (const toml::node& element : *array) values.push_back(read(element));
        return values;
    }

    std::string string(const toml::node& node) {
        const auto value = node.value_exact<std::string>();
        if (!value) fail(m_file, node.source(), "no text");
        return *value;
    }

    void readType(const toml::table& table, KeyDefinition& key) {
        const std::string type = text(table, "type");
        const toml::node* const initial = table.get("default");
        if (type == "action" || type == "table") {
            if (initial != nullptr) fail(m_file, initial->source(), "the type '" + type + "' has no default");
            key.type = type == "action" ? OBJECT_TYPE_ACTION : OBJECT_TYPE_TABLE;
            return;
        }
        if (initial == nullptr) fail(m_file, table.source(), "a key without 'default'");
        if (type == "integer") {
            key.type = OBJECT_TYPE_NUMERIC_INTEGER;
            key.initial = integer(*initial);
        } else if (type == "int64") {
            key.type = OBJECT_TYPE_NUMERIC_INT64;
            key.initial = number(*initial, std::numeric_limits<long long>::min(),
                                 std::numeric_limits<long long>::max());
        } else if (type == "string") {
            key.type = OBJECT_TYPE_STRING;
            key.initial = string(*initial);
        } else if (type == "integers") {
            key.type = OBJECT_TYPE_VECTOR_NUMERIC_INTEGER;
            key.initial = list<int>(*initial, [this](const toml::node& node) { return integer(node); });
        } else if (type == "strings") {
            key.type = OBJECT_TYPE_VECTOR_STRING;
            key.initial =
                list<std::string>(*initial, [this](const toml::node& node) { return string(node); });
        } else {
            fail(m_file, table.get("type")->source(), "unknown type '" + type + "'");
        }
    }

    std::vector<std::string> texts(const toml::node& node) {
        return list<std::string>(node, [this](const toml::node& element) { return string(element); });
    }

    void readRows(const toml::table& table, KeyDefinition& key) {
        const toml::node* const columns = table.get("columns");
        const toml::node* const rows = table.get("rows");
        for (const toml::node* const node : {columns, rows})
            if (node != nullptr && key.type != OBJECT_TYPE_TABLE)
                fail(m_file, node->source(), "only a table has these");
        if (key.type != OBJECT_TYPE_TABLE) return;
        if (columns == nullptr || rows == nullptr)
            fail(m_file, table.source(), "a table without 'columns' and 'rows'");
        key.columns = texts(*columns);
        key.rows = list<std::vector<std::string>>(*rows, [&](const toml::node& row) {
            std::vector<std::string> cells = texts(row);
            if (cells.size() != key.columns.size()) fail(m_file, row.source(), "not one text per column");
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
            fail(m_file, node->source(), "'range' is [lowest, highest] of a number");
        constexpr auto any = std::numeric_limits<long long>();
        key.range.emplace(number(*range->get(0), any.min(), any.max()),
                          number(*range->get(1), any.min(), any.max()));
        const long long initial = key.type == OBJECT_TYPE_NUMERIC_INTEGER ? std::get<int>(key.initial)
                                                                          : std::get<long long>(key.initial);
        if (initial < key.range->first || initial > key.range->second)
            fail(m_file, node->source(), "the default is out of this range");
    }

    const std::string m_file;
    std::string m_group;
    std::set<std::string> m_names;
};

}  // namespace

std::vector<KeyDefinition> parseCatalogue(std::string_view text, const std::string& name) {
    toml::table document;
    try {
        document = toml::parse(text, name);
    } catch (const toml::parse_error& error) {
        fail(name, error.source(), std::string(error.description()));
    }
    const toml::array* const keys = document["key"].as_array();
    if (keys == nullptr) throw std::runtime_error(name + ":1:1: no [[key]] in it");

    Parser parser(name);
    std::vector<KeyDefinition> definitions;
    for (const toml::node& key : *keys) {
        if (!key.is_table()) fail(name, key.source(), "'key' is no table");
        definitions.push_back(parser.key(*key.as_table()));
    }
    return definitions;
}

std::vector<KeyDefinition> loadCatalogue() {
    const char* const path = std::getenv("AIPQ_TV_CATALOGUE");
    if (path == nullptr || *path == '\0') return parseCatalogue(CATALOGUE_TEXT, "catalogue.toml");
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(std::string(path) + ": cannot be read");
    std::ostringstream text;
    text << file.rdbuf();
    return parseCatalogue(text.str(), path);
}

}  // namespace simulated
