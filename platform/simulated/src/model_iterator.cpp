#include <algorithm>
#include <utility>

#include "model_implementation.h"
#include "row_selection.h"

using namespace lomodelapi;

namespace simulated {

namespace {

// The kind of iterator that follows its table's changes.
constexpr int FOLLOWING = 1;

}  // namespace

int Model::Implementation::Iterator::requestTotalCount() {
    return request([this] {
        return [total = count()](ObserverTableIterator& receiver) { receiver.notifyTotalCount(total); };
    });
}

int Model::Implementation::Iterator::requestCursorPosition() {
    return request([this] {
        return [row = isRow(cursor) ? cursor : -1](ObserverTableIterator& receiver) {
            receiver.notifyCursorPosition(row);
        };
    });
}

int Model::Implementation::Iterator::seekToRow(int wanted) {
    return request([this, wanted] {
        if (isRow(wanted)) cursor = wanted;
        return [row = isRow(wanted) ? wanted : -1](ObserverTableIterator& receiver) {
            receiver.notifySeekToRow(row);
        };
    });
}

// `column` is an index into the columns that the iterator reads.
int Model::Implementation::Iterator::seekToContent(int column, const std::string& value) {
    return request([&] {
        const int found = findRow(rows, column, value);
        if (found >= 0) cursor = found;
        return [found](ObserverTableIterator& receiver) { receiver.notifySeekToContent(found); };
    });
}

int Model::Implementation::Iterator::readRow() {
    return request([this] {
        std::vector<std::string> row;
        if (isRow(cursor)) row = rows[static_cast<std::size_t>(cursor++)];
        return [row](ObserverTableIterator& receiver) { receiver.notifyReadRow(row); };
    });
}

int Model::Implementation::Iterator::readRowChunk(int wanted) {
    return request([this, wanted] {
        Rows chunk;
        for (int i = 0; i < std::min(wanted, type.chunkSize) && isRow(cursor); ++i)
            chunk.push_back(rows[static_cast<std::size_t>(cursor++)]);
        return [chunk](ObserverTableIterator& receiver) {
            std::vector<const std::vector<std::string>*> pointers;
            for (const auto& row : chunk) pointers.push_back(&row);
            receiver.notifyReadRowChunk(pointers);
        };
    });
}

int Model::Implementation::Iterator::commit() {
    return request([] { return [](ObserverTableIterator& receiver) { receiver.notifyCommit(0); }; });
}

void Model::Implementation::Iterator::open(const ClientObject* newAccess, const IteratorType& newType,
                                           ObserverTableIterator* newObserver,
                                           const std::vector<TableSelection>& newSelections,
                                           const std::vector<int>& newColumns,
                                           const std::vector<TableOrder>& newOrders) {
    access = newAccess;
    type = newType;
    observer = newObserver;
    selections = newSelections;
    columns = newColumns;
    orders = newOrders;
    cursor = 0;
    refresh();
    enqueue([count = count()](ObserverTableIterator& receiver) { receiver.notifyIteratorReady(count); });
}

void Model::Implementation::Iterator::close(std::unique_lock<std::mutex>& lock) {
    const Observer* const closed = observer;
    observer = nullptr;
    ++life;
    model.m_call.waitUntilLeft(closed, lock);
}

void Model::Implementation::Iterator::follow() {
    if (observer == nullptr || type.kind != FOLLOWING) return;
    refresh();
    enqueue([](ObserverTableIterator& receiver) { receiver.notifyUpdate(0); });
}

int Model::Implementation::Iterator::request(const std::function<Notify()>& ask) {
    key.takeTime();
    const std::lock_guard lock(model.m_mutex);
    if (observer == nullptr || !key.offered) return STATUS_UNAVAILABLE;
    if (key.faults.readStatus != 0) return key.faults.readStatus;
    enqueue(ask());
    return 0;
}

void Model::Implementation::Iterator::enqueue(Notify notify) {
    model.enqueue(
        key,
        [notify = std::move(notify)](Observer* receiver) {
            notify(*static_cast<ObserverTableIterator*>(receiver));
        },
        this, life);
}

void Model::Implementation::Iterator::refresh() {
    rows = selectRows(key.definition.rows, selections, columns, orders);
    cursor = std::min(cursor, count());
}

}  // namespace simulated
