#include "forwarding_observers.h"

#include "wire_value.h"

using lomodelapi::Argument;
using remote::toWire;

namespace iteration = remote::iteration;

namespace television {

void ForwardingObserver::notifyAvailability(bool available) {
    m_sender.send("Available", m_subscription, available);
}
void ForwardingObserver::notifyNewValue(int value) { sendValue(value); }
void ForwardingObserver::notifyNewValue(long long value) { sendValue(value); }
void ForwardingObserver::notifyNewValue(const std::string& value) { sendValue(value); }
void ForwardingObserver::notifyIntegerVector(const std::vector<int>& value) { sendValue(value); }
void ForwardingObserver::notifyStringVector(const std::vector<std::string>& value) { sendValue(value); }
void ForwardingObserver::notifyExecutionError(unsigned id, int error) {
    m_sender.send("Failed", m_subscription, std::uint32_t{id}, std::int32_t{error});
}
void ForwardingObserver::notifyResult(unsigned id, const std::vector<Argument>& result) {
    m_sender.send("Result", m_subscription, std::uint32_t{id}, toWire(result));
}
void ForwardingObserver::notifyUpdate(int kind) {
    m_sender.send("Updated", m_subscription, std::int32_t{kind});
}

void ForwardingObserver::sendValue(const simulated::Value& value) {
    m_sender.send("Value", m_subscription, remote::toVariant(value));
}

void ForwardingIteratorObserver::notifyCommit(int status) { send(iteration::COMMIT, status); }
void ForwardingIteratorObserver::notifyTotalCount(int count) { send(iteration::TOTAL_COUNT, count); }
void ForwardingIteratorObserver::notifySeekToRow(int row) { send(iteration::SEEK_TO_ROW, row); }
void ForwardingIteratorObserver::notifySeekToContent(int row) { send(iteration::SEEK_TO_CONTENT, row); }
void ForwardingIteratorObserver::notifyCursorPosition(int row) { send(iteration::CURSOR_POSITION, row); }
void ForwardingIteratorObserver::notifyIteratorReady(int count) { send(iteration::READY, count); }
void ForwardingIteratorObserver::notifyUpdate(int kind) { send(iteration::UPDATE, kind); }
void ForwardingIteratorObserver::notifyReadRow(const std::vector<std::string>& row) {
    send(iteration::READ_ROW, 0, {toWire(row)});
}
void ForwardingIteratorObserver::notifyReadRowChunk(
    const std::vector<const std::vector<std::string>*>& rows) {
    remote::WireRows wire;
    for (const auto* const row : rows) wire.push_back(toWire(*row));
    send(iteration::READ_ROW_CHUNK, 0, wire);
}

void ForwardingIteratorObserver::send(const char* operation, int number, const remote::WireRows& rows) {
    m_sender.send("IteratorNews", m_iterator, std::string(operation), std::int32_t{number}, rows);
}

}  // namespace television
