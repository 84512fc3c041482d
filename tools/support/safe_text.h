// Texts of other programs, for people to read.
#ifndef TOOLS_SUPPORT_SAFE_TEXT_H
#define TOOLS_SUPPORT_SAFE_TEXT_H

#include <string>
#include <string_view>

// Escapes what a terminal would not show as it is: control characters, bytes that are not UTF-8, and marks
// that change the direction of the text. "\x1b", "\u{202e}", and "\n" for the end of a line.
std::string safeText(std::string_view text);

// JSON of the same meaning in which such characters are escaped. `json` must be valid UTF-8.
std::string safeJson(std::string_view json);

// At most `most` bytes of a safe text, with "..." for what is missing in its middle.
std::string shortened(const std::string& text, std::size_t most);

#endif
