// Reads text files of people: catalogues, scenarios and saved settings.
#ifndef PLATFORM_CATALOGUE_TEXT_FILE_H
#define PLATFORM_CATALOGUE_TEXT_FILE_H

#include <iosfwd>
#include <string>

namespace catalogue {

// Returns the content of the file. Throws std::runtime_error with the file's name and the reason if it cannot
// be read or is larger than 16 MiB.
std::string readTextFile(const std::string& path);

// The same for an open stream, which errors call `name`.
std::string readText(std::istream& stream, const std::string& name);

}  // namespace catalogue

#endif
