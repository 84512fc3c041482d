// Pieces of HTML that are well-formed XML, too.
#ifndef EXAMPLES_PICTURE_SERVICE_HTML_H
#define EXAMPLES_PICTURE_SERVICE_HTML_H

#include <string>
#include <string_view>

#include "frame.h"

// The text as HTML. What no HTML can contain, such as control characters, is replaced.
std::string escaped(std::string_view text);

// `tag` is the element's name and, after a blank, its attributes. `content` is HTML.
std::string element(std::string_view tag, std::string_view content);

std::string number(double value, int decimals = 0);

// A data: URI of a JPEG file; empty if the frame cannot be compressed.
std::string dataUri(const Frame& frame);

#endif
