// Methods of objects on the bus. A method may take long, so it runs on a worker: the connection's thread must
// not be blocked.
#ifndef AIPQ_TELEVISION_BUS_METHOD_H
#define AIPQ_TELEVISION_BUS_METHOD_H

#include <sdbus-c++/sdbus-c++.h>

#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "bus_connection.h"
#include "worker_pool.h"

namespace television::bus {

// The D-Bus errors that methods and properties return.
constexpr char WRONG_VALUE[] = "aipq.television.Error.WrongValue";
constexpr char OUT_OF_RANGE[] = "aipq.television.Error.OutOfRange";
constexpr char REFUSED[] = "aipq.television.Error.Refused";

[[noreturn]] inline void refuse(const char* name, const std::string& what) { throw sdbus::Error(name, what); }

// Runs `act` and converts the television's exceptions to D-Bus errors.
template <typename Act>
auto asBusErrors(Act act) {
    try {
        return act();
    } catch (const sdbus::Error&) {
        throw;
    } catch (const std::domain_error& error) {
        refuse(OUT_OF_RANGE, error.what());
    } catch (const std::logic_error& error) {
        refuse(WRONG_VALUE, error.what());
    } catch (const std::runtime_error& error) {
        refuse(REFUSED, error.what());
    }
}

template <typename... T>
std::string signature() {
    std::string text;
    ((text += sdbus::signature_of<std::decay_t<T>>::str()), ...);
    return text;
}

template <typename Tuple>
struct SignatureOfTuple;
template <typename... T>
struct SignatureOfTuple<std::tuple<T...>> {
    static std::string str() { return signature<T...>(); }
};

struct Names {
    std::vector<std::string> in = {};
    std::vector<std::string> out = {};
};

class MethodAdder {
  public:
    MethodAdder(sdbus::IObject& object, std::string interface, remote::BusConnection& connection,
                WorkerPool& workers)
        : m_object(object), m_interface(std::move(interface)), m_connection(connection), m_workers(workers) {}

    // `handler(in...)` returns a tuple of the method's results.
    template <typename... In, typename Handler>
    void add(const char* name, const Names& names, Handler handler) {
        addFor<In...>(name, names, [handler](const std::string&) { return handler; });
    }

    // Calls `handlerFor(caller)` on the connection's thread, in the order of the calls. It returns the
    // handler.
    template <typename... In, typename HandlerFor>
    void addFor(const char* name, const Names& names, HandlerFor handlerFor) {
        using Out = std::invoke_result_t<std::invoke_result_t<HandlerFor, std::string>, In...>;
        m_object.registerMethod(
            m_interface, name, signature<In...>(), names.in, SignatureOfTuple<Out>::str(), names.out,
            [&connection = m_connection, &workers = m_workers, handlerFor](sdbus::MethodCall call) {
                std::tuple<In...> in;
                std::apply([&](auto&... arguments) { ((call >> arguments), ...); }, in);
                workers.run([&connection, call, in = std::move(in), handler = handlerFor(call.getSender())] {
                    answer<Out>(call, [&] { return std::apply(handler, in); });
                    connection.wake();
                });
            });
    }

  private:
    template <typename Out, typename Work>
    static void answer(const sdbus::MethodCall& call, Work work) {
        try {
            sdbus::MethodReply reply;
            try {
                const Out out = asBusErrors(work);
                if (call.doesntExpectReply()) return;
                reply = call.createReply();
                std::apply([&](const auto&... answers) { ((reply << answers), ...); }, out);
            } catch (const sdbus::Error& error) {
                if (call.doesntExpectReply()) return;
                reply = call.createErrorReply(error);
            }
            reply.send();
        } catch (const sdbus::Error&) {
            return;  // the caller or the bus is gone
        }
    }

    sdbus::IObject& m_object;
    const std::string m_interface;
    remote::BusConnection& m_connection;
    WorkerPool& m_workers;
};

}  // namespace television::bus

#endif
