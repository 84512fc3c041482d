#ifndef TELEVISION_PAGE_FILES_H
#define TELEVISION_PAGE_FILES_H

#include <span>
#include <string_view>

namespace television {

// A file of the folder page, by its name. The main page has an empty name.
struct PageFile {
    std::string_view name;
    const char* type;
    std::string_view content;
};

std::span<const PageFile> pageFiles();

}  // namespace television

#endif
