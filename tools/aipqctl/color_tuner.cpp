#include <array>
#include <memory>
#include <optional>

#include "command.h"
#include "failure.h"
#include "key_access.h"
#include "settings.h"

namespace aipqctl {

namespace {

constexpr std::array<const char*, TUNER_SIZE> PARTS{"mode", "luma", "sat", "hue"};
using Requested = std::array<std::string, TUNER_SIZE>;

void showTuner(bool json) {
    const std::vector<int> values = readTuner();
    Json object;
    std::vector<std::vector<std::string>> rows;
    for (std::size_t i = 0; i < PARTS.size(); ++i) {
        object[PARTS[i]] = values[i];
        rows.push_back({PARTS[i], std::to_string(values[i])});
    }
    if (json) return printJson(object);
    for (const std::string& line : aligned(rows)) printLine(line);
}

void set(const Requested& requested, bool json) {
    std::array<std::optional<int>, TUNER_SIZE> wanted;
    for (std::size_t i = 0; i < PARTS.size(); ++i)
        if (!requested[i].empty())
            wanted[i] = parseInteger(PARTS[i], definition(SETTINGS[TUNER + i]), requested[i]);

    // The library sets all four values: pass the current value of the others.
    std::vector<int> values = readTuner();
    for (std::size_t i = 0; i < PARTS.size(); ++i) values[i] = wanted[i].value_or(values[i]);
    writeTuner(values);
    for (std::size_t i = 0; i < PARTS.size(); ++i) {
        KeyAccess key(SETTINGS[TUNER + i].key, lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER);
        if (!reads(key, values[i]))
            throw Failure(EXIT_REFUSED, std::string(PARTS[i]) + " stays at " + toText(key.read()) +
                                            ": the television does not accept " + std::to_string(values[i]));
    }
    showTuner(json);
}

}  // namespace

void addColorTunerCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("color-tuner", "Show or set the colour tuner");
    command.callback([&command, &context] {
        if (command.get_subcommands().empty()) showTuner(context.json);
    });
    command.add_subcommand("get", "Show mode, luma, saturation and hue")->callback([&context] {
        showTuner(context.json);
    });
    CLI::App& setter = *command.add_subcommand("set", "Set the given values, and keep the others");
    const auto requested = std::make_shared<Requested>();
    for (std::size_t i = 0; i < PARTS.size(); ++i)
        setter.add_option(std::string("--") + PARTS[i], (*requested)[i], std::string("the new ") + PARTS[i])
            ->type_name("NUMBER");
    setter.require_option();
    setter.callback([requested, &context] { set(*requested, context.json); });
}

}  // namespace aipqctl
