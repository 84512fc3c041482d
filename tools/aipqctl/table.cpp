#include <memory>

#include "command.h"
#include "failure.h"
#include "key_definitions.h"
#include "table_reader.h"
#include "validators.h"

namespace aipqctl {

namespace {

std::vector<std::string> columnsOf(const std::string& name, unsigned count) {
    const KeyDefinition* const key = findKey(name);
    if (key != nullptr && key->type != lomodelapi::OBJECT_TYPE_TABLE)
        throw Failure(EXIT_WRONG_TYPE,
                      name + " is not a table but of type " + typeName(key->type) + ": use 'aipqctl key'");
    if (key == nullptr && count == 0) {
        const std::string hint = suggestion(name, keyNames(Keys::TABLES));
        throw Failure(EXIT_UNKNOWN,
                      "no table '" + name + "' in the catalogue" +
                          (hint.empty() ? ": say how many columns it has with --columns" : hint));
    }
    std::vector<std::string> columns;
    if (key != nullptr) columns = key->columns;
    if (count > 0) {
        const std::size_t named = columns.size();
        columns.resize(count);
        for (std::size_t i = named; i < count; ++i) columns[i] = std::to_string(i);
    }
    return columns;
}

void show(const std::string& key, unsigned count, bool json) {
    const std::vector<std::string> columns = columnsOf(key, count);
    Rows rows = readTable(key, columns.size());
    if (json) return printJson({{"key", key}, {"columns", columns}, {"rows", rows}});
    rows.insert(rows.begin(), columns);
    for (const std::string& line : aligned(rows)) printLine(line);
}

}  // namespace

void addTableCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("table", "Show the rows of a table of the model");
    const auto key = std::make_shared<std::string>();
    const auto columns = std::make_shared<unsigned>(0);
    command.add_option("TABLE", *key, "its name, as 'aipqctl list table' shows it")
        ->type_name("")
        ->required();
    command
        .add_option("--columns", *columns, "the number of columns; required for a table that is not listed")
        ->type_name("COUNT")
        ->check(isNumber(1U, 1000U));
    command.callback([key, columns, &context] { show(*key, *columns, context.json); });
}

}  // namespace aipqctl
