#include "run_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <stdexcept>

#include "protocol.h"

namespace television {

namespace {

namespace fs = std::filesystem;

constexpr char PREFIX[] = "aipq-run.";
constexpr int ATTEMPTS = 100;

std::string parentFolder() {
    for (const char* const variable : {remote::FOLDER_VARIABLE, "XDG_RUNTIME_DIR"}) {
        const char* const folder = std::getenv(variable);
        if (folder != nullptr && *folder == '/') return folder;
    }
    return "/tmp";
}

std::string uniqueName() {
    std::random_device random;
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%08x%08x", random(), random());
    return PREFIX + std::string(digits.data());
}

// Locks a folder of this user and returns a descriptor. The lock lasts until every process that has the
// descriptor ends. Returns -1 if the folder is gone, or if another process has the lock and `operation` does
// not wait.
int lock(const fs::path& folder, int operation) {
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return -1;
    struct stat locked {};
    struct stat current {};
    if (::flock(fd, operation) == 0 && ::fstat(fd, &locked) == 0 && ::stat(folder.c_str(), &current) == 0 &&
        locked.st_ino == current.st_ino && locked.st_uid == ::geteuid())
        return fd;
    ::close(fd);
    return -1;
}

// Removes the folders of runs whose processes were all killed.
void removeUnused(const fs::path& parent) {
    std::error_code error;
    for (fs::directory_iterator entry(parent, error), end; !error && entry != end; entry.increment(error)) {
        if (!entry->path().filename().string().starts_with(PREFIX)) continue;
        const int fd = lock(entry->path(), LOCK_EX | LOCK_NB);
        if (fd < 0) continue;
        std::error_code ignored;
        fs::remove_all(entry->path(), ignored);
        ::close(fd);
    }
}

}  // namespace

RunFolder::RunFolder() : m_parent(parentFolder()), m_path(m_parent + '/' + uniqueName()) {
    if (m_path.size() + 1 + std::strlen(remote::DEFAULT_NAME) >= sizeof(sockaddr_un::sun_path))
        throw std::runtime_error("the path of " + m_parent +
                                 " is too long for a socket: set XDG_RUNTIME_DIR to a shorter one");
}

void RunFolder::create() const {
    removeUnused(m_parent);
    // Before the lock is taken, another process may remove the folder as unused.
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        if (::mkdir(m_path.c_str(), 0700) != 0 && errno != EEXIST) break;
        if (lock(m_path, LOCK_EX) >= 0) return;
    }
    throw std::runtime_error("cannot create a folder in " + m_parent + ": " + std::strerror(errno));
}

void RunFolder::remove() const {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

}  // namespace television
