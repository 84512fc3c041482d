#include "preview.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <utility>

#include "file_descriptor.h"
#include "report.h"

namespace pipeline {
namespace {

// Parses the edge of a picture; 0 for an invalid text.
std::uint32_t edge(std::string_view text) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? value : 0;
}

}  // namespace

Preview::Preview(Preview&& other) noexcept
    : m_pixels(std::exchange(other.m_pixels, nullptr)), m_bytes(std::exchange(other.m_bytes, 0)) {}

Preview& Preview::operator=(Preview&& other) noexcept {
    std::swap(m_pixels, other.m_pixels);
    std::swap(m_bytes, other.m_bytes);
    return *this;
}

Preview::~Preview() {
    if (m_pixels != nullptr) ::munmap(m_pixels, m_bytes);
}

std::string Preview::open(int fd) {
    const std::string name = "preview descriptor " + std::to_string(fd);
    struct stat status {};
    if (::fstat(fd, &status) != 0) return withReason("cannot use " + name, errno);
    if (!S_ISREG(status.st_mode) || status.st_size <= 0) return name + " is not shared memory";
    const FileDescriptor memory(fd);
    const auto bytes = static_cast<std::size_t>(status.st_size);
    void* const address = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (address == MAP_FAILED) return withReason("cannot map " + name, errno);
    m_pixels = static_cast<std::uint8_t*>(address);
    m_bytes = bytes;
    return {};
}

std::string Preview::show(std::string_view size, const Render& render) {
    const std::size_t cross = std::min(size.find('x'), size.size() - 1);
    const std::uint32_t width = edge(size.substr(0, cross));
    const std::uint32_t height = edge(size.substr(cross + 1));
    // Both factors are below 2^32, so the product does not overflow.
    if (width == 0 || height == 0 || std::uint64_t{width} * height > m_bytes / 4) {
        return "preview takes WIDTHxHEIGHT, at most " + std::to_string(m_bytes / 4) + " pixels";
    }
    Image image(width, height);
    if (!render(image)) return "cannot convert the current picture to a frame";
    std::copy(image.rgba.begin(), image.rgba.end(), m_pixels);
    return {};
}

}  // namespace pipeline
