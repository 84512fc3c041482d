// Fuzzes scenarios: the parser either refuses a text with line and column, or the scenario is unchanged after
// formatting and parsing it again.
#include <stdexcept>

#include "catalogue/catalogue.h"
#include "fuzzing.h"
#include "simulated/scenario.h"

namespace {

const std::vector<simulated::KeyDefinition>& keys() {
    static const std::vector<simulated::KeyDefinition> all = catalogue::loadCatalogue();
    return all;
}

simulated::Scenario parse(const std::string& text) { return simulated::parseScenario(text, "fuzz", keys()); }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    unsetenv("AIPQ_TV_CATALOGUE");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzing::Input input(data, size);
    simulated::Scenario scenario;
    try {
        scenario = parse(input.rest());
    } catch (const std::runtime_error& error) {
        FUZZ_CHECK(fuzzing::hasLocation(error.what()));
        return 0;
    }
    const std::string written = simulated::formatScenario(scenario);
    const simulated::Scenario again = parse(written);
    FUZZ_CHECK(simulated::formatScenario(again) == written);
    FUZZ_CHECK(again.title == scenario.title && again.video == scenario.video);
    FUZZ_CHECK(again.steps.size() == scenario.steps.size());
    for (std::size_t i = 0; i < again.steps.size(); ++i) {
        const simulated::Step& a = again.steps[i];
        const simulated::Step& b = scenario.steps[i];
        FUZZ_CHECK(a.at == b.at && a.wait == b.wait && a.after.has_value() == b.after.has_value());
        FUZZ_CHECK(a.action.index() == b.action.index());
        FUZZ_CHECK(simulated::describe(a.action) == simulated::describe(b.action));
        if (!a.after) continue;
        FUZZ_CHECK(a.after->within == b.after->within);
        FUZZ_CHECK(simulated::describe(a.after->condition) == simulated::describe(b.after->condition));
    }
    return 0;
}
