// The simulated television as a process of its own, which a test starts, controls over its bus, and kills.
#ifndef TESTS_TELEVISION_PROCESS_H
#define TESTS_TELEVISION_PROCESS_H

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "child_process.h"
#include "protocol.h"

namespace tests {

// The folder that stands for this program's XDG_RUNTIME_DIR; gone when the program ends.
const std::filesystem::path& runtimeFolder();

// What there is of televisions: sockets, configurations, locks.
std::vector<std::string> televisionFiles();

// All operations: the test's main thread.
class TelevisionProcess {
  public:
    using Positions = std::vector<sdbus::Struct<std::uint16_t, std::string>>;
    using Rows = std::vector<std::vector<std::string>>;

    // Not started yet. `options` are those of the program, but for its name.
    explicit TelevisionProcess(std::string name, std::vector<std::string> options = {"--video", "off"});

    const std::string& name() const { return m_name; }
    std::string address() const;

    // Whether it came up.
    bool start();
    // Does not wait until it is up.
    void launch();
    bool waitUntilUp();
    // Ends it; its exit code.
    std::optional<int> stop();
    // As kill -9 does, whatever it is doing.
    void kill();
    bool isOn() { return m_process && m_process->isRunning(); }
    ChildProcess& process() { return *m_process; }

    // A property of a key's object, or of the television's own for an empty key. Throw sdbus::Error.
    template <typename T>
    T property(const std::string& key, const std::string& interface, const std::string& name) {
        return proxy(key)->getProperty(name).onInterface(interface);
    }
    template <typename T>
    void setProperty(const std::string& key, const std::string& interface, const std::string& name,
                     const T& value) {
        proxy(key)->setProperty(name).onInterface(interface).toValue(value);
    }

    template <typename T>
    T get(const std::string& key) {
        return property<T>(key, VALUE, "Value");
    }
    template <typename T>
    void set(const std::string& key, const T& value) {
        setProperty(key, VALUE, "Value", value);
    }
    void setRows(const std::string& table, const Rows& rows) { setProperty(table, TABLE, "Rows", rows); }

    // Clients that follow a key now, and iterators open on a table.
    unsigned subscribers(const std::string& key) { return property<std::uint32_t>(key, KEY, "Subscribers"); }
    unsigned iterators(const std::string& table) {
        return property<std::uint32_t>(table, TABLE, "Iterators");
    }
    std::vector<std::string> applications() {
        return property<std::vector<std::string>>("", TELEVISION, "Applications");
    }

    // A method of the television's own object.
    template <typename... In>
    void call(const std::string& method, const In&... arguments) {
        const auto television = proxy("");
        sdbus::MethodCall message = television->createMethodCall(TELEVISION, method);
        ((message << arguments), ...);
        television->callMethod(message);
    }
    void setFault(const std::string& key, const std::string& fault, std::int64_t value) {
        call("SetFault", key, fault, value);
    }
    void tell(const std::string& application, const std::string& news, const std::string& url = "",
              const std::string& text = "", int number = 0) {
        call("Tell", application, news, url, text, std::int32_t{number});
    }

    // The object of a key, or of the television for an empty key, on a connection of this television's life.
    std::unique_ptr<sdbus::IProxy> proxy(const std::string& key);

    static constexpr char TELEVISION[] = "aipq.Television";
    static constexpr char KEY[] = "aipq.television.Key";
    static constexpr char VALUE[] = "aipq.television.Value";
    static constexpr char TABLE[] = "aipq.television.Table";
    static constexpr char ACTION[] = "aipq.television.Action";
    static constexpr char FAULTS[] = "aipq.television.Faults";

  private:
    const std::string m_name;
    const std::vector<std::string> m_options;
    std::unique_ptr<ChildProcess> m_process;
    std::unique_ptr<sdbus::IConnection> m_connection;
};

// Starts the program, which must fail: with this exit code, and one line that begins so.
void expectRefusal(const std::vector<std::string>& options, int exitCode, const std::string& line,
                   const std::map<std::string, std::string>& environment = {});

// A file of this text in runtimeFolder().
std::string fileWith(const std::string& name, const std::string& text);

// The catalogue that a television has without options, with the lines of `keys` added to it.
std::string catalogueWith(const std::string& keys);

}  // namespace tests

#endif
