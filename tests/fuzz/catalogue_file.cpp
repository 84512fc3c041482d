// Fuzzes the catalogue of keys: the parser either refuses a text with line and column, or a model can be
// created from the result.
#include <set>
#include <stdexcept>

#include "catalogue/catalogue.h"
#include "fuzzing.h"
#include "simulated/events.h"

using namespace lomodelapi;

namespace {

bool isOfItsType(const simulated::KeyDefinition& key) {
    switch (key.type) {
        case OBJECT_TYPE_NUMERIC_INTEGER:
            return std::holds_alternative<int>(key.initial);
        case OBJECT_TYPE_NUMERIC_INT64:
            return std::holds_alternative<long long>(key.initial);
        case OBJECT_TYPE_STRING:
            return std::holds_alternative<std::string>(key.initial);
        case OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return std::holds_alternative<std::vector<int>>(key.initial);
        case OBJECT_TYPE_VECTOR_STRING:
            return std::holds_alternative<std::vector<std::string>>(key.initial);
        case OBJECT_TYPE_ACTION:
        case OBJECT_TYPE_TABLE:
            return std::holds_alternative<std::monostate>(key.initial);
        default:
            return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzing::Input input(data, size);
    std::vector<simulated::KeyDefinition> keys;
    try {
        keys = catalogue::parseCatalogue(input.rest(), "fuzz");
    } catch (const std::runtime_error& error) {
        FUZZ_CHECK(fuzzing::hasLocation(error.what()));
        return 0;
    }
    std::set<std::string> names;
    for (const simulated::KeyDefinition& key : keys) {
        FUZZ_CHECK(names.insert(key.name).second);
        FUZZ_CHECK(isOfItsType(key));
        FUZZ_CHECK(catalogue::refusal(key, key.initial).empty());
        FUZZ_CHECK(key.type == OBJECT_TYPE_TABLE || (key.columns.empty() && key.rows.empty()));
        for (const std::vector<std::string>& row : key.rows) FUZZ_CHECK(row.size() == key.columns.size());
    }
    simulated::Events events;
    const simulated::Model model(keys, events);
    for (const simulated::KeyDefinition& key : keys) FUZZ_CHECK(model.value(key.name) == key.initial);
    return 0;
}
