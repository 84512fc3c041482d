// Builds HTML that is also well-formed XML.
#ifndef EXAMPLES_PICTURE_SERVICE_HTML_H
#define EXAMPLES_PICTURE_SERVICE_HTML_H

#include <string>
#include <string_view>

#include "frame.h"

// Escapes a text for HTML. Replaces characters that HTML cannot contain, such as control characters.
std::string escaped(std::string_view text);

// `tag` is the element's name, followed by a space and its attributes, if any. `content` is HTML.
std::string element(std::string_view tag, std::string_view content);

std::string number(double value, int decimals = 0);

// Returns a data: URI of a JPEG file; empty if the frame cannot be compressed.
std::string dataUri(const Frame& frame);

#endif
