#ifndef PIPELINE_FILE_DESCRIPTOR_H
#define PIPELINE_FILE_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace pipeline {

// Owns a descriptor; -1 means no descriptor.
class FileDescriptor {
  public:
    explicit FileDescriptor(int fd = -1) : m_fd(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~FileDescriptor() {
        if (m_fd >= 0) ::close(m_fd);
    }

    int get() const { return m_fd; }
    bool valid() const { return m_fd >= 0; }
    void reset() { FileDescriptor closing(std::exchange(m_fd, -1)); }

  private:
    int m_fd;
};

}  // namespace pipeline

#endif
