#include "platform_adaptation/system_access/value_access_base.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "lomodelapi/object_type_spec.h"
#include "lomodelapi/root_interface.h"
#include "platform_adaptation/system_access/system_access.h"
#include "platform_adaptation/system_access/value_handler.h"
#include "recorders.h"
#include "television_test.h"

using namespace lomodelapi;
using simulated::Value;
using simulated::Written;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::LogLine;
using tests::ValueRecorder;

namespace {

constexpr char FILE_NAME[] = "value_access_base.cpp";

struct TypeAndValue {
    ObjectTypeSpec type;
    Value value;
};

// Every type of object with a valid value.
std::vector<TypeAndValue> everyType() {
    return {
        {OBJECT_TYPE_NONE, {}},
        {OBJECT_TYPE_NUMERIC_INTEGER, 11},
        {OBJECT_TYPE_STRING, std::string("text")},
        {OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, std::vector<int>{1, 2}},
        {OBJECT_TYPE_VECTOR_STRING, std::vector<std::string>{"a", "b"}},
        {OBJECT_TYPE_ACTION, {}},
        {OBJECT_TYPE_TABLE, {}},
        {OBJECT_TYPE_VECTOR_INTEGER, {}},
        {OBJECT_TYPE_NUMERIC_INT64, 22LL},
    };
}

// An accessor whose connect() returns `status` if that is not 0, and otherwise connects to an object of any
// type.
class BareAccess : public ValueAccessBase {
  public:
    using ValueAccessBase::ValueAccessBase;

    int connect(int timeoutMs) override {
        timeouts.push_back(timeoutMs);
        return status != 0 ? status : getRootInterface()->connectValue(getName(), nullptr, m_value);
    }

    int disconnect() override {
        m_value = nullptr;
        return 0;
    }

    int status = 0;
    std::vector<int> timeouts;  // the argument of each call of connect()
};

class BaseTest : public tests::TelevisionTest {
  protected:
    void define(ObjectTypeSpec type, const Value& value) { model.define({"", KEY, type, value, {}, ""}); }

    static LogLine line(unsigned level, const char* function, const std::string& message) {
        return {level, FILE_NAME, function, message};
    }

    std::size_t errorsLogged() const {
        const std::vector<LogLine> lines = log.lines();
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(),
                          [](const LogLine& candidate) { return candidate.level == tests::ERROR; }));
    }

    static constexpr char KEY[] = "test.base.value";

    BareAccess access{KEY};
};

// The texts of the object types

struct TypeText {
    int type;
    const char* text;
};

void PrintTo(const TypeText& row, std::ostream* out) { *out << row.type << ' ' << row.text; }

class AnObjectType : public testing::TestWithParam<TypeText> {};

