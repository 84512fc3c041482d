// A web page that shows the simulated television: the picture, the keys, a remote control, faults, scenarios
// and the log.
#ifndef TELEVISION_SCREEN_H
#define TELEVISION_SCREEN_H

#include <memory>
#include <string>

#include "stage.h"

namespace simulated {
class Television;
}

namespace television {

// Creates a random secret token. Anyone who has the token can use the page.
std::string newToken();
// Returns whether a text has the format of a token.
bool isToken(const std::string& text);

struct ScreenOptions {
    std::string name;  // the television's display name
    int port = 0;      // 0 is any that is free
    std::string token = newToken();
};

class Screen {
  public:
    // Serves the page on the loopback interface, on its own threads. Throws std::runtime_error on failure.
    Screen(simulated::Television& television, const ScreenOptions& options, Stage stage);
    // Stops within about a second.
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    int port() const;
    // Returns the address to open in a browser, with the token.
    std::string url() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

}  // namespace television

#endif
