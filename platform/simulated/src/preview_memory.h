#ifndef SIMULATED_PREVIEW_MEMORY_H
#define SIMULATED_PREVIEW_MEMORY_H

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace simulated {

// The memory that the pipeline writes previews to. Neither side can resize it while the other uses it.
class PreviewMemory {
  public:
    static constexpr std::size_t BYTES = std::size_t{4} * 1280 * 720;

    // The number of the descriptor is at least `lowest`.
    explicit PreviewMemory(int lowest) : m_fd(memfd_create("aipq-preview", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
        if (m_fd == -1) return;
        const int high = fcntl(m_fd, F_DUPFD_CLOEXEC, lowest);
        close(m_fd);
        m_fd = high;
        if (m_fd == -1 || ftruncate(m_fd, BYTES) != 0) return;
        fcntl(m_fd, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL);
        void* const address = mmap(nullptr, BYTES, PROT_READ, MAP_SHARED, m_fd, 0);
        if (address != MAP_FAILED) m_pixels = static_cast<const std::uint8_t*>(address);
    }
    PreviewMemory(const PreviewMemory&) = delete;
    PreviewMemory& operator=(const PreviewMemory&) = delete;
    ~PreviewMemory() {
        if (m_pixels != nullptr) munmap(const_cast<std::uint8_t*>(m_pixels), BYTES);
        if (m_fd != -1) close(m_fd);
    }

    int fd() const { return m_fd; }
    // Null if the memory could not be created.
    const std::uint8_t* pixels() const { return m_pixels; }

  private:
    int m_fd;
    const std::uint8_t* m_pixels = nullptr;
};

}  // namespace simulated

#endif
