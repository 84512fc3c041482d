// The television's private bus: a dbus-daemon that ends with the television.
#ifndef AIPQ_TELEVISION_PRIVATE_BUS_H
#define AIPQ_TELEVISION_PRIVATE_BUS_H

#include <sys/types.h>

#include <string>

namespace television {

// Creates the folder of a television's socket if it does not exist. Throws std::runtime_error, which says
// what to do, if that fails or if other users can enter the folder.
void makeFolderOf(const std::string& socket);

class PrivateBus {
  public:
    // Starts the daemon for the television `name`, in a folder that only this user can enter. Throws
    // std::runtime_error, which says what to do, if that fails or if a television of this name already runs.
    explicit PrivateBus(const std::string& name);
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

  private:
    void lock(const std::string& name);
    void writeConfiguration() const;
    void startDaemon();
    void removeFiles() const;

    const std::string m_socket;
    int m_lock = -1;
    pid_t m_daemon = -1;
};

}  // namespace television

#endif
