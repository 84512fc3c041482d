// Receivers of everything that a client can be told, which keep it as texts, and the names that tests use
// with them.
#ifndef TESTS_RECORDERS_H
#define TESTS_RECORDERS_H

#include <memory>
#include <string>
#include <vector>

#include "heard.h"
#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "platform_adaptation/system_access/table_access.h"
#include "platform_adaptation/system_access/value_access.h"
#include "platform_adaptation/system_state.h"

namespace tests {

constexpr char BRIGHTNESS[] = "dovra.sl2.i32.video.brightness";
constexpr char CONTRAST[] = "dovra.sl2.i32.video.contrast";
constexpr char SOURCE[] = "dovra.sl2.str.source.current.path";
constexpr char HDR_TYPE[] = "dovra.sl2.str.servicemode.videoinfo.hdrtype";
constexpr char PQ_SETTING[] = "dovra.sl2.vint.video.aipq.pq.setting";
constexpr char PLAY_ATTRIBUTES[] = "dovra.sl2.vstr.tvservice.play.main";
constexpr char SWITCH_ACTION[] = "dovra.sl2.action.source.switch";
constexpr char CHANNELS[] = "dovra.sl2.table.channel.list";

using Integer = ValueAccessT<lomodelapi::ObserverNumericInteger>;
using Int64 = ValueAccessT<lomodelapi::ObserverNumericInt64>;
using String = ValueAccessT<lomodelapi::ObserverString>;
using Integers = ValueAccessT<lomodelapi::ObserverVectorNumericInteger>;
using Strings = ValueAccessT<lomodelapi::ObserverVectorString>;

class ValueRecorder final : public ValueHandler {
  public:
    void onNewValue(const ValueObject& value) override { heard.add(value.convertToStringType()); }
    Heard heard;
};

class ActionRecorder final : public ActionHandler {
  public:
    void onActionResult(int id, const ValueObject& result) override {
        heard.add(std::to_string(id) + " result " + result.convertToStringType());
    }
    void onActionFailed(int id, int error) override {
        heard.add(std::to_string(id) + " failed " + std::to_string(error));
    }
    Heard heard;
};

class IteratorRecorder final : public IteratorHandler {
  public:
    void onCommit(int status) override { add("commit", status); }
    void onTotalCount(int count) override { add("total", count); }
    void onSeekToRow(int row) override { add("seek", row); }
    void onSeekToContent(int row) override { add("content", row); }
    void onCursorPosition(int row) override { add("cursor", row); }
    void onReadRow(const std::vector<std::string>& row) override { heard.add("row" + text(row)); }
    void onReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        std::string all = "chunk";
        for (const auto* const row : rows) all += text(*row);
        heard.add(all);
    }
    void onIteratorReady(int count) override { add("ready", count); }
    void onUpdate(int kind) override { add("update", kind); }
    Heard heard;

  private:
    void add(const std::string& what, int number) { heard.add(what + " " + std::to_string(number)); }
    static std::string text(const std::vector<std::string>& row) {
        std::string all = " ";
        for (const std::string& cell : row) all.append("|").append(cell);
        return all;
    }
};

// A service that is told what becomes of the television.
class Service {
  public:
    explicit Service(const char* name) : m_state(std::make_unique<SystemState>(name)) {
        m_state->registerCallBackTVPowerState(
            [](TVPowerState state, void* self) {
                static_cast<Service*>(self)->heard.add(std::to_string(state));
            },
            this);
    }
    SystemState& state() { return *m_state; }
    Heard heard;

  private:
    std::unique_ptr<SystemState> m_state;  // last: it uses what is heard
};

}  // namespace tests

#endif
