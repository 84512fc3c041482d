// A page on which a browser shows the simulated television: the picture, the keys, a remote control, faults,
// scenarios and the log.
#ifndef TELEVISION_SCREEN_H
#define TELEVISION_SCREEN_H

#include <memory>
#include <string>

#include "stage.h"

namespace simulated {
class Television;
}

namespace television {

// Whoever has a token may use the page. It is as random as if newToken() had made it, and as secret.
std::string newToken();
// Whether a text has the form of a token.
bool isToken(const std::string& text);

struct ScreenOptions {
    std::string name;  // of the television, for people
    int port = 0;      // 0 is any that is free
    std::string token = newToken();
};

class Screen {
  public:
    // Serves the page on this machine only, from now on, on threads of its own. Throws std::runtime_error if
    // that is impossible.
    Screen(simulated::Television& television, const ScreenOptions& options, Stage stage);
    // Ends within about a second.
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    int port() const;
    // For the browser's address line; with the token.
    std::string url() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

}  // namespace television

#endif
