// A page on which a browser shows the simulated television: the picture, the keys, a remote control, faults
// and the log.
#ifndef TELEVISION_SCREEN_H
#define TELEVISION_SCREEN_H

#include <memory>
#include <string>

namespace simulated {
class Television;
}

namespace television {

class Screen {
  public:
    // Serves the page on this machine only, from now on, on threads of its own; port 0 is any that is free.
    // Throws std::runtime_error if that is impossible. The process ignores SIGPIPE from then on.
    Screen(simulated::Television& television, int port);
    // Ends within about a second.
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    int port() const;
    // For the browser's address line.
    std::string url() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

}  // namespace television

#endif
