#include "page_token.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "private_bus.h"
#include "protocol.h"
#include "screen.h"

namespace television {

std::string pageToken(const std::string& name) {
    const std::string socket = remote::socketPath(name);
    makeFolderOf(socket);
    const std::string path = socket + ".token";
    std::string token;
    if (std::ifstream file(path); std::getline(file, token) && isToken(token)) return token;

    token = newToken();
    const std::string line = token + '\n';
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    const ssize_t written = file >= 0 ? ::write(file, line.data(), line.size()) : -1;
    const int error = errno;
    if (file >= 0) ::close(file);
    if (written != static_cast<ssize_t>(line.size()))
        throw std::runtime_error(path + " cannot be written: " + std::strerror(error));
    return token;
}

}  // namespace television
