#include "model_operations.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "platform_adaptation/system_access/action_access.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "platform_adaptation/system_access/source_switch_access_impl.h"
#include "platform_adaptation/system_access/value_access.h"

namespace soak {

namespace {

using Integer = ValueAccessT<lomodelapi::ObserverNumericInteger>;
using String = ValueAccessT<lomodelapi::ObserverString>;
using Integers = ValueAccessT<lomodelapi::ObserverVectorNumericInteger>;
using Strings = ValueAccessT<lomodelapi::ObserverVectorString>;

constexpr char GAME_MODE[] = "dovra.sl2.i32.video.enum.instant.game.response";
constexpr char HDR_TYPE[] = "dovra.sl2.str.servicemode.videoinfo.hdrtype";
constexpr char PLAY_ATTRIBUTES[] = "dovra.sl2.vstr.tvservice.play.main";
constexpr char PQ_SETTING[] = "dovra.sl2.vint.video.aipq.pq.setting";
constexpr char CHANNEL_LIST[] = "dovra.sl2.table.channel.list";
constexpr char SWITCH_ACTION[] = "dovra.sl2.action.source.switch";

bool anything(int) { return true; }

class Follower final : public ValueHandler {
  public:
    void onNewValue(const ValueObject& value) override { received.set(static_cast<int>(value)); }
    Awaited<int> received;
};

class Rows final : public IteratorHandler {
  public:
    void onIteratorReady(int count) override { ready.set(count); }
    void onReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        read.set(static_cast<int>(rows.size()));
    }
    void onCommit(int) override {}
    void onTotalCount(int) override {}
    void onSeekToRow(int) override {}
    void onSeekToContent(int) override {}
    void onCursorPosition(int) override {}
    void onReadRow(const std::vector<std::string>&) override {}
    void onUpdate(int) override {}

    Awaited<int> ready;
    Awaited<int> read;
};

class Answers final : public ActionHandler {
  public:
    void onActionResult(int, const ValueObject&) override { result.set(0); }
    void onActionFailed(int, int error) override { result.set(error); }
    Awaited<int> result;
};

}  // namespace

bool useValues(Dice& dice) {
    const auto follower = std::make_shared<Follower>();
    Integer gameMode(GAME_MODE, follower);
    const int value = dice.between(1000, 1'000'000);
    if (gameMode.connect(1000) != 0 || gameMode.setValue(value) != 0) return false;
    const bool notified = follower->received.waitUntil([&](int latest) { return latest == value; });
    std::string text;
    std::vector<std::string> texts;
    std::vector<int> numbers;
    return notified && String(HDR_TYPE).getValue(text) == 0 &&
           Strings(PLAY_ATTRIBUTES).getValue(texts) == 0 && Integers(PQ_SETTING).getValue(numbers) == 0;
}

bool readList(Dice& dice) {
    const auto rows = std::make_shared<Rows>();
    IteratorAccess list(CHANNEL_LIST, rows, {0, 10}, {}, {0, 1, 2}, {{1, dice.toss()}});
    if (list.create() != 0 || list.getIterator() == nullptr) return false;
    const bool read = rows->ready.waitUntil(anything) && list.getIterator()->readRowChunk(10) == 0 &&
                      rows->read.waitUntil([](int count) { return count > 0; });
    // In half of the runs, the destructor of the accessor releases the iterator.
    if (dice.toss()) list.destroy();
    return read;
}

bool invokeAction(Dice&) {
    const auto answers = std::make_shared<Answers>();
    ActionAccess action(SWITCH_ACTION, answers);
    unsigned id = 0;
    return action.connect(1000) == 0 &&
           action.invoke(id, {{0, 0, "soak"}, {0, 1, "3"}, {0, 2, "soak"}, {0, 3, "4"}}) == 0 &&
           answers->result.waitUntil([](int error) { return error == 0; });
}

bool changeChannel(Dice& dice) {
    static constexpr std::array<const char*, 5> uris{"dvb://1.1051.28006", "dvb://1.1051.28007",
                                                     "dvb://1.1079.28205", "dvb://1.1079.28206",
                                                     "dvb://1.1101.28721"};
    SourceSwitchAccess& television = *SourceSwitchAccessImpl::GetInstance();
    switch (dice.between(0, 3)) {
        case 0:
            return television.setChannelNext();
        case 1:
            return television.setChannelPrev();
        case 2:
            return television.setChannelByUUIDs("c0000002", "f0000001", dice.toss());
        default:
            return television.setChannelByURI(uris[static_cast<std::size_t>(dice.between(0, 4))],
                                              dice.toss());
    }
}

bool changePlayback(Dice& dice) {
    SourceSwitchAccess& television = *SourceSwitchAccessImpl::GetInstance();
    const bool paused = dice.toss() ? television.pauseVideo() : television.pauseAV();
    const bool resumed = dice.toss() ? television.resumeVideo() : television.resumePSIAV();
    return paused && resumed && television.setQuietFlag(dice.between(0, 1)) == 0;
}

bool takeResources(Dice&) {
    SourceSwitchAccess& television = *SourceSwitchAccessImpl::GetInstance();
    return television.requestResourceFromSystem(SourceSwitchAccess::RESOURCE_AV) &&
           television.releaseResourceToSystem(SourceSwitchAccess::RESOURCE_AV);
}

}  // namespace soak
