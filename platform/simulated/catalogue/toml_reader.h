// Reads typed values from TOML, and refuses what does not fit with file, line and column.
#ifndef CATALOGUE_TOML_READER_H
#define CATALOGUE_TOML_READER_H

// Some of its assertions are about the text that it parses, which may be anything; it refuses such a text a
// little later.
#define TOML_ASSERT(condition) static_cast<void>(0)
#include <toml++/toml.h>

#include <string>
#include <string_view>
#include <vector>

#include "simulated/model.h"

namespace simulated {

class TomlReader {
  public:
    // `file` is what messages call the text.
    explicit TomlReader(std::string file) : m_file(std::move(file)) {}

    // All operations throw std::runtime_error: FILE:LINE:COLUMN: what is wrong.
    [[noreturn]] void fail(const toml::source_region& where, const std::string& what) const;

    toml::table parse(std::string_view text) const;

    long long number(const toml::node& node, long long lowest, long long highest) const;
    int integer(const toml::node& node) const;
    std::string string(const toml::node& node) const;
    std::vector<std::string> strings(const toml::node& node) const;

    // A value of a key that has values.
    Value value(const toml::node& node, lomodelapi::ObjectTypeSpec type) const;

    template <typename T, typename Read>
    std::vector<T> list(const toml::node& node, Read read) const {
        const toml::array* const array = node.as_array();
        if (array == nullptr) fail(node.source(), "no list");
        std::vector<T> values;
        for (const toml::node& element : *array) values.push_back(read(element));
        return values;
    }

  private:
    const std::string m_file;
};

}  // namespace simulated

#endif