TEST_P(AnObjectType, HasAText) {
    EXPECT_STREQ(ValueAccessBase::accessTypeName(static_cast<ObjectTypeSpec>(GetParam().type)),
                 GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    , AnObjectType,
    testing::Values(TypeText{1, "OBJECT_TYPE_NUMERIC_INTEGER"}, TypeText{2, "OBJECT_TYPE_STRING"},
                    TypeText{3, "OBJECT_TYPE_VECTOR_NUMERIC_INTEGER"},
                    TypeText{4, "OBJECT_TYPE_VECTOR_STRING"}, TypeText{5, "OBJECT_TYPE_ACTION"},
                    TypeText{6, "OBJECT_TYPE_TABLE"}, TypeText{7, "OBJECT_TYPE_VECTOR_INTEGER"},
                    TypeText{8, "OBJECT_TYPE_NUMERIC_INT64"}, TypeText{0, "OBJECT_TYPE_NONE"},
                    TypeText{9, "OBJECT_TYPE_NONE"}, TypeText{-1, "OBJECT_TYPE_NONE"},
                    TypeText{INT_MAX, "OBJECT_TYPE_NONE"}, TypeText{INT_MIN, "OBJECT_TYPE_NONE"}));

// The model's root

class TheRootInterface : public BaseTest {
  protected:
    const LogLine lookupFailed =
        line(tests::ERROR, "getRootInterface", "get interface Reference failed.\n\n");
};

TEST_F(TheRootInterface, IsTheRootOfTheModel) {
    EXPECT_EQ(ValueAccessBase::getRootInterface(), model.root());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(TheRootInterface, IsRequestedTwicePerLookup) {
    ValueAccessBase::getRootInterface();
    EXPECT_EQ(television.framework().lookups(), 1U);
    EXPECT_EQ(television.framework().rootQuestions(), 2U);
}

TEST_F(TheRootInterface, IsLookedUpAgainAtEachCall) {
    ValueAccessBase::getRootInterface();
    ValueAccessBase::getRootInterface();
    EXPECT_EQ(television.framework().lookups(), 2U);
    television.framework().withholdRoot(true);
    EXPECT_EQ(ValueAccessBase::getRootInterface(), nullptr);
    television.framework().withholdRoot(false);
    EXPECT_EQ(ValueAccessBase::getRootInterface(), model.root());
}

TEST_F(TheRootInterface, IsNullIfTheLookupFails) {
    for (const int status : {1, -1}) {
        television.framework().failLookups(status);
        EXPECT_EQ(ValueAccessBase::getRootInterface(), nullptr) << status;
    }
    EXPECT_EQ(television.framework().rootQuestions(), 0U);
    television.framework().failLookups(0);
    EXPECT_EQ(ValueAccessBase::getRootInterface(), model.root());
}

TEST_F(TheRootInterface, IsLoggedOnceForEachFailedLookup) {
    television.framework().failLookups(1);
    ValueAccessBase::getRootInterface();
    EXPECT_EQ(log.count(lookupFailed), 1U);
    ValueAccessBase::getRootInterface();
    EXPECT_EQ(log.count(lookupFailed), 2U);
}

TEST_F(TheRootInterface, IsNullIfTheInterfaceHasNone) {
    television.framework().withholdRoot(true);
    EXPECT_EQ(ValueAccessBase::getRootInterface(), nullptr);
    EXPECT_EQ(television.framework().rootQuestions(), 1U);
    EXPECT_EQ(log.count(lookupFailed), 0U);
}

// Name, type and connection

using AnAccessor = BaseTest;

TEST_F(AnAccessor, HasTheNameOfItsConstructor) {
    EXPECT_EQ(access.getName(), KEY);
    EXPECT_EQ(BareAccess("").getName(), "");
}

TEST_F(AnAccessor, DoesNotConnectWhenItIsCreatedOrDestroyed) {
    { const BareAccess other(KEY); }
    EXPECT_EQ(television.framework().lookups(), 0U);
}

TEST_F(AnAccessor, HasNoTypeUntilItIsConnected) {
    define(OBJECT_TYPE_NUMERIC_INTEGER, 1);
    EXPECT_EQ(access.getType(), 0);
    EXPECT_THAT(log.lines(), ElementsAre(line(tests::ERROR, "getType",
                                              std::string("Unknown Type since value is not connected  : ") +
                                                  KEY + ".\n")));
    EXPECT_THAT(access.timeouts, IsEmpty());
}

TEST_F(AnAccessor, HasTheTypeOfItsObjectWhileItIsConnected) {
    for (const auto& [type, value] : everyType()) {
        define(type, value);
        ASSERT_EQ(access.tryConnectIfNeeded(), 0);
        log.clear();
        EXPECT_EQ(access.getType(), type);
        EXPECT_THAT(log.lines(), IsEmpty());
        access.disconnect();
    }
}

class AConnectionOnDemand : public BaseTest {
  protected:
    void SetUp() override { define(OBJECT_TYPE_NUMERIC_INTEGER, 1); }
};

TEST_F(AConnectionOnDemand, HasATimeoutOfOneSecondByDefault) {
    EXPECT_EQ(access.tryConnectIfNeeded(), 0);
    EXPECT_THAT(access.timeouts, ElementsAre(1000));
}

TEST_F(AConnectionOnDemand, IsMadeOnlyIfNoneExists) {
    access.tryConnectIfNeeded();
    log.clear();
    EXPECT_EQ(access.tryConnectIfNeeded(), 0);
    EXPECT_THAT(access.timeouts, ElementsAre(1000));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(AConnectionOnDemand, IsLoggedIfItSucceeds) {
    access.tryConnectIfNeeded();
    EXPECT_THAT(log.lines(),
                ElementsAre(line(tests::INFO, "tryConnectIfNeeded",
                                 std::string("BizValue connect successfully:'") + KEY + "'.\n")));
}

TEST_F(AConnectionOnDemand, IsLoggedWithItsStatusIfItFails) {
    for (const int status : {5, 6, 8, -3}) {
        access.status = status;
        log.clear();
        EXPECT_EQ(access.tryConnectIfNeeded(), status);
        EXPECT_THAT(log.lines(), ElementsAre(line(tests::ERROR, "tryConnectIfNeeded",
                                                  std::string("BizValue connect failed:'") + KEY +
                                                      "', ret: " + std::to_string(status) + "\n")));
    }
}

TEST_F(AConnectionOnDemand, IsTriedOnceForEachAccess) {
    access.status = 5;
    int number = 0;
    EXPECT_EQ(access.getValue(number), 5);
    EXPECT_EQ(access.timeouts.size(), 1U);
    EXPECT_EQ(access.setValue(1), 5);
    EXPECT_EQ(access.timeouts.size(), 2U);
    access.status = 0;
    EXPECT_EQ(access.getValue(number), 0);
    EXPECT_EQ(access.timeouts.size(), 3U);
}

// Typed reads and writes

// The type of object that a C++ type belongs to, and two values of it.
template <typename T>
struct Typed;

template <>
struct Typed<std::string> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_STRING;
    static std::string initial() { return "HDMI1"; }
    static std::string other() { return std::string("\xC3\xA4\0 %s", 6); }
};

template <>
struct Typed<int> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_NUMERIC_INTEGER;
    static int initial() { return INT_MIN; }
    static int other() { return 55; }
};

template <>
struct Typed<long long> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_NUMERIC_INT64;
    static long long initial() { return LLONG_MIN; }
    static long long other() { return 0x1'0000'0005; }
};

