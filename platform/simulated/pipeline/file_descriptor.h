#ifndef PIPELINE_FILE_DESCRIPTOR_H
#define PIPELINE_FILE_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace pipeline {

// Owns a descriptor; -1 is none.
class FileDescriptor {
  public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~FileDescriptor() {
        if (fd_ >= 0) ::close(fd_);
    }

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }
    void reset() { FileDescriptor closing(std::exchange(fd_, -1)); }

  private:
    int fd_;
};

}  // namespace pipeline

#endif
