// The operations that access the model, and those on values and pictures.
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "lomodelapi/table.h"
#include "platform_adaptation/ai_common.h"
#include "platform_adaptation/system_access/iterator_access.h"
#include "platform_adaptation/system_access/table_access.h"
#include "round.h"

using namespace lomodelapi;
using namespace std::chrono_literals;
using namespace tests::keys;
using korvale::ai::PictureData;
using tests::Int64;
using tests::Integer;
using tests::Integers;
using tests::String;
using tests::Strings;

namespace stress {

namespace {

class Rows final : public IteratorHandler {
  public:
    void onCommit(int) override { receive(); }
    void onTotalCount(int) override { receive(); }
    void onSeekToRow(int) override { receive(); }
    void onSeekToContent(int) override { receive(); }
    void onCursorPosition(int) override { receive(); }
    void onReadRow(const Texts&) override { receive(); }
    void onReadRowChunk(const std::vector<const Texts*>&) override { receive(); }
    void onIteratorReady(int) override { receive(); }
    void onUpdate(int) override { receive(); }
    std::atomic<bool> silent{false};

  private:
    void receive() {
        EXPECT_FALSE(silent) << "called after its accessor had been destroyed";
        inside(ON_ITERATOR, FOR_MODEL);
    }
};

class Table final : public TableHandler {
  public:
    void onUpdate(int) override { ADD_FAILURE() << "the library called TableHandler::onUpdate()"; }
};

// Removes itself and disconnects its accessor once, unless the owner has prevented that.
class Leaving final : public ValueHandler {
  public:
    void onNewValue(const ValueObject&) override {
        int idle = 0;
        if (!begun.compare_exchange_strong(idle, 1)) return;
        access.load()->setNewValueHandler(nullptr);
        EXPECT_EQ(access.load()->disconnect(), 0);
        left.set_value();
    }
    std::atomic<Integer*> access{nullptr};
    std::atomic<int> begun{0};
    std::promise<void> left;
};

}  // namespace

// An accessor is created, connected, used, disconnected, connected again and destroyed.
template <typename Access, typename Value>
void Round::lifeOf(const std::string& key, const Value& written, Random& random) {
    const auto handler = std::make_shared<Values>();
    {
        Access own(key, handler);
        if (random.oneIn(2)) expectStatus(own.connect(random.below(150)));
        Value read{};
        expectStatus(own.getValue(read));
        if (random.oneIn(2)) expectStatus(own.setValue(written));
        if (random.oneIn(2)) {
            EXPECT_EQ(own.disconnect(), 0);
            own.setNewValueHandler(random.oneIn(2) ? nullptr : handler);
            handler->silent = true;
            std::this_thread::sleep_for(std::chrono::microseconds(random.below(2000)));
            handler->silent = false;
            expectStatus(own.setValue(written));
        }
    }
    handler->silent = true;
}

void Round::addValues() {
    // Connecting to a key of another type disconnects again, so connect() may wait for the model's thread.
#define VALUE_OPERATIONS(access, Type, written, notification, notified)                                \
    ADD(access, getType);                                                                              \
    add(#access ".getName", [this](Random&) { EXPECT_FALSE(access.getName().empty()); });              \
    add(                                                                                               \
        #access ".tryConnectIfNeeded", [this](Random&) { expectStatus(access.tryConnectIfNeeded()); }, \
        TO_LEAVE_MODEL);                                                                               \
    add(                                                                                               \
        #access ".connect", [this](Random& random) { expectStatus(access.connect(random.below(2))); }, \
        TO_LEAVE_MODEL);                                                                               \
    add(                                                                                               \
        #access ".getValue",                                                                           \
        [this](Random&) {                                                                              \
            Type value{};                                                                              \
            expectStatus(access.getValue(value));                                                      \
        },                                                                                             \
        TO_LEAVE_MODEL);                                                                               \
    add(                                                                                               \
        #access ".setValue",                                                                           \
        [this](Random& random) {                                                                       \
            const int number = random.below(8);                                                        \
            expectStatus(access.setValue(written));                                                    \
        },                                                                                             \
        TO_LEAVE_MODEL);                                                                               \
    add(                                                                                               \
        #access ".getValue of another type",                                                           \
        [this](Random&) {                                                                              \
            std::vector<int> ints;                                                                     \
            std::vector<std::string> strings;                                                          \
            expectStatus(access.getValue(ints));                                                       \
            expectStatus(access.getValue(strings));                                                    \
        },                                                                                             \
        TO_LEAVE_MODEL);                                                                               \
    ADD(access, onNewValue, ValueObject(5));                                                           \
    ADD(access, notification, notified)

    VALUE_OPERATIONS(brightness, int, number, notifyNewValue, 5);
    VALUE_OPERATIONS(wide, long long, number + 5'000'000'000LL, notifyNewValue, 5LL);
    VALUE_OPERATIONS(source, std::string, std::string(number % 2 == 0 ? "TV" : "HDMI1"), notifyNewValue,
                     std::string("TV"));
    VALUE_OPERATIONS(numbers, std::vector<int>, std::vector<int>(27, number), notifyIntegerVector,
                     std::vector<int>(3, 1));
    VALUE_OPERATIONS(texts, Texts, Texts(10, std::to_string(number)), notifyStringVector, Texts(3, "1"));
    VALUE_OPERATIONS(changing, int, number, notifyNewValue, 5);
#undef VALUE_OPERATIONS
    add("ValueAccessBase::getRootInterface",
        [](Random&) { EXPECT_NE(ValueAccessBase::getRootInterface(), nullptr); });
    add("ValueAccessBase::accessTypeName", [](Random& random) {
        EXPECT_NE(ValueAccessBase::accessTypeName(static_cast<ObjectTypeSpec>(random.below(10))), nullptr);
    });
    add(
        "ValueAccessT of integers lives",
        [this](Random& random) { lifeOf<Integer>(random.of(SETTING_KEYS), random.below(8), random); },
        TO_LEAVE_MODEL);
    add(
        "ValueAccessT of 64 bits lives", [this](Random& random) { lifeOf<Int64>(WIDE, 7LL, random); },
        TO_LEAVE_MODEL);
    add(
        "ValueAccessT of texts lives",
        [this](Random& random) { lifeOf<String>(SOURCE, std::string("HDMI1"), random); }, TO_LEAVE_MODEL);
    add(
        "ValueAccessT of lists lives",
        [this](Random& random) { lifeOf<Integers>(PQ_SETTING, std::vector<int>(27, 3), random); },
        TO_LEAVE_MODEL);
    add(
        "ValueAccessT of lists of texts lives",
        [this](Random& random) { lifeOf<Strings>(PLAY_ATTRIBUTES, Texts(10, "1"), random); }, TO_LEAVE_MODEL);
    add(
        "ValueAccessT of a changing type lives",
        [this](Random& random) { lifeOf<Integer>(CHANGING, 5, random); }, TO_LEAVE_MODEL);
    add(
        "ValueAccessT is disconnected in its own callback",
        [this](Random& random) {
            const auto handler = std::make_shared<Leaving>();
            Integer own(OWN, handler);
            handler->access = &own;
            ASSERT_EQ(own.connect(0), 0);
            m_model.set(OWN, random.below(1000));
            m_model.announce(OWN);
            std::future<void> left = handler->left.get_future();
            if (left.wait_for(100ms) != std::future_status::ready) {
                int idle = 0;
                if (!handler->begun.compare_exchange_strong(idle, 2)) left.wait();
            }
            // Disconnecting waits until the callback has returned, but only if there is a subscription.
            ASSERT_EQ(own.connect(0), 0);
            EXPECT_EQ(own.disconnect(), 0);
        },
        FOR_MODEL, true);
}

void Round::addModel() {
    add("action.invoke", [this](Random& random) {
        unsigned id = 0;
        const int status =
            action.invoke(id, std::vector<Argument>(static_cast<std::size_t>(random.below(4))));
        EXPECT_TRUE(status == 0 || status == 7 || status == 9 || status == -1) << status;
    });
    ADD(action, connect, 0);
    ADD(action, notifyExecutionError, 7, 44);
    ADD(action, notifyResult, 7, {{0, 1, "b"}, {0, 0, "a"}});
    add(
        "ActionAccess lives",
        [](Random& random) {
            ActionAccess own(ACTION);
            own.setActionResultHandler(random.oneIn(2) ? nullptr : std::make_shared<Results>());
            own.connect(random.below(100));
            unsigned id = 0;
            own.invoke(id, {});
            if (random.oneIn(2)) own.disconnect();
        },
        TO_LEAVE_MODEL);
    add(
        "TableAccess lives",
        [](Random& random) {
            TableAccess own(CHANNELS, std::make_shared<Table>());
            own.setActionResultHandler(random.oneIn(2) ? nullptr : std::make_shared<Table>());
            if (own.connect(random.below(100)) == 0) {
                EXPECT_NE(own.getAccess(), nullptr);
            }
            own.notifyUpdate(0);
            if (random.oneIn(2)) own.disconnect();
        },
        TO_LEAVE_MODEL);
    add(
        "IteratorAccess lives",
        [](Random& random) {
            const auto handler = std::make_shared<Rows>();
            {
                IteratorAccess own(CHANNELS, handler, {random.below(2), 3}, {{6, "0"}}, {0, 1}, {{1, true}});
                if (random.oneIn(2)) own.setActionResultHandler(std::make_shared<Rows>());
                const int status = own.create();
                EXPECT_TRUE(status == 0 || status == 4) << status;
                EXPECT_EQ(own.connect(0), 0);
                EXPECT_EQ(own.disconnect(), 0);
                if (TableIterator* const iterator = own.getIterator()) {
                    iterator->requestTotalCount();
                    iterator->requestCursorPosition();
                    iterator->seekToRow(random.below(6));
                    iterator->seekToContent(1, "Night");
                    iterator->readRow();
                    iterator->readRowChunk(random.below(6));
                    iterator->commit();
                    if (random.oneIn(4))
                        std::this_thread::sleep_for(std::chrono::milliseconds(random.below(20)));
                }
                own.notifyReadRow({"1"});
                if (random.oneIn(2)) {
                    EXPECT_EQ(own.destroy(), 0);
                }
            }
            handler->silent = true;
        },
        TO_LEAVE_MODEL);
}

void Round::addSourceSwitch() {
    using S = SourceSwitchAccessImpl;
    const auto addRequest = [this](const char* name, bool (S::*request)()) {
        add(
            std::string("sourceSwitch.") + name, [this, request](Random&) { (sourceSwitch.*request)(); },
            FOR_MODEL);
    };
    addRequest("pauseVideo", &S::pauseVideo);
    addRequest("pausePSI", &S::pausePSI);
    addRequest("pauseAV", &S::pauseAV);
    addRequest("pausePSIAV", &S::pausePSIAV);
    addRequest("resumeVideo", &S::resumeVideo);
    addRequest("resumePSI", &S::resumePSI);
    addRequest("resumeAV", &S::resumeAV);
    addRequest("resumePSIAV", &S::resumePSIAV);
    addRequest("setChannelNext", &S::setChannelNext);
    addRequest("setChannelPrev", &S::setChannelPrev);
    const auto addOfResource = [this](const char* name, bool (S::*request)(S::_ResourceType)) {
        add(
            std::string("sourceSwitch.") + name,
            [this, request](Random& random) {
                (sourceSwitch.*request)(static_cast<S::_ResourceType>(random.below(7) + 1));
            },
            FOR_MODEL);
    };
    addOfResource("requestResourceFromSystem", &S::requestResourceFromSystem);
    addOfResource("releaseResourceToSystem", &S::releaseResourceToSystem);
    addOfResource("changeDTVPlaybackStatus", &S::changeDTVPlaybackStatus);
    add("sourceSwitch.setQuietFlag",
        [this](Random& random) { expectStatus(sourceSwitch.setQuietFlag(random.below(2))); });
    add(
        "sourceSwitch.setChannelByURI",
        [this](Random& random) { sourceSwitch.setChannelByURI("dvb://1.2.3", random.oneIn(2)); }, FOR_MODEL);
    add(
        "sourceSwitch.setChannelByUUIDs",
        [this](Random& random) { sourceSwitch.setChannelByUUIDs("channel-2", "folder", random.oneIn(2)); },
        FOR_MODEL);
    add("sourceSwitch.connectToValue", [this](Random&) { sourceSwitch.connectToValue(SWITCH_ACTION); });
    add("sourceSwitch.onActionResult and waitForResult", [this](Random&) {
        const unsigned id = 0x80000000U + m_names++;
        sourceSwitch.onActionResult(static_cast<int>(id), ValueObject());
        EXPECT_TRUE(sourceSwitch.waitForResult(id));
    });
    add("sourceSwitch.onActionFailed and waitForResult", [this](Random&) {
        const unsigned id = 0x80000000U + m_names++;
        sourceSwitch.onActionFailed(static_cast<int>(id), 44);
        EXPECT_FALSE(sourceSwitch.waitForResult(id));
    });
    add("SourceSwitchAccessImpl::GetInstance",
        [](Random&) { EXPECT_NE(SourceSwitchAccessImpl::GetInstance(), nullptr); });
    add(
        "SourceSwitchAccessImpl lives",
        [](Random&) {
            SourceSwitchAccessImpl own;
            own.setChannelNext();
        },
        FOR_MODEL);
}

void Round::addPlain() {
    add("ValueObject", [this](Random& random) {
        const std::vector<ValueObject> kinds{ValueObject(),
                                             random.below(100),
                                             static_cast<unsigned>(random.below(100)),
                                             static_cast<long long>(random.below(100)),
                                             static_cast<unsigned long long>(random.below(100)),
                                             random.oneIn(2),
                                             0.5F,
                                             2.5,
                                             std::to_string(random.below(100)),
                                             Point{1, random.below(100)},
                                             shared};
        ValueObject list;
        list.kind = ValueObject::TYPE_VECTOR;
        list.items = kinds;
        ValueObject copy(random.of(kinds));
        EXPECT_TRUE(copy == copy);
        list = ValueObject(list);
        copy = list.items[static_cast<std::size_t>(random.below(static_cast<int>(kinds.size())))];
        ValueObject moved(std::move(list));
        EXPECT_EQ(static_cast<Texts>(moved).size(), kinds.size());
        EXPECT_EQ(static_cast<std::vector<int>>(moved).size(), kinds.size());
        EXPECT_EQ(static_cast<std::vector<unsigned>>(shared).size(), 1U);
        EXPECT_EQ(shared.convertToStringType(), "shared by all");
        EXPECT_EQ(static_cast<long long>(copy), static_cast<long long>(ValueObject(copy)));
    });
    add("ai_common", [](Random& random) {
        PictureData picture;
        initPictureData(picture);
        EXPECT_EQ(getChannels(picture.colorMode), 3);
        const int number = random.below(1000) + 1;
        EXPECT_EQ(str2int(std::to_string(number).c_str(), 5), number);
        outputCharSerial("stress", "bytes", 5);
        EXPECT_TRUE(fileExist("/proc/self/status"));
        EXPECT_FALSE(fileExist("/no/such/file"));
        EXPECT_GT(currentThread(), 0);
    });
}

}  // namespace stress
