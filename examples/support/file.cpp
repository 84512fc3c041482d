#include "file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

namespace fs = std::filesystem;

// Returns the path behind symbolic links; the file need not exist.
std::string followLinks(const std::string& path) {
    constexpr int mostLinks = 40;  // the kernel's limit
    fs::path target = path;
    std::error_code none;
    for (int i = 0; i < mostLinks && fs::is_symlink(target, none); ++i)
        target = target.parent_path() / fs::read_symlink(target, none);
    return target;
}

mode_t newFileMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

bool writeAll(int file, const std::string& content) {
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t count = write(file, content.data() + done, content.size() - done);
        if (count == -1 && errno == EINTR) continue;
        if (count == -1) return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

// Returns 0 or an error number. Closes the file.
int fill(int file, const std::string& content) {
    const int error = writeAll(file, content) ? 0 : errno;
    // Closing may report a full disk.
    return close(file) == 0 || error != 0 ? error : errno;
}

int replaceFile(const std::string& target, mode_t mode, const std::string& content) {
    std::string temporary = target + ".XXXXXX";
    const int file = mkostemp(temporary.data(), O_CLOEXEC);
    if (file == -1) return errno;
    int error = fchmod(file, mode) == 0 ? 0 : errno;
    const int writeError = fill(file, content);
    if (error == 0) error = writeError;
    if (error == 0 && rename(temporary.c_str(), target.c_str()) != 0) error = errno;
    if (error != 0) unlink(temporary.c_str());
    return error;
}

int writeDirectly(const std::string& path, const std::string& content) {
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    return file == -1 ? errno : fill(file, content);
}

}  // namespace

bool saveFile(const std::string& path, const std::string& content, std::string& error) {
    const std::string target = followLinks(path);
    struct stat before {};
    const bool exists = stat(target.c_str(), &before) == 0;
    const int problem = exists && !S_ISREG(before.st_mode)
                            ? writeDirectly(target, content)
                            : replaceFile(target, exists ? before.st_mode & 07777 : newFileMode(), content);
    if (problem != 0) error = "cannot write '" + path + "': " + std::strerror(problem);
    return problem == 0;
}
