// The channel table.
#include <algorithm>
#include <memory>

#include "catalogue/keys.h"
#include "lomodelapi/table.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "visit.h"

namespace conformance {

namespace {

using catalogue::keys::CHANNEL_LIST;

constexpr int CHUNK = 100;

class Notifications final : public IteratorHandler {
  public:
    void onIteratorReady(int count) override { ready.add(count); }
    void onReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        chunks.add(rows.size());
    }
    void onTotalCount(int) override { others.add(0); }
    void onCommit(int) override { others.add(0); }
    void onSeekToRow(int) override { others.add(0); }
    void onSeekToContent(int) override { others.add(0); }
    void onCursorPosition(int) override { others.add(0); }
    void onReadRow(const std::vector<std::string>&) override { others.add(0); }
    void onUpdate(int) override { others.add(0); }

    std::size_t count() const { return ready.size() + chunks.size() + others.size(); }

    Record<int> ready;
    Record<std::size_t> chunks;
    Record<int> others;
};

template <typename T>
T awaitFirst(const Visit& visit, const Record<T>& record, const std::string& what) {
    const Clock::time_point begin = Clock::now();
    if (!visit.waitUntil(GIVE_UP, [&] { return record.size() > 0; }))
        throw Failure{what + " did not come within " + seconds(GIVE_UP),
                      "Let the table notify the iterator's observer, on a thread of the model."};
    const auto first = record.entries().front();
    if (first.when - begin > IN_TIME)
        throw Failure{
            what + " came after " + seconds(first.when - begin) + ", later than " + seconds(IN_TIME),
            "Find what delays the answers of the table."};
    return first.value;
}

void requireAccepted(int status, const std::string& what) {
    if (status == 0) return;
    throw Failure{what + " was refused (status " + std::to_string(status) + ")",
                  "See why the model does not let this process read the table."};
}

Passed checkChannels(Visit& visit) {
    const auto notifications = std::make_shared<Notifications>();
    const auto list =
        std::make_shared<IteratorAccess>(CHANNEL_LIST, notifications, lomodelapi::IteratorType{0, CHUNK},
                                         std::vector<lomodelapi::TableSelection>(), std::vector<int>{0, 1},
                                         std::vector<lomodelapi::TableOrder>());
    visit.keep(list);
    if (const int status = list->create(); status != 0)
        throw Failure{"cannot be connected (status " + std::to_string(status) + ")",
                      "Let the model offer a table of exactly this name."};
    const std::shared_ptr<void> opened(nullptr, [&](void*) { list->destroy(); });
    if (list->getIterator() == nullptr)
        throw Failure{"creates no iterator",
                      "See why createIterator() of the table returns null to this process."};

    const int count = awaitFirst(visit, notifications->ready, "the notification that the iterator is ready");
    requireAccepted(timed("requesting rows", [&] { return list->getIterator()->readRowChunk(CHUNK); }),
                    "reading rows");
    const std::size_t rows = awaitFirst(visit, notifications->chunks, "the rows");
    const std::size_t wanted = static_cast<std::size_t>(std::clamp(count, 0, CHUNK));
    if (rows != wanted)
        throw Failure{std::to_string(rows) + " rows were read of " + std::to_string(count),
                      "Let readRowChunk() give every row up to the iterator's chunk size of " +
                          std::to_string(CHUNK) + "."};

    // The answer to a request just before the release must not arrive after the release.
    requireAccepted(list->getIterator()->requestTotalCount(), "requesting the number of rows");
    list->destroy();
    const std::size_t before = notifications->count();
    visit.pause(QUIET);
    if (notifications->count() != before)
        throw Failure{"the iterator's observer was notified after its release",
                      "Let releaseIterator() return only when the observer is not called any more: the "
                      "library destroys it next."};
    return {std::to_string(rows) + " rows read, released",
            count == 0 ? "There is no channel: scan for channels to check more than an empty table." : ""};
}

}  // namespace

std::vector<Check> channelChecks() {
    return {{"channels",
             CHANNEL_LIST,
             "whether an iterator opens, reads rows and is silent once released",
             {"framework", nameOf("key", CHANNEL_LIST)},
             checkChannels}};
}

}  // namespace conformance
