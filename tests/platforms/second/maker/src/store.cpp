#include "orbit/store.hpp"

#include <algorithm>
#include <map>
#include <mutex>

#include "delivery_thread.h"

namespace orbit {

namespace {

class TheStore;

class TheNode final : public Node {
  public:
    TheNode(TheStore& store, std::string path, Kind kind, Datum datum, std::vector<Row> rows)
        : m_store(store),
          m_path(std::move(path)),
          m_kind(kind),
          m_datum(std::move(datum)),
          m_rows(std::move(rows)) {}

    Kind kind() const override { return m_kind; }
    Outcome get(Datum& out) const override;
    Outcome set(Datum datum) override;
    Outcome call(Inputs inputs, std::function<void(int, std::vector<std::string>)> done) override;
    Outcome rows(std::vector<Row>& out) const override;

  private:
    TheStore& m_store;
    const std::string m_path;
    const Kind m_kind;
    Datum m_datum;
    const std::vector<Row> m_rows;
};

class TheStore final : public Store {
  public:
    TheStore();

    Node* find(std::string_view path) override {
        const auto found = m_nodes.find(path);
        return found != m_nodes.end() ? found->second.get() : nullptr;
    }

    Outcome watch(Ticket& ticket, std::shared_ptr<Watcher> watcher, std::string_view path) override {
        if (find(path) == nullptr) return Outcome::NoSuchNode;
        const std::lock_guard lock(mutex);
        ticket = ++m_lastTicket;
        m_watchers.emplace(ticket, std::pair(std::string(path), std::move(watcher)));
        return Outcome::Fine;
    }

    Outcome unwatch(Ticket ticket) override {
        const std::lock_guard lock(mutex);
        return m_watchers.erase(ticket) == 1 ? Outcome::Fine : Outcome::NoSuchTicket;
    }

    void post(std::function<void()> work) override { m_thread.post(std::move(work)); }

    Outcome settle() override {
        if (m_thread.isThis()) return Outcome::OnDeliveryThread;
        m_thread.settle();
        return Outcome::Fine;
    }

    // Called with the mutex locked, so that changes are announced in order.
    void tell(const std::string& path, const Datum& datum) {
        for (const auto& [ticket, entry] : m_watchers)
            if (entry.first == path)
                post([watcher = entry.second, path, datum] { watcher->changed(path, datum); });
    }

    std::mutex mutex;  // guards all values and the watchers

  private:
    void add(const char* path, Kind kind, Datum datum = {}, std::vector<Row> rows = {}) {
        m_nodes.emplace(path,
                        std::make_unique<TheNode>(*this, path, kind, std::move(datum), std::move(rows)));
    }

    std::map<std::string, std::unique_ptr<TheNode>, std::less<>> m_nodes;
    std::map<Ticket, std::pair<std::string, std::shared_ptr<Watcher>>> m_watchers;
    Ticket m_lastTicket = 0;
    DeliveryThread m_thread;
};

TheStore::TheStore() {
    using Strings = std::vector<std::string>;
    add("dovra.sl2.i32.video.ai.pq.switch", Kind::Number, 1);
    add("dovra.sl2.i32.video.aipq.supported", Kind::Number, 1);
    add("dovra.sl2.str.source.current.path", Kind::Text, std::string("TV"));
    add("dovra.sl2.str.video.format.info", Kind::Text, std::string("3840x2160p@60"));
    add("dovra.sl2.vstr.tvservice.play.main", Kind::Texts,
        Strings{"play", "1", "0", "0", "0", "0", "0", "0", "1", "0"});
    add("dovra.sl2.i32.video.brightness", Kind::Number, 40);
    add("dovra.sl2.i32.video.enum.dnc", Kind::Number, 1);
    add("dovra.sl2.i32.video.color.tuner", Kind::Number, 0);
    add("dovra.sl2.i32.video.color.tuner.luma", Kind::Number, 0);
    add("dovra.sl2.i32.video.color.tuner.sat", Kind::Number, 0);
    add("dovra.sl2.i32.video.color.tuner.hue", Kind::Number, 0);
    add("dovra.sl2.vint.video.aipq.pq.setting", Kind::Numbers, std::vector<std::int32_t>(27));
    add("dovra.sl2.action.source.switch", Kind::Command);
    add("dovra.sl2.i32.tvservice.no-banner", Kind::Number, 0);
    add("dovra.sl2.table.channel.list", Kind::Grid, {},
        {{"3", "Gamma", "sat://3"}, {"1", "Alpha", "sat://1"}, {"2", "Beta", "sat://2"}});
    // Only this platform has these keys.
    add("orbit.uptime", Kind::LongNumber, std::int64_t{1} << 40);
}

Outcome TheNode::get(Datum& out) const {
    const std::lock_guard lock(m_store.mutex);
    if (m_datum.index() == 0) return Outcome::WrongKind;
    out = m_datum;
    return Outcome::Fine;
}

Outcome TheNode::set(Datum datum) {
    const std::lock_guard lock(m_store.mutex);
    if (m_datum.index() == 0 || datum.index() != m_datum.index()) return Outcome::WrongKind;
    m_datum = std::move(datum);
    m_store.tell(m_path, m_datum);
    return Outcome::Fine;
}

// The only command. The second input names the operation; an unknown name fails.
Outcome TheNode::call(Inputs inputs, std::function<void(int, std::vector<std::string>)> done) {
    if (m_kind != Kind::Command) return Outcome::WrongKind;
    const bool known = std::any_of(inputs.begin(), inputs.end(), [](const auto& input) {
        return input.first == 1 && (input.second == "2" || input.second == "3" || input.second == "8");
    });
    m_store.post([done = std::move(done), known] {
        done(known ? 0 : 17, known ? std::vector<std::string>{"done"} : std::vector<std::string>{});
    });
    return Outcome::Fine;
}

Outcome TheNode::rows(std::vector<Row>& out) const {
    if (m_kind != Kind::Grid) return Outcome::WrongKind;
    out = m_rows;
    return Outcome::Fine;
}

}  // namespace

std::unique_ptr<Store> Store::open(std::string_view service, Outcome& outcome) {
    outcome = service == "orbit://television" ? Outcome::Fine : Outcome::NoService;
    return outcome == Outcome::Fine ? std::make_unique<TheStore>() : nullptr;
}

}  // namespace orbit
