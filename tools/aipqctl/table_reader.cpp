#include "table_reader.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <utility>

#include "bell.h"
#include "failure.h"
#include "key_definitions.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "television_presence.h"

namespace aipqctl {

namespace {

constexpr std::chrono::seconds TABLE_ANSWER_LIMIT{10};
// The interval of the checks whether the television has left.
constexpr std::chrono::milliseconds TABLE_LOOK_PERIOD{500};
constexpr int CHUNK = 64;

// Passes the answers from the model's thread to the reading thread.
class Answers final : public IteratorHandler {
  public:
    void onIteratorReady(int count) override { take(m_count, count); }
    void onReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        Rows copies;
        for (const auto* const row : rows) copies.push_back(*row);
        take(m_rows, copies);
    }
    void onCommit(int) override {}
    void onTotalCount(int) override {}
    void onSeekToRow(int) override {}
    void onSeekToContent(int) override {}
    void onCursorPosition(int) override {}
    void onReadRow(const std::vector<std::string>&) override {}
    void onUpdate(int) override {}

    std::optional<int> count() { return waitFor(m_count); }
    std::optional<Rows> rows() { return waitFor(m_rows); }

  private:
    template <typename T>
    void take(std::optional<T>& answer, const T& value) {
        const std::lock_guard lock(m_mutex);
        answer = value;
        m_changed.notify_all();
    }

    template <typename T>
    std::optional<T> waitFor(std::optional<T>& answer) {
        for (const auto limit = Clock::now() + TABLE_ANSWER_LIMIT; Clock::now() < limit;
             requireSameTelevision()) {
            std::unique_lock lock(m_mutex);
            if (m_changed.wait_for(lock, TABLE_LOOK_PERIOD, [&] { return answer.has_value(); }))
                return std::exchange(answer, std::nullopt);
        }
        return {};
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<int> m_count;
    std::optional<Rows> m_rows;
};

}  // namespace

Rows readTable(const std::string& key, std::size_t columns) {
    requireTelevision();
    std::vector<int> wanted(columns);
    std::iota(wanted.begin(), wanted.end(), 0);
    const auto answers = std::make_shared<Answers>();
    IteratorAccess table(key, answers, {0, CHUNK}, {}, wanted, {});
    if (table.create() != 0) {
        requireSameTelevision();
        throw Failure(EXIT_UNKNOWN,
                      "the television has no key '" + key + "'" +
                          (findKey(key) != nullptr ? "" : suggestion(key, keyNames(Keys::TABLES))));
    }
    lomodelapi::TableIterator* const iterator = table.getIterator();
    if (iterator == nullptr) {
        requireSameTelevision();
        throw Failure(EXIT_WRONG_TYPE, key + " returns no rows: it is not a table, or not available now");
    }

    const Failure silent(EXIT_REFUSED, key + " does not answer: try again, or look at its log with -v");
    const std::optional<int> count = answers->count();
    if (!count) throw silent;
    Rows rows;
    while (rows.size() < static_cast<std::size_t>(std::max(*count, 0))) {
        if (const int status = iterator->readRowChunk(CHUNK); status != 0) {
            requireSameTelevision();
            throw Failure(EXIT_REFUSED, key + " cannot be read: the television answers with status " +
                                            std::to_string(status));
        }
        const std::optional<Rows> chunk = answers->rows();
        if (!chunk) throw silent;
        if (chunk->empty()) break;
        rows.insert(rows.end(), chunk->begin(), chunk->end());
    }
    table.destroy();
    return rows;
}

}  // namespace aipqctl
