#include "access.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "controls.h"
#include "http_status.h"
#include "screen.h"

namespace television {

using httplib::Request;

namespace {

constexpr char HEXADECIMAL[] = "0123456789abcdef";
constexpr std::size_t TOKEN_BYTES = 16;  // too many to guess

// Compares in constant time: the time does not depend on the position of the first difference.
bool sameSecret(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned>(a[i]) ^ static_cast<unsigned>(b[i]);
    return difference == 0;
}

// The name in a Host header, without the port and in lower case.
std::string hostName(const std::string& host) {
    std::string name = host.substr(0, host.find(':'));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name;
}

// The value of a cookie in "a=1; b=2"; empty if there is no cookie of this name.
std::string_view cookieIn(std::string_view cookies, const std::string& name) {
    while (!cookies.empty()) {
        const std::size_t end = std::min(cookies.find(';'), cookies.size());
        std::string_view cookie = cookies.substr(0, end);
        cookies.remove_prefix(std::min(end + 1, cookies.size()));
        cookie.remove_prefix(std::min(cookie.find_first_not_of(' '), cookie.size()));
        if (cookie.size() > name.size() && cookie.starts_with(name) && cookie[name.size()] == '=')
            return cookie.substr(name.size() + 1);
    }
    return {};
}

}  // namespace

std::string newToken() {
    std::array<unsigned char, TOKEN_BYTES> bytes{};
    // The kernel returns this many bytes at once. Shortly after boot it may block until it has enough
    // entropy.
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("the kernel returned no random numbers");
    std::string token;
    for (const unsigned byte : bytes) {
        token += HEXADECIMAL[byte >> 4U];
        token += HEXADECIMAL[byte & 15U];
    }
    return token;
}

bool isToken(const std::string& text) {
    return text.size() == 2 * TOKEN_BYTES && text.find_first_not_of(HEXADECIMAL) == std::string::npos;
}

// Browsers send a cookie to every port of a host, so the cookie's name contains the port.
Access::Access(std::string token, int port)
    : m_token(std::move(token)), m_port(std::to_string(port)), m_cookie("aipq-television-" + m_port) {}

std::string Access::url() const {
    return std::string("http://") + HOST + ':' + m_port + "/?token=" + m_token;
}

void Access::require(const Request& request) const {
    // A foreign host name that resolves to this machine is a DNS rebinding attack on the page.
    const std::string name = hostName(request.get_header_value("Host"));
    if (name != HOST && name != "localhost")
        throw Refusal(FORBIDDEN, "this page is for this machine only: open it as localhost or 127.0.0.1");
    if (!hasToken(request))
        throw Refusal(
            FORBIDDEN,
            "the television's token is missing: open the whole address that aipq-television printed");
}

bool Access::hasToken(const Request& request) const {
    if (sameSecret(request.get_param_value("token"), m_token)) return true;
    for (std::size_t i = 0; i < request.get_header_value_count("Cookie"); ++i)
        if (sameSecret(cookieIn(request.get_header_value("Cookie", i), m_cookie), m_token)) return true;
    return false;
}

void Access::requireOwnPage(const Request& request) {
    if (request.has_header("Origin") &&
        request.get_header_value("Origin") != "http://" + request.get_header_value("Host"))
        throw Refusal(FORBIDDEN, "only the television's own page may change it");
    const std::string type = request.get_header_value("Content-Type");
    if (type.substr(0, type.find(';')) != "application/json")
        throw Refusal(UNSUPPORTED_MEDIA_TYPE, "the content type must be application/json");
}

void Access::giveCookie(httplib::Response& response) const {
    response.set_header("Set-Cookie", m_cookie + '=' + m_token + "; Path=/; HttpOnly; SameSite=Strict");
}

}  // namespace television
