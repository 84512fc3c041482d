// The simulated television in its own process, which a test starts, controls over the bus, and kills.
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

// The temporary folder that this program uses as its XDG_RUNTIME_DIR. It is removed when the program ends.
const std::filesystem::path& runtimeFolder();

// The names of the files of all televisions in runtimeFolder(): sockets, configurations, locks.
std::vector<std::string> televisionFiles();

// Call all operations on the test's main thread.
class TelevisionProcess {
  public:
    using Positions = std::vector<sdbus::Struct<std::uint16_t, std::string>>;
    using Rows = std::vector<std::vector<std::string>>;

    // Does not start the program. `options` are the program's options except --name.
    explicit TelevisionProcess(std::string name, std::vector<std::string> options = {"--video", "off"});

    const std::string& name() const { return m_name; }
    std::string address() const;

    // Starts the program and waits until it is ready. Returns false if it does not become ready.
    bool start();
    // Starts the program without waiting until it is ready.
    void launch();
    bool waitUntilUp();
    // Ends the program and returns its exit code.
    std::optional<int> stop();
    // Sends SIGKILL.
    void kill();
    bool isOn() { return m_process && m_process->isRunning(); }
    ChildProcess& process() { return *m_process; }

    // Access a property of a key's object, or of the television's object if the key is empty. Throw
    // sdbus::Error.
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

    // The current numbers of a key's subscribers and of a table's open iterators.
    unsigned subscribers(const std::string& key) { return property<std::uint32_t>(key, KEY, "Subscribers"); }
    unsigned iterators(const std::string& table) {
        return property<std::uint32_t>(table, TABLE, "Iterators");
    }
    std::vector<std::string> applications() {
        return property<std::vector<std::string>>("", TELEVISION, "Applications");
    }

    // Calls a method of the television's object.
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
    void notify(const std::string& application, const std::string& notification, const std::string& url = "",
                const std::string& text = "", int number = 0) {
        call("Notify", application, notification, url, text, std::int32_t{number});
    }

    // Returns a proxy of the key's object, or of the television's object if the key is empty. The connection
    // is replaced when the television is started again.
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

// Starts the program and expects it to fail with this exit code and one line of error output that begins with
// `line`.
void expectRefusal(const std::vector<std::string>& options, int exitCode, const std::string& line,
                   const std::map<std::string, std::string>& environment = {});

// Writes a file with this text into runtimeFolder() and returns its path.
std::string fileWith(const std::string& name, const std::string& text);

// Writes the default catalogue with the lines of `keys` added to it, and returns the file's path.
std::string catalogueWith(const std::string& keys);

}  // namespace tests

#endif
