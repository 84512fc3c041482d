// Handlers that record a client's notifications as texts, and short names for the accessors.
#ifndef TESTS_RECORDERS_H
#define TESTS_RECORDERS_H

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "platform_adaptation/system_access/table_access.h"
#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_state.h"
#include "received.h"

namespace tests {

using Integer = ValueAccessT<lomodelapi::ObserverNumericInteger>;
using Int64 = ValueAccessT<lomodelapi::ObserverNumericInt64>;
using String = ValueAccessT<lomodelapi::ObserverString>;
using Integers = ValueAccessT<lomodelapi::ObserverVectorNumericInteger>;
using Strings = ValueAccessT<lomodelapi::ObserverVectorString>;

class ValueRecorder final : public ValueHandler {
  public:
    void onNewValue(const ValueObject& value) override {
        {
            const std::lock_guard lock(m_mutex);
            m_values.push_back(value);
        }
        received.add(value.convertToStringType());
    }

    std::vector<ValueObject> values() const {
        const std::lock_guard lock(m_mutex);
        return m_values;
    }
    std::vector<std::pair<int, std::string>> kindsAndTexts() const {
        std::vector<std::pair<int, std::string>> all;
        for (const ValueObject& value : values()) all.emplace_back(value.type(), value.convertToStringType());
        return all;
    }
    Received received;

  private:
    mutable std::mutex m_mutex;
    std::vector<ValueObject> m_values;
};

// Records each notification as a text and then calls the test's function, if one is set.
class Recording {
  public:
    explicit Recording(std::function<void()> then) : m_then(std::move(then)) {}
    ~Recording() { EXPECT_FALSE(m_inside) << "destroyed in its own call"; }
    Received received;

  protected:
    void receive(const std::string& text) {
        m_inside = true;
        received.add(text);
        if (m_then) m_then();
        m_inside = false;
    }

  private:
    const std::function<void()> m_then;
    std::atomic<bool> m_inside{false};
};

class ActionRecorder final : public ActionHandler, public Recording {
  public:
    explicit ActionRecorder(std::function<void()> then = {}) : Recording(std::move(then)) {}
    void onActionResult(int id, const ValueObject& answer) override {
        result = answer;
        capacity = answer.items.capacity();
        receive(resultText(id, answer));
    }
    void onActionFailed(int id, int error) override { receive(failureText(id, error)); }

    static std::string resultText(int id, const ValueObject& result) {
        return std::to_string(id) + " " + result.convertToStringType();
    }
    static std::string failureText(int id, int error) {
        return std::to_string(id) + " failed " + std::to_string(error);
    }

    // The last result and the capacity of its list. Read them after `received` has recorded the notification.
    ValueObject result;
    std::size_t capacity = 0;
};

class IteratorRecorder final : public IteratorHandler, public Recording {
  public:
    using Row = std::vector<std::string>;

    explicit IteratorRecorder(std::function<void()> then = {}) : Recording(std::move(then)) {}
    void onCommit(int status) override { add("commit", status); }
    void onTotalCount(int count) override { add("total", count); }
    void onSeekToRow(int row) override { add("seek", row); }
    void onSeekToContent(int row) override { add("content", row); }
    void onCursorPosition(int row) override { add("cursor", row); }
    void onReadRow(const Row& row) override { add(std::string("row ").append(joined(row)), &row); }
    void onReadRowChunk(const std::vector<const Row*>& rows) override {
        std::string all = "chunk";
        for (const Row* const row : rows) all.append(" ").append(joined(*row));
        add(all, &rows);
    }
    void onIteratorReady(int count) override { add("ready", count); }
    void onUpdate(int kind) override { add("update", kind); }

    // The address of the last argument, or null if that was a number. Read it after `received` has recorded
    // the notification.
    const void* address = nullptr;

  private:
    void add(const std::string& what, int number) { add(what + " " + std::to_string(number), nullptr); }
    void add(const std::string& text, const void* argument) {
        address = argument;
        receive(text);
    }
    static std::string joined(const Row& row) {
        std::string all;
        for (const std::string& cell : row) all.append(&cell == row.data() ? "" : ",").append(cell);
        return all;
    }
};

// A service that records the television's power states.
class Service {
  public:
    explicit Service(const char* name) : m_state(std::make_unique<SystemState>(name)) {
        m_state->registerCallBackTVPowerState(
            [](TVPowerState state, void* self) {
                static_cast<Service*>(self)->received.add(std::to_string(state));
            },
            this);
    }
    SystemState& state() { return *m_state; }
    Received received;

  private:
    std::unique_ptr<SystemState> m_state;  // declared last and destroyed first: its callback uses `received`
};

}  // namespace tests

#endif