template <>
struct Typed<std::vector<std::string>> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_VECTOR_STRING;
    static std::vector<std::string> initial() { return {"play", "", "0"}; }
    static std::vector<std::string> other() { return {"z", "a"}; }
};

template <>
struct Typed<std::vector<int>> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_VECTOR_NUMERIC_INTEGER;
    static std::vector<int> initial() { return {3, -4, 3}; }
    static std::vector<int> other() { return {5, 7}; }
};

// The form in which the model receives a written value.
template <typename T>
Written asWritten(const T& value) {
    return value;
}

template <typename T>
Written asWritten(const std::vector<T>& list) {
    std::map<int, T> positions;
    for (std::size_t i = 0; i < list.size(); ++i) positions[static_cast<int>(i)] = list[i];
    return positions;
}

using AllTypes = testing::Types<std::string, int, long long, std::vector<std::string>, std::vector<int>>;

template <typename T>
class ARead : public BaseTest {
  protected:
    void SetUp() override { define(Typed<T>::TYPE, Typed<T>::initial()); }
};

TYPED_TEST_SUITE(ARead, AllTypes);

TYPED_TEST(ARead, ReturnsTheValueOfTheModel) {
    TypeParam value = Typed<TypeParam>::other();
    EXPECT_EQ(this->access.getValue(value), 0);
    EXPECT_EQ(value, Typed<TypeParam>::initial());
    this->model.set(this->KEY, Typed<TypeParam>::other());
    EXPECT_EQ(this->access.getValue(value), 0);
    EXPECT_EQ(value, Typed<TypeParam>::other());
}

TYPED_TEST(ARead, ConnectsIfNecessary) {
    TypeParam value{};
    this->access.getValue(value);
    EXPECT_THAT(this->access.timeouts, ElementsAre(1000));
    this->access.getValue(value);
    EXPECT_THAT(this->access.timeouts, ElementsAre(1000));
}

TYPED_TEST(ARead, ReturnsTheStatusOfAFailedConnection) {
    TypeParam value = Typed<TypeParam>::other();
    this->access.status = 77;
    EXPECT_EQ(this->access.getValue(value), 77);
    EXPECT_EQ(value, Typed<TypeParam>::other());
}

TYPED_TEST(ARead, IsRefusedForEveryOtherType) {
    for (const auto& [type, initial] : everyType()) {
        if (type == Typed<TypeParam>::TYPE) continue;
        const std::string name = ValueAccessBase::accessTypeName(type);
        SCOPED_TRACE(name);
        this->define(type, initial);
        this->access.tryConnectIfNeeded();
        this->log.clear();
        TypeParam value = Typed<TypeParam>::other();
        EXPECT_EQ(this->access.getValue(value), 6);
        EXPECT_EQ(value, Typed<TypeParam>::other());
        EXPECT_THAT(this->log.lines(), ElementsAre(this->line(tests::ERROR, "getValue",
                                                              "Object Type mismatch:  " + name + "\n")));
    }
    this->define(Typed<TypeParam>::TYPE, Typed<TypeParam>::initial());
    TypeParam value = Typed<TypeParam>::other();
    EXPECT_EQ(this->access.getValue(value), 0);
    EXPECT_EQ(value, Typed<TypeParam>::initial());
}

