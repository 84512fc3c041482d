#ifndef EXAMPLES_FILE_H
#define EXAMPLES_FILE_H

#include <string>

// Writes a whole file through a temporary file next to it: if writing fails, the old content stays. Writes
// directly to a file that is not regular. Returns false, with the reason in `error`, if the file cannot be
// written.
bool saveFile(const std::string& path, const std::string& content, std::string& error);

#endif
