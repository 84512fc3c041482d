// Makes texts of other programs safe to print.
#ifndef PLATFORM_TEXT_SAFE_TEXT_H
#define PLATFORM_TEXT_SAFE_TEXT_H

#include <string>
#include <string_view>

// Escapes characters that a terminal would interpret or hide: control characters, bytes that are not UTF-8,
// and marks that change the text direction. Examples: "\x1b", "\u{202e}", and "\n" for the end of a line.
std::string safeText(std::string_view text);

// Returns equivalent JSON in which such characters are escaped. `json` must be valid UTF-8.
std::string safeJson(std::string_view json);

// Shortens a safe text to at most `most` bytes by replacing its middle with "...".
std::string shortened(const std::string& text, std::size_t most);

// Returns an error message as safe text of limited length.
std::string safeMessage(const std::string& problem);

#endif
