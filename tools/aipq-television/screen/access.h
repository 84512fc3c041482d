// Access control for the page: only this user's browsers, by the token in the page's address.
#ifndef TELEVISION_ACCESS_H
#define TELEVISION_ACCESS_H

#include <string>

#include "http_server.h"

namespace television {

constexpr char HOST[] = "127.0.0.1";

// Callable from any thread.
class Access {
  public:
    Access(std::string token, int port);

    // Returns the address to open in a browser.
    std::string url() const;

    // Throws Refusal if the request has no valid token in its address or cookie, or has a foreign host name.
    void require(const httplib::Request& request) const;
    // Throws Refusal for a change that the page of another site may have requested (CSRF).
    static void requireOwnPage(const httplib::Request& request);

    // Makes the browser send the token with all further requests.
    void giveCookie(httplib::Response& response) const;

  private:
    bool hasToken(const httplib::Request& request) const;

    const std::string m_token;
    const std::string m_port;
    const std::string m_cookie;  // its name
};

}  // namespace television

#endif
