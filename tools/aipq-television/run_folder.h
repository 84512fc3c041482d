#ifndef AIPQ_TELEVISION_RUN_FOLDER_H
#define AIPQ_TELEVISION_RUN_FOLDER_H

#include <string>

namespace television {

// The folder of a television that belongs to one command, for its sockets. Only this user can enter it.
class RunFolder {
  public:
    // Chooses a path. Throws std::runtime_error if it is too long for a socket.
    RunFolder();

    const std::string& path() const { return m_path; }

    // Creates the folder. It is in use until this process and its forked children end. Also removes unused
    // folders. Throws std::runtime_error.
    void create() const;
    // Removes the folder with all its files, if it exists.
    void remove() const;

  private:
    std::string m_parent;
    std::string m_path;
};

}  // namespace television

#endif
