#ifndef EXAMPLES_FILE_H
#define EXAMPLES_FILE_H

#include <string>

// Writes a whole file through a temporary file next to it, so that what was there stays if writing fails.
// What is not a regular file is written directly. False, with the reason in `error`, if the file cannot be
// written.
bool saveFile(const std::string& path, const std::string& content, std::string& error);

#endif
