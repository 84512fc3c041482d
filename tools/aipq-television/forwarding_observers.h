// Observers that forward the model's notifications to a client as signals.
#ifndef AIPQ_TELEVISION_FORWARDING_OBSERVERS_H
#define AIPQ_TELEVISION_FORWARDING_OBSERVERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "lomodelapi/observer.h"
#include "protocol.h"
#include "signal_sender.h"
#include "simulated/model.h"

namespace television {

// Forwards the notifications of one subscription. It observes every type; the client decides which types it
// handles.
class ForwardingObserver final : public lomodelapi::ObserverNumericInteger,
                                 public lomodelapi::ObserverNumericInt64,
                                 public lomodelapi::ObserverString,
                                 public lomodelapi::ObserverVectorNumericInteger,
                                 public lomodelapi::ObserverVectorString,
                                 public lomodelapi::ObserverAction,
                                 public lomodelapi::ObserverTable {
  public:
    ForwardingObserver(SignalSender& sender, std::uint32_t subscription)
        : m_sender(sender), m_subscription(subscription) {}

    lomodelapi::Observer* asObserver() { return static_cast<lomodelapi::ObserverNumericInteger*>(this); }

    void notifyAvailability(bool available) override;
    void notifyNewValue(int value) override;
    void notifyNewValue(long long value) override;
    void notifyNewValue(const std::string& value) override;
    void notifyIntegerVector(const std::vector<int>& value) override;
    void notifyStringVector(const std::vector<std::string>& value) override;
    void notifyExecutionError(unsigned id, int error) override;
    void notifyResult(unsigned id, const std::vector<lomodelapi::Argument>& result) override;
    void notifyUpdate(int kind) override;

  private:
    void sendValue(const simulated::Value& value);

    SignalSender& m_sender;
    const std::uint32_t m_subscription;
};

// Forwards the notifications of one iterator.
class ForwardingIteratorObserver final : public lomodelapi::ObserverTableIterator {
  public:
    ForwardingIteratorObserver(SignalSender& sender, std::uint32_t iterator)
        : m_sender(sender), m_iterator(iterator) {}

    void notifyCommit(int status) override;
    void notifyTotalCount(int count) override;
    void notifySeekToRow(int row) override;
    void notifySeekToContent(int row) override;
    void notifyCursorPosition(int row) override;
    void notifyIteratorReady(int count) override;
    void notifyUpdate(int kind) override;
    void notifyReadRow(const std::vector<std::string>& row) override;
    void notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override;

  private:
    void send(const char* operation, int number, const remote::WireRows& rows = {});

    SignalSender& m_sender;
    const std::uint32_t m_iterator;
};

}  // namespace television

#endif
