// The store of a television of another make: nodes under paths, each with a datum, a command or a grid.
#ifndef ORBIT_STORE_HPP
#define ORBIT_STORE_HPP

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace orbit {

enum class Outcome { Fine, NoService, NoSuchNode, WrongKind, NoSuchTicket, OnDeliveryThread };

enum class Kind { Number, LongNumber, Text, Numbers, Texts, Command, Grid };

using Datum = std::variant<std::monostate, std::int32_t, std::int64_t, std::string, std::vector<std::int32_t>,
                           std::vector<std::string>>;
using Row = std::vector<std::string>;
using Inputs = std::vector<std::pair<int, std::string>>;  // by position
using Ticket = std::uint64_t;

class Watcher {
  public:
    virtual ~Watcher() = default;
    virtual void changed(const std::string& path, const Datum& datum) = 0;
};

// Lives as long as the store.
class Node {
  public:
    virtual Kind kind() const = 0;
    virtual Outcome get(Datum& out) const = 0;
    virtual Outcome set(Datum datum) = 0;  // of the node's kind
    // `done` receives a code, 0 after success, and the outputs.
    virtual Outcome call(Inputs inputs, std::function<void(int code, std::vector<std::string>)> done) = 0;
    virtual Outcome rows(std::vector<Row>& out) const = 0;

  protected:
    ~Node() = default;
};

// The store delivers everything on its one delivery thread.
class Store {
  public:
    static std::unique_ptr<Store> open(std::string_view service, Outcome& outcome);
    virtual ~Store() = default;

    virtual Node* find(std::string_view path) = 0;  // null if there is none

    virtual Outcome watch(Ticket& ticket, std::shared_ptr<Watcher> watcher, std::string_view path) = 0;
    // Returns at once: what is on its way arrives all the same.
    virtual Outcome unwatch(Ticket ticket) = 0;

    virtual void post(std::function<void()> work) = 0;
    // Waits until everything pending has been delivered.
    virtual Outcome settle() = 0;
};

}  // namespace orbit

#endif
