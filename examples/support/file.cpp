#include "file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

bool write(const std::string& path, const std::string& content) {
    errno = 0;
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    return file.good();
}

}  // namespace

bool saveFile(const std::string& path, const std::string& content, std::string& error) {
    std::error_code none;
    const bool isOther = fs::exists(path, none) && !fs::is_regular_file(path, none);
    // Writes to the target of a symbolic link, so that the link stays.
    const std::string target = fs::exists(path, none) ? fs::canonical(path, none).string() : path;
    const std::string temporary = isOther ? path : target + ".part";
    bool success = write(temporary, content);
    int reason = errno;
    if (success && !isOther) {
        std::error_code problem;
        fs::rename(temporary, target, problem);
        success = !problem;
        reason = problem.value();
    }
    if (success) return true;
    if (!isOther) fs::remove(temporary, none);
    error = "cannot write '" + path + "': " + std::strerror(reason != 0 ? reason : EIO);
    return false;
}
