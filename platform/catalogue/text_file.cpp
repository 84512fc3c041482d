#include "catalogue/text_file.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace catalogue {

namespace {

// A larger file, such as an endless device, was not written by a person.
constexpr std::size_t LARGEST_FILE = 16 << 20;

[[noreturn]] void fail(const std::string& name, const std::string& why) {
    throw std::runtime_error("cannot read '" + name + "': " + why);
}

}  // namespace

std::string readText(std::istream& stream, const std::string& name) {
    errno = 0;
    std::string text;
    for (std::array<char, 4096> part{}; stream.read(part.data(), part.size()) || stream.gcount() > 0;) {
        text.append(part.data(), static_cast<std::size_t>(stream.gcount()));
        if (text.size() > LARGEST_FILE) fail(name, "it is larger than 16 MiB");
    }
    // A folder can be opened, but not read.
    if (stream.bad()) fail(name, std::strerror(errno));
    return text;
}

std::string readTextFile(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) fail(path, std::strerror(errno));
    return readText(file, path);
}

}  // namespace catalogue
