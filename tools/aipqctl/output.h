// Standard output: lines that are out as soon as they are printed, also into a pipe.
#ifndef AIPQCTL_OUTPUT_H
#define AIPQCTL_OUTPUT_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace aipqctl {

using Json = nlohmann::ordered_json;

// Thrown when nobody reads standard output any more: there is nothing left to do.
struct OutputClosed {};

// Each throws OutputClosed, or Failure if the output cannot be written for another reason.
void print(const std::string& text);
void printLine(const std::string& line);
// One object on one line.
void printJson(const Json& json);

// The rows, each cell but a row's last as wide as its column.
std::vector<std::string> aligned(const std::vector<std::vector<std::string>>& rows);

bool isTerminal();

}  // namespace aipqctl

#endif