// The types whose reads return a status of the model.
template <typename T>
class AReadWithAnAnswer : public ARead<T> {};

using TypesWithAnAnswer = testing::Types<std::string, std::vector<std::string>, std::vector<int>>;
TYPED_TEST_SUITE(AReadWithAnAnswer, TypesWithAnAnswer);

TYPED_TEST(AReadWithAnAnswer, ReturnsTheStatusOfTheModel) {
    for (const int status : {42, -1}) {
        simulated::KeyFaults faults;
        faults.readStatus = status;
        this->model.setFaults(this->KEY, faults);
        TypeParam value = Typed<TypeParam>::other();
        EXPECT_EQ(this->access.getValue(value), status);
        EXPECT_EQ(value, Typed<TypeParam>::other());
    }
    EXPECT_EQ(this->errorsLogged(), 0U);
    this->model.setFaults(this->KEY, {});
    TypeParam value = Typed<TypeParam>::other();
    EXPECT_EQ(this->access.getValue(value), 0);
    EXPECT_EQ(value, Typed<TypeParam>::initial());
}

template <typename T>
class AWrite : public BaseTest {
  protected:
    void SetUp() override { define(Typed<T>::TYPE, Typed<T>::initial()); }

    static constexpr bool ofNumber = std::is_arithmetic_v<T>;
};

TYPED_TEST_SUITE(AWrite, AllTypes);

TYPED_TEST(AWrite, PassesTheValueToTheModel) {
    EXPECT_EQ(this->access.setValue(Typed<TypeParam>::other()), 0);
    EXPECT_THAT(this->model.writes(this->KEY), ElementsAre(asWritten(Typed<TypeParam>::other())));
    EXPECT_EQ(this->model.value(this->KEY), Value(Typed<TypeParam>::other()));
    EXPECT_EQ(this->errorsLogged(), 0U);
}

TYPED_TEST(AWrite, IsPassedEvenIfItChangesNothing) {
    EXPECT_EQ(this->access.setValue(Typed<TypeParam>::initial()), 0);
    EXPECT_THAT(this->model.writes(this->KEY), ElementsAre(asWritten(Typed<TypeParam>::initial())));
}

TYPED_TEST(AWrite, SucceedsEvenIfTheModelRefusesTheValue) {
    simulated::KeyFaults faults;
    faults.refuseWrites = true;
    this->model.setFaults(this->KEY, faults);
    EXPECT_EQ(this->access.setValue(Typed<TypeParam>::other()), 0);
    EXPECT_EQ(this->model.value(this->KEY), Value(Typed<TypeParam>::initial()));
    EXPECT_EQ(this->errorsLogged(), 0U);
}

TYPED_TEST(AWrite, LogsItsEntryBeforeItConnects) {
    this->access.setValue(Typed<TypeParam>::other());
    EXPECT_EQ(this->log.countEnter(FILE_NAME, "setValue"), 1U);
    const std::vector<LogLine> lines = this->log.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines.front().level, unsigned{tests::TRACE});
    EXPECT_EQ(lines.back().level, unsigned{tests::INFO});
}

TYPED_TEST(AWrite, ConnectsIfNecessary) {
    this->access.setValue(Typed<TypeParam>::other());
    EXPECT_THAT(this->access.timeouts, ElementsAre(1000));
    this->access.setValue(Typed<TypeParam>::initial());
    EXPECT_THAT(this->access.timeouts, ElementsAre(1000));
}

TYPED_TEST(AWrite, ReturnsTheStatusOfAFailedConnection) {
    this->access.status = 77;
    EXPECT_EQ(this->access.setValue(Typed<TypeParam>::other()), 77);
    EXPECT_EQ(this->log.countEnter(FILE_NAME, "setValue"), 1U);
    EXPECT_THAT(this->model.writes(this->KEY), IsEmpty());
}

