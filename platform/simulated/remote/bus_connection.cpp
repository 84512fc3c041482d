#include "bus_connection.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "protocol.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace remote {

namespace {

// Tests the address first: sdbus-c++ 1.2 leaks a connection that cannot be opened, and a client may try for
// hours. Only addresses of sockets in the file system are tested.
void requireListener(const std::string& address) {
    static const std::string kind = "unix:path=";
    if (address.compare(0, kind.size(), kind) != 0) return;
    const std::string path =
        address.substr(kind.size(), address.find_first_of(",;", kind.size()) - kind.size());
    sockaddr_un socketAddress{};
    socketAddress.sun_family = AF_UNIX;
    if (path.size() >= sizeof socketAddress.sun_path) return;
    path.copy(socketAddress.sun_path, path.size());
    const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int status =
        ::connect(probe, reinterpret_cast<const sockaddr*>(&socketAddress), sizeof socketAddress);
    const int error = errno;
    ::close(probe);
    if (status != 0) throw sdbus::Error("org.freedesktop.DBus.Error.NoServer", std::strerror(error));
}

std::unique_ptr<sdbus::IConnection> connectTo(const std::string& address) {
    requireListener(address);
#ifdef __SANITIZE_ADDRESS__
    // Only a bus that dies at this moment still causes this leak, which cannot be avoided.
    const __lsan::ScopedDisabler unreported;
#endif
    return sdbus::createSessionBusConnectionWithAddress(address);
}

}  // namespace

BusConnection::BusConnection(const std::string& address)
    : m_connection(connectTo(address)), m_wakeUp(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

BusConnection::~BusConnection() {
    stop();
    m_proxy.reset();
    m_connection.reset();
    ::close(m_wakeUp);
}

void BusConnection::setPeer(const std::string& busName) {
    m_proxy = sdbus::createProxy(*m_connection, busName, PLATFORM_OBJECT);
}

void BusConnection::start(std::function<void()> onLost) {
    m_onLost = std::move(onLost);
    m_thread = std::thread([this] { serve(); });
}

void BusConnection::stop() {
    m_ending = true;
    wake();
    if (m_thread.joinable()) m_thread.join();
}

void BusConnection::giveUp() {
    const std::lock_guard lock(m_mutex);
    m_lost = true;
    m_answered.notify_all();
}

void BusConnection::wake() {
    const std::uint64_t one = 1;
    // If the counter is full, the thread wakes up as well.
    static_cast<void>(!::write(m_wakeUp, &one, sizeof one));
}

sdbus::MethodCall BusConnection::createCall(const char* method) {
    return m_proxy->createMethodCall(PLATFORM_INTERFACE, method);
}

void BusConnection::serve() {
    try {
        while (!m_ending) {
            while (m_connection->processPendingRequest()) {
            }
            forgetEndedCalls();
            const auto data = m_connection->getEventLoopPollData();
            std::array<pollfd, 2> fds{{{data.fd, data.events, 0}, {m_wakeUp, POLLIN, 0}}};
            ::poll(fds.data(), fds.size(), data.getPollTimeout());
            std::uint64_t count = 0;
            static_cast<void>(!::read(m_wakeUp, &count, sizeof count));
        }
    } catch (const sdbus::Error&) {
        giveUp();
        if (!m_ending && m_onLost) m_onLost();
    }
}

void BusConnection::forgetEndedCalls() {
    std::vector<sdbus::PendingAsyncCall> ended;
    {
        const std::lock_guard lock(m_mutex);
        ended.swap(m_ended);
    }
    // sdbus-c++ 1.2 keeps a call for ever if its answer was handled before the caller had stored the call.
    for (sdbus::PendingAsyncCall& call : ended) call.cancel();
}

}  // namespace remote
