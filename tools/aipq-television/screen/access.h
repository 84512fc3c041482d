// Who may use the page: this user's browsers, by a token that its address carries.
#ifndef TELEVISION_ACCESS_H
#define TELEVISION_ACCESS_H

#include <string>

#include "http_server.h"

namespace television {

constexpr char HOST[] = "127.0.0.1";

// Any thread.
class Access {
  public:
    Access(std::string token, int port);

    // For the browser's address line.
    std::string url() const;

    // Throws Refusal for a request without the token in its address or its cookie, or to another host name.
    void require(const httplib::Request& request) const;
    // Throws Refusal for a change that another site's page may have made the browser request.
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