TYPED_TEST(AWrite, IsRefusedForEveryOtherType) {
    for (const auto& [type, initial] : everyType()) {
        const bool isNumeric = type == OBJECT_TYPE_NUMERIC_INTEGER || type == OBJECT_TYPE_NUMERIC_INT64;
        if (type == Typed<TypeParam>::TYPE || (this->ofNumber && isNumeric)) continue;
        const std::string name = ValueAccessBase::accessTypeName(type);
        SCOPED_TRACE(name);
        this->define(type, initial);
        this->access.tryConnectIfNeeded();
        this->log.clear();
        EXPECT_EQ(this->access.setValue(Typed<TypeParam>::other()), 6);
        const std::string message =
            this->ofNumber ? "STATUS_ERR_VALUE_TYPE_MISMATCH\n" : "Object Type mismatch:  " + name + "\n";
        EXPECT_EQ(this->errorsLogged(), 1U);
        EXPECT_EQ(this->log.count(this->line(tests::ERROR, "setValue", message)), 1U);
        EXPECT_EQ(this->model.value(this->KEY), initial);
    }
    EXPECT_THAT(this->model.writes(this->KEY), IsEmpty());
    this->define(Typed<TypeParam>::TYPE, Typed<TypeParam>::initial());
    EXPECT_EQ(this->access.setValue(Typed<TypeParam>::other()), 0);
}

template <typename T>
class AnEmptyList : public BaseTest {
  protected:
    void SetUp() override { define(Typed<T>::TYPE, Typed<T>::initial()); }
};

using Lists = testing::Types<std::vector<std::string>, std::vector<int>>;
TYPED_TEST_SUITE(AnEmptyList, Lists);

TYPED_TEST(AnEmptyList, IsWrittenAsAnEmptyMap) {
    EXPECT_EQ(this->access.setValue(TypeParam()), 0);
    EXPECT_THAT(this->model.writes(this->KEY), ElementsAre(asWritten(TypeParam())));
}

TYPED_TEST(AnEmptyList, IsReadAsAnEmptyList) {
    this->model.set(this->KEY, TypeParam());
    TypeParam value = Typed<TypeParam>::other();
    EXPECT_EQ(this->access.getValue(value), 0);
    EXPECT_THAT(value, IsEmpty());
}

TEST_F(AnAccessor, WritesEachItemOfAListAtItsPosition) {
    define(OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, std::vector<int>{});
    EXPECT_EQ(access.setValue(std::vector<int>{5, 7}), 0);
    EXPECT_THAT(model.writes(KEY), ElementsAre(Written(std::map<int, int>{{0, 5}, {1, 7}})));
}

TEST_F(AnAccessor, QueriesTheTypeOfItsObjectAtEachAccess) {
    define(OBJECT_TYPE_NUMERIC_INTEGER, 1);
    ASSERT_EQ(access.setValue(2), 0);
    define(OBJECT_TYPE_NUMERIC_INT64, 1LL);
    EXPECT_EQ(access.setValue(3), 0);
    EXPECT_THAT(model.writes(KEY), ElementsAre(Written(2), Written(3LL)));
    int number = 9;
    EXPECT_EQ(access.getValue(number), 6);
    EXPECT_EQ(number, 9);
    define(OBJECT_TYPE_NUMERIC_INTEGER, 4);
    EXPECT_EQ(access.getValue(number), 0);
    EXPECT_EQ(number, 4);
}

// Integers of either width

TEST_F(AnAccessor, SignExtendsAnIntegerForA64BitKey) {
    define(OBJECT_TYPE_NUMERIC_INT64, 0LL);
    for (const int value : {-1, INT_MIN, INT_MAX, 0}) EXPECT_EQ(access.setValue(value), 0);
    EXPECT_THAT(model.writes(KEY),
                ElementsAre(Written(-1LL), Written(-2147483648LL), Written(2147483647LL), Written(0LL)));
}

TEST_F(AnAccessor, WritesAWideIntegerThatFitsToA32BitKey) {
    define(OBJECT_TYPE_NUMERIC_INTEGER, 0);
    for (const long long value : {2147483647LL, -2147483648LL, -1LL}) EXPECT_EQ(access.setValue(value), 0);
    EXPECT_THAT(model.writes(KEY), ElementsAre(Written(INT_MAX), Written(INT_MIN), Written(-1)));
    EXPECT_EQ(errorsLogged(), 0U);
}

TEST_F(AnAccessor, RefusesAWideIntegerThatDoesNotFitA32BitKey) {
    define(OBJECT_TYPE_NUMERIC_INTEGER, 0);
    for (const long long value : {2147483648LL, -2147483649LL, 4294967296LL, LLONG_MAX, LLONG_MIN}) {
        log.clear();
        EXPECT_EQ(access.setValue(value), 6) << value;
        EXPECT_EQ(errorsLogged(), 1U);
        EXPECT_EQ(log.count(line(tests::ERROR, "setValue",
                                 "Value is too large for int32 value:  [" + std::to_string(value) + "] \n")),
                  1U);
    }
    EXPECT_THAT(model.writes(KEY), IsEmpty());
}

