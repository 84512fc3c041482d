#include <algorithm>

#include "change.h"
#include "failure.h"
#include "key_access.h"

namespace aipqctl {

namespace {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
        end = text.find(separator, begin);
        parts.push_back(text.substr(begin, end - begin));
    }
    return parts;
}

Assignment parsePair(const std::string& word) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0)
        throw Failure(EXIT_WRONG_USE,
                      "'" + word + "' is not NAME=VALUE: 'aipqctl set --help' shows the usage");
    Assignment assignment{word.substr(0, equals), {word.substr(equals + 1)}, 0};
    const char sign = assignment.name.back();
    if (sign == '+' || sign == '-') {
        assignment.name.pop_back();
        assignment.sign = sign == '+' ? 1 : -1;
    }
    const KeyDefinition* const key = findKey(assignment.name);
    if (key != nullptr && key->type == lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER)
        assignment.texts = split(assignment.texts.front(), ',');
    return assignment;
}

}  // namespace

std::vector<Assignment> parseAssignments(const std::vector<std::string>& words) {
    std::vector<Assignment> assignments;
    if (words.front().find('=') == std::string::npos) {
        assignments.push_back({words.front(), {words.begin() + 1, words.end()}, 0});
        return assignments;
    }
    for (const std::string& word : words) {
        assignments.push_back(parsePair(word));
        const std::string& name = assignments.back().name;
        const auto isTwin = [&](const Assignment& other) { return other.name == name; };
        if (std::count_if(assignments.begin(), assignments.end(), isTwin) > 1)
            throw Failure(EXIT_WRONG_USE, "'" + name + "' is given twice");
    }
    return assignments;
}

Named findNamed(const std::string& name) {
    for (const Setting& setting : SETTINGS)
        if (name == setting.name) return {name, &definition(setting), &setting};
    const std::vector<std::string> keys = keyNames(Keys::VALUES);
    if (std::find(keys.begin(), keys.end(), name) != keys.end())
        return {name, findKey(name), settingOfKey(name)};
    if (const KeyDefinition* const key = findKey(name))
        throw Failure(EXIT_WRONG_TYPE, name + " has no value: its type is " + typeName(key->type));
    std::vector<std::string> names = settingNames();
    names.insert(names.end(), keys.begin(), keys.end());
    const std::string hint = suggestion(name, names);
    throw Failure(EXIT_UNKNOWN,
                  "no setting or key '" + name + "'" +
                      (hint.empty() ? ": 'aipqctl list' shows all; for others use 'aipqctl key'" : hint));
}

Value readNamed(const Named& named) {
    if (named.setting != nullptr) return readSetting(*named.setting);
    return KeyAccess(named.key->name, named.key->type).read();
}

}  // namespace aipqctl
