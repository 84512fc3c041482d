// A bus of the television's own: a dbus-daemon that ends with it.
#ifndef AIPQ_TELEVISION_PRIVATE_BUS_H
#define AIPQ_TELEVISION_PRIVATE_BUS_H

#include <sys/types.h>

#include <string>

namespace television {

// Makes the folder of a television's socket, if it is not there. Throws std::runtime_error with what to do if
// that is not possible, or if others can enter it.
void makeFolderOf(const std::string& socket);

class PrivateBus {
  public:
    // Starts it for the television `name`, in a folder that only this user can enter. Throws
    // std::runtime_error with what to do if that is not possible, or if such a television runs already.
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