TEST_F(AnAccessor, WritesEveryWideIntegerToA64BitKey) {
    define(OBJECT_TYPE_NUMERIC_INT64, 0LL);
    for (const long long value : {LLONG_MAX, LLONG_MIN, 2147483648LL}) EXPECT_EQ(access.setValue(value), 0);
    EXPECT_THAT(model.writes(KEY),
                ElementsAre(Written(LLONG_MAX), Written(LLONG_MIN), Written(2147483648LL)));
}

// Which lines are logged

TEST_F(AnAccessor, LogsOnlyTheLevelsThatAreOn) {
    using Verbosity = simulated::DebugOutput::Verbosity;
    const std::vector<std::pair<Verbosity, std::set<unsigned>>> table{
        {Verbosity::OFF, {}},
        {Verbosity::ERROR, {tests::ERROR}},
        {Verbosity::INFO, {tests::ERROR, tests::INFO}},
        {Verbosity::TRACE, {tests::ERROR, tests::INFO, tests::TRACE}},
    };
    define(OBJECT_TYPE_NUMERIC_INTEGER, 0);
    for (const auto& [verbosity, levels] : table) {
        television.debugOutput().setVerbosity(verbosity);
        log.clear();
        // This read logs one line of each level: its entry, the connection and the type mismatch.
        EXPECT_EQ(access.setValue(std::string("text")), 6);
        access.disconnect();
        std::set<unsigned> logged;
        for (const LogLine& candidate : log.lines()) logged.insert(candidate.level);
        EXPECT_EQ(logged, levels);
    }
}

// The owner's handler

using AHandler = BaseTest;

TEST_F(AHandler, ReceivesTheNewValue) {
    const auto handler = std::make_shared<ValueRecorder>();
    access.setNewValueHandler(handler);
    access.onNewValue(ValueObject("HDMI1"));
    access.onNewValue(ValueObject(7));
    EXPECT_THAT(handler->kindsAndTexts(),
                ElementsAre(std::pair(int{ValueObject::TYPE_STRING}, std::string("HDMI1")),
                            std::pair(int{ValueObject::TYPE_INT}, std::string("7"))));
}

TEST_F(AHandler, IsReleasedWhenItIsReplaced) {
    auto first = std::make_shared<ValueRecorder>();
    const auto second = std::make_shared<ValueRecorder>();
    const std::weak_ptr<ValueRecorder> watched = first;
    access.setNewValueHandler(std::move(first));
    ASSERT_FALSE(watched.expired());
    access.setNewValueHandler(second);
    EXPECT_TRUE(watched.expired());
    access.onNewValue(ValueObject(7));
    EXPECT_EQ(second->received.count(), 1U);
}

TEST_F(AHandler, IsReleasedWhenItIsReplacedByNull) {
    const auto handler = std::make_shared<ValueRecorder>();
    access.setNewValueHandler(handler);
    access.setNewValueHandler(nullptr);
    access.onNewValue(ValueObject(7));
    EXPECT_THAT(handler->kindsAndTexts(), IsEmpty());
    EXPECT_EQ(handler.use_count(), 1);
}

TEST_F(AHandler, IsReleasedWithTheAccessor) {
    const auto handler = std::make_shared<ValueRecorder>();
    {
        BareAccess other(KEY);
        other.setNewValueHandler(handler);
        EXPECT_EQ(handler.use_count(), 2);
    }
    EXPECT_EQ(handler.use_count(), 1);
}

TEST_F(AHandler, LogsItsReplacement) {
    access.setNewValueHandler(std::make_shared<ValueRecorder>());
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.countEnter(FILE_NAME, "setNewValueHandler"), 1U);
}

TEST_F(AHandler, IsNotRequiredForANewValue) {
    access.onNewValue(ValueObject(7));
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.countEnter(FILE_NAME, "onNewValue"), 1U);
}

TEST_F(AHandler, IsCalledAfterTheEnterLine) {
    class Looking : public ValueHandler {
      public:
        explicit Looking(const tests::LogRecorder& log) : m_log(log) {}
        void onNewValue(const ValueObject&) override { entries = m_log.countEnter(FILE_NAME, "onNewValue"); }
        std::size_t entries = 0;

      private:
        const tests::LogRecorder& m_log;
    };
    const auto handler = std::make_shared<Looking>(log);
    access.setNewValueHandler(handler);
    access.onNewValue(ValueObject(7));
    EXPECT_EQ(handler->entries, 1U);
}

}  // namespace
