#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

namespace {

namespace fs = std::filesystem;

// The kernel's limit.
constexpr int MOST_LINKS = 40;

// Returns the path after following symbolic links; the file need not exist. A path with more links than the
// limit fails when it is opened.
std::string followLinks(const std::string& path) {
    fs::path target = path;
    std::error_code error;
    for (int i = 0; i < MOST_LINKS && fs::is_symlink(target, error); ++i)
        target = target.parent_path() / fs::read_symlink(target, error);
    return target;
}

mode_t newFileMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

CannotWrite::CannotWrite(const std::string& path, int error)
    : std::runtime_error("cannot write " +
                         (path == OutputFile::STANDARD_OUTPUT ? "standard output" : "'" + path + "'") + ": " +
                         (error == EBADF ? "it is closed" : std::strerror(error))),
      m_error(error) {}

OutputFile::OutputFile(const std::string& path) : m_path(path), m_target(followLinks(path)) {
    try {
        open();
    } catch (...) {
        if (!m_temporary.empty()) unlink(m_temporary.c_str());
        throw;
    }
}

OutputFile::~OutputFile() {
    if (m_file != -1) close(m_file);
    if (!m_temporary.empty()) unlink(m_temporary.c_str());
}

void OutputFile::open() {
    if (m_path == STANDARD_OUTPUT) {
        m_file = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
        if (m_file == -1) fail(errno);
        return;
    }
    struct stat before {};
    const bool exists = stat(m_target.c_str(), &before) == 0;
    if (!exists && errno != ENOENT) fail(errno);
    if (exists && !S_ISREG(before.st_mode)) {
        m_file = ::open(m_target.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
        if (m_file == -1) fail(errno);
        return;
    }
    // Renaming needs no right to write the old file: check that right here.
    if (exists && access(m_target.c_str(), W_OK) != 0) fail(errno);
    std::string name = fs::path(m_target).parent_path() / ".aipq-XXXXXX";
    m_file = mkostemp(name.data(), O_CLOEXEC);
    if (m_file == -1) fail(errno);
    m_temporary = name;
    // Only root may change the owner; another user owns the new file already.
    if (exists && fchown(m_file, before.st_uid, before.st_gid) != 0 && errno != EPERM) fail(errno);
    if (fchmod(m_file, exists ? before.st_mode & 07777 : newFileMode()) != 0) fail(errno);
}

void OutputFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(m_file, bytes.data(), bytes.size());
        if (written == -1 && errno == EINTR) continue;
        if (written == -1) fail(errno);
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void OutputFile::commit() {
    const int file = m_file;
    m_file = -1;
    // Closing may report a full disk.
    if (close(file) != 0) fail(errno);
    rename();
}

int OutputFile::commitOpen() {
    rename();
    return std::exchange(m_file, -1);
}

void OutputFile::rename() {
    if (m_temporary.empty()) return;
    if (::rename(m_temporary.c_str(), m_target.c_str()) != 0) fail(errno);
    m_temporary.clear();
}

void OutputFile::fail(int error) const { throw CannotWrite(m_path, error); }

void writeFile(const std::string& path, std::string_view content) {
    OutputFile file(path);
    file.write(content);
    file.commit();
}
