#include "platform_adaptation/system_access/value_object.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <locale>
#include <new>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "allocation_faults.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tests::allocationsUntilFailure;
using tests::blocksInUse;

constexpr int INT_LOW = std::numeric_limits<int>::min();
constexpr int INT_HIGH = std::numeric_limits<int>::max();
constexpr unsigned UINT_HIGH = std::numeric_limits<unsigned>::max();
constexpr long long INT64_LOW = std::numeric_limits<long long>::min();
constexpr long long INT64_HIGH = std::numeric_limits<long long>::max();
constexpr unsigned long long UINT64_HIGH = std::numeric_limits<unsigned long long>::max();
constexpr float FLOAT_INFINITY = std::numeric_limits<float>::infinity();
constexpr float FLOAT_NAN = std::numeric_limits<float>::quiet_NaN();
constexpr double DOUBLE_INFINITY = std::numeric_limits<double>::infinity();
constexpr double DOUBLE_NAN = std::numeric_limits<double>::quiet_NaN();

const char LONG_TEXT[] = "a text that is too long to be kept within the string object itself";

// Kinds that no operation produces.
const int UNKNOWN_KINDS[] = {11, 12, 100, 254, 256, 257, 264, 266, -1, -246, INT_LOW, INT_HIGH};

// Converts like an initialisation of a T.
template <typename T>
T as(const ValueObject& value) {
    return value;
}

ValueObject ofKind(int kind) {
    ValueObject value;
    value.kind = kind;
    return value;
}

ValueObject list(std::vector<ValueObject> items) {
    ValueObject value = ofKind(ValueObject::TYPE_VECTOR);
    value.items = std::move(items);
    return value;
}

// A value of this kind with all fields set.
ValueObject filled(int kind) {
    ValueObject value;
    value.kind = kind;
    value.scalar.u64 = 0x0102030405060701ULL;
    value.reserved[0] = 11;
    value.reserved[1] = 12;
    value.point = {21, 22};
    value.text = LONG_TEXT;
    value.items = {ValueObject(31), ValueObject(LONG_TEXT)};
    return value;
}

bool holdsFilledText(const ValueObject& value) { return value.text == LONG_TEXT; }
bool holdsFilledItems(const ValueObject& value) {
    return value.items.size() == 2 && value.items[0].kind == ValueObject::TYPE_INT &&
           value.items[0].scalar.i == 31 && value.items[1].kind == ValueObject::TYPE_STRING &&
           value.items[1].text == LONG_TEXT;
}
bool holdsFilledPoint(const ValueObject& value) { return value.point == Point{21, 22}; }

void expectReserved(const ValueObject& value, long long first, long long second) {
    EXPECT_EQ(value.reserved[0], first);
    EXPECT_EQ(value.reserved[1], second);
}

// Compares numbers including the sign of zero; all NaNs are equal.
template <typename T>
bool same(T a, T b) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return a == b && std::signbit(a) == std::signbit(b);
}

// A value converted to each numeric type.
struct Numbers {
    bool asBool;
    int asInt;
    unsigned int asUint;
    long long asInt64;
    unsigned long long asUint64;
    float asFloat;
    double asDouble;
};

void expectNumbers(const ValueObject& value, const Numbers& expected) {
    EXPECT_EQ(as<bool>(value), expected.asBool);
    EXPECT_EQ(as<int>(value), expected.asInt);
    EXPECT_EQ(as<unsigned int>(value), expected.asUint);
    EXPECT_EQ(as<long long>(value), expected.asInt64);
    EXPECT_EQ(as<unsigned long long>(value), expected.asUint64);
    EXPECT_PRED2(same<float>, as<float>(value), expected.asFloat);
    EXPECT_PRED2(same<double>, as<double>(value), expected.asDouble);
}

constexpr Numbers NO_NUMBERS = {false, 0, 0, 0, 0, 0.0F, 0.0};

template <typename T>
struct Conversion {
    T from;
    Numbers to;
};

template <typename T>
void expectConversions(const std::vector<Conversion<T>>& conversions) {
    for (const Conversion<T>& conversion : conversions) {
        SCOPED_TRACE(conversion.from);
        expectNumbers(ValueObject(conversion.from), conversion.to);
    }
}

// The output of a stream with default formatting for a number.
template <typename T>
std::string streamed(T number) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << number;
    return out.str();
}

// A value and its name in the comparison tests.
struct Named {
    std::string name;
    ValueObject value;
};

// Repeats `operation` until it succeeds. The first allocation fails in the first run, the second one in the
// next run, and so on.
template <typename Operation>
void failEachAllocationOf(const Operation& operation) {
    for (long skip = 0;; ++skip) {
        ASSERT_LT(skip, 1000) << "it never succeeds";
        const long before = blocksInUse;
        bool failed = false;
        allocationsUntilFailure = skip;
        try {
            operation();
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        const bool reached = allocationsUntilFailure < 0;
        allocationsUntilFailure = -1;
        ASSERT_EQ(blocksInUse, before) << "after allocation " << skip << " failed";
        ASSERT_EQ(failed, reached) << "allocation " << skip << " failed, but no exception reached the caller";
        if (!failed) {
            EXPECT_GT(skip, 0) << "it allocates nothing";
            return;
        }
    }
}

// A decimal comma, dots between thousands, and German words for the booleans.
class ContinentalNumbers : public std::numpunct<char> {
  protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_truename() const override { return "wahr"; }
    std::string do_falsename() const override { return "falsch"; }
};

class AContinentalLocale : public testing::Test {
  protected:
    AContinentalLocale()
        : m_previous(std::locale::global(std::locale(std::locale::classic(), new ContinentalNumbers))) {}
    ~AContinentalLocale() override { std::locale::global(m_previous); }

  private:
    std::locale m_previous;
};

}  // namespace

// The data model.

TEST(TheKinds, HaveFixedNumbers) {
    EXPECT_EQ(ValueObject::TYPE_NULL, 0);
    EXPECT_EQ(ValueObject::TYPE_INT, 1);
    EXPECT_EQ(ValueObject::TYPE_UINT, 2);
    EXPECT_EQ(ValueObject::TYPE_INT64, 3);
    EXPECT_EQ(ValueObject::TYPE_UINT64, 4);
    EXPECT_EQ(ValueObject::TYPE_BOOL, 5);
    EXPECT_EQ(ValueObject::TYPE_FLOAT, 6);
    EXPECT_EQ(ValueObject::TYPE_DOUBLE, 7);
    EXPECT_EQ(ValueObject::TYPE_STRING, 8);
    EXPECT_EQ(ValueObject::TYPE_POINT, 9);
    EXPECT_EQ(ValueObject::TYPE_VECTOR, 10);
    EXPECT_EQ(ValueObject::TYPE_UNDEFINED, 255);
}

TEST(AScalarOf32Bits, IsStoredInTheLowHalfOfTheCell) {
    ValueObject value(0LL);
    value = 0x12345678;
    EXPECT_EQ(value.scalar.u64 & 0xFFFFFFFFU, 0x12345678U);
    value = 0x9ABCDEF0U;
    EXPECT_EQ(value.scalar.u64 & 0xFFFFFFFFU, 0x9ABCDEF0U);
    value = 1.0F;
    EXPECT_EQ(value.scalar.u64 & 0xFFFFFFFFU, 0x3F800000U);
}

TEST(ABool, IsStoredInTheFirstByteOfTheCell) {
    ValueObject value(0LL);
    value = true;
    unsigned char first = 0;
    std::memcpy(&first, &value.scalar, sizeof first);
    EXPECT_EQ(first, 1);
}

TEST(APoint, IsComparedFieldByField) {
    const Point point = {3, -4};
    EXPECT_TRUE((point == Point{3, -4}));
    EXPECT_FALSE((point != Point{3, -4}));
    for (const Point& other : {Point{3, 4}, Point{-3, -4}, Point{-4, 3}}) {
        EXPECT_FALSE(point == other);
        EXPECT_TRUE(point != other);
    }
}

// Construction.

TEST(ADefaultValue, IsUndefinedAndEmpty) {
    const ValueObject value;
    EXPECT_EQ(value.type(), 255);
    EXPECT_EQ(value.point, (Point{0, 0}));
    EXPECT_EQ(value.text, "");
    EXPECT_THAT(value.items, IsEmpty());
    expectReserved(value, 0, -1);
}

TEST(ADefaultValue, ConvertsToZeroAndTheTextUndefined) {
    const ValueObject value;
    expectNumbers(value, NO_NUMBERS);
    EXPECT_EQ(as<Point>(value), (Point{0, 0}));
    EXPECT_EQ(as<std::string>(value), "Undefined");
    EXPECT_THAT(as<std::vector<int>>(value), ElementsAre(0));
    EXPECT_THAT(as<std::vector<unsigned int>>(value), ElementsAre(0U));
    EXPECT_THAT(as<std::vector<std::string>>(value), ElementsAre("Undefined"));
}

TEST(AConstructedValue, HasTheKindAndPayloadOfItsArgument) {
    EXPECT_EQ(ValueObject(true).type(), 5);
    EXPECT_TRUE(ValueObject(true).scalar.b);
    EXPECT_FALSE(ValueObject(false).scalar.b);
    EXPECT_EQ(ValueObject(-5).type(), 1);
    EXPECT_EQ(ValueObject(-5).scalar.i, -5);
    EXPECT_EQ(ValueObject(UINT_HIGH).type(), 2);
    EXPECT_EQ(ValueObject(UINT_HIGH).scalar.u, UINT_HIGH);
    EXPECT_EQ(ValueObject(INT64_LOW).type(), 3);
    EXPECT_EQ(ValueObject(INT64_LOW).scalar.i64, INT64_LOW);
    EXPECT_EQ(ValueObject(UINT64_HIGH).type(), 4);
    EXPECT_EQ(ValueObject(UINT64_HIGH).scalar.u64, UINT64_HIGH);
    EXPECT_EQ(ValueObject(0.1F).type(), 6);
    EXPECT_EQ(ValueObject(0.1F).scalar.f, 0.1F);
    EXPECT_EQ(ValueObject(0.1).type(), 7);
    EXPECT_EQ(ValueObject(0.1).scalar.d, 0.1);
    EXPECT_EQ(ValueObject(std::string("x")).type(), 8);
    EXPECT_EQ(ValueObject(std::string("x")).text, "x");
    EXPECT_EQ(ValueObject(Point{3, -4}).type(), 9);
    EXPECT_EQ(ValueObject(Point{3, -4}).point, (Point{3, -4}));
}

TEST(AConstructedValue, HasDefaultsInItsOtherFields) {
    for (const ValueObject& value :
         {ValueObject(true), ValueObject(1), ValueObject(1U), ValueObject(1LL), ValueObject(1ULL),
          ValueObject(1.0F), ValueObject(1.0), ValueObject("x"), ValueObject(Point{1, 2})}) {
        SCOPED_TRACE(value.type());
        EXPECT_EQ((value.point == Point{0, 0}), value.type() != ValueObject::TYPE_POINT);
        EXPECT_EQ(value.text.empty(), value.type() != ValueObject::TYPE_STRING);
        EXPECT_THAT(value.items, IsEmpty());
        expectReserved(value, 0, -1);
    }
}

// A value cannot be constructed from a list.
static_assert(!std::is_constructible_v<ValueObject, std::vector<int>>);
static_assert(!std::is_constructible_v<ValueObject, std::vector<std::string>>);
static_assert(!std::is_constructible_v<ValueObject, std::vector<ValueObject>>);

// Of all pointers, only pointers to text are accepted; another one would convert to a boolean.
template <typename T>
constexpr bool isAccepted = std::is_constructible_v<ValueObject, T> || std::is_assignable_v<ValueObject&, T>;
static_assert(std::is_constructible_v<ValueObject, const char*> &&
              std::is_assignable_v<ValueObject&, const char*>);
static_assert(std::is_constructible_v<ValueObject, char*> && std::is_assignable_v<ValueObject&, char*>);
static_assert(!isAccepted<void*> && !isAccepted<const void*> && !isAccepted<volatile void*>);
static_assert(!isAccepted<int*> && !isAccepted<const int*> && !isAccepted<bool*> && !isAccepted<char**>);
static_assert(!isAccepted<unsigned char*> && !isAccepted<const signed char*> && !isAccepted<const wchar_t*>);
static_assert(!isAccepted<const char8_t*> && !isAccepted<const char16_t (&)[2]> && !isAccepted<int (&)[2]>);
static_assert(!isAccepted<std::string*> && !isAccepted<const Point*> && !isAccepted<ValueObject*>);
static_assert(!isAccepted<void (*)()> && !isAccepted<void (&)()> && !isAccepted<std::nullptr_t>);

TEST(ATextLiteral, ConvertsToAString) {
    const ValueObject constructed("x");
    EXPECT_EQ(constructed.type(), 8);
    EXPECT_EQ(constructed.text, "x");

    ValueObject assigned(1);
    EXPECT_EQ(&(assigned = "x"), &assigned);
    EXPECT_EQ(assigned.type(), 8);
    EXPECT_EQ(assigned.text, "x");
}

TEST(ATextInABuffer, ConvertsToAString) {
    char buffer[] = "buffer";
    ValueObject value(buffer);
    EXPECT_EQ(value.type(), 8);
    EXPECT_EQ(value.text, "buffer");

    value = 1;
    value = buffer + 3;
    EXPECT_EQ(value.type(), 8);
    EXPECT_EQ(value.text, "fer");
}

// Assignment of a payload.

TEST(AnAssignment, SetsTheKindAndThePayload) {
    ValueObject value;
    EXPECT_EQ(&(value = INT_LOW), &value);
    EXPECT_EQ(value.type(), 1);
    EXPECT_EQ(value.scalar.i, INT_LOW);
    EXPECT_EQ(&(value = UINT_HIGH), &value);
    EXPECT_EQ(value.type(), 2);
    EXPECT_EQ(value.scalar.u, UINT_HIGH);
    EXPECT_EQ(&(value = INT64_LOW), &value);
    EXPECT_EQ(value.type(), 3);
    EXPECT_EQ(value.scalar.i64, INT64_LOW);
    EXPECT_EQ(&(value = UINT64_HIGH), &value);
    EXPECT_EQ(value.type(), 4);
    EXPECT_EQ(value.scalar.u64, UINT64_HIGH);
    EXPECT_EQ(&(value = false), &value);
    EXPECT_EQ(value.type(), 5);
    EXPECT_FALSE(value.scalar.b);
    EXPECT_EQ(&(value = 0.1F), &value);
    EXPECT_EQ(value.type(), 6);
    EXPECT_EQ(value.scalar.f, 0.1F);
    EXPECT_EQ(&(value = 0.1), &value);
    EXPECT_EQ(value.type(), 7);
    EXPECT_EQ(value.scalar.d, 0.1);
    const std::string text = LONG_TEXT;
    EXPECT_EQ(&(value = text), &value);
    EXPECT_EQ(value.type(), 8);
    EXPECT_EQ(value.text, LONG_TEXT);
    EXPECT_EQ(text, LONG_TEXT);
    EXPECT_EQ(&(value = Point{3, -4}), &value);
    EXPECT_EQ(value.type(), 9);
    EXPECT_EQ(value.point, (Point{3, -4}));
}

TEST(AnAssignment, DoesNotChangeFieldsOfOtherKinds) {
    ValueObject value = filled(ValueObject::TYPE_STRING);
    value = 5;
    EXPECT_PRED1(holdsFilledText, value);
    EXPECT_PRED1(holdsFilledItems, value);
    EXPECT_PRED1(holdsFilledPoint, value);
    expectReserved(value, 11, 12);
    EXPECT_EQ(as<std::string>(value), "5");
    EXPECT_EQ(as<Point>(value), (Point{0, 0}));
    EXPECT_THAT(as<std::vector<int>>(value), ElementsAre(5));

    value = "other";
    EXPECT_EQ(value.scalar.i, 5);
    EXPECT_PRED1(holdsFilledItems, value);
    EXPECT_PRED1(holdsFilledPoint, value);

    value = Point{1, 2};
    EXPECT_EQ(value.scalar.i, 5);
    EXPECT_EQ(value.text, "other");
    EXPECT_PRED1(holdsFilledItems, value);
}

TEST(AValue, CanBeAssignedItsOwnTextAndPoint) {
    ValueObject value = filled(ValueObject::TYPE_INT);
    value = value.text;
    EXPECT_EQ(value.type(), 8);
    EXPECT_EQ(value.text, LONG_TEXT);
    value = value.text.c_str() + 2;
    EXPECT_EQ(value.text, LONG_TEXT + 2);
    value = value.items[1].text;
    EXPECT_EQ(value.text, LONG_TEXT);
    value = value.point;
    EXPECT_EQ(value.type(), 9);
    EXPECT_PRED1(holdsFilledPoint, value);
}

// Copies.

TEST(ACopyConstruction, CopiesOnlyThePayloadThatTheKindSelects) {
    for (int kind = ValueObject::TYPE_INT; kind <= ValueObject::TYPE_VECTOR; ++kind) {
        SCOPED_TRACE(kind);
        const ValueObject source = filled(kind);
        const ValueObject copy(source);
        EXPECT_EQ(copy.type(), kind);
        switch (kind) {
            case ValueObject::TYPE_INT:
            case ValueObject::TYPE_UINT:
            case ValueObject::TYPE_FLOAT:
                EXPECT_EQ(copy.scalar.u, 0x05060701U);
                break;
            case ValueObject::TYPE_INT64:
            case ValueObject::TYPE_UINT64:
            case ValueObject::TYPE_DOUBLE:
                EXPECT_EQ(copy.scalar.u64, 0x0102030405060701ULL);
                break;
            case ValueObject::TYPE_BOOL:
                EXPECT_TRUE(copy.scalar.b);
                break;
        }
        EXPECT_EQ(holdsFilledText(copy), kind == ValueObject::TYPE_STRING);
        EXPECT_EQ(copy.text.empty(), kind != ValueObject::TYPE_STRING);
        EXPECT_EQ(holdsFilledPoint(copy), kind == ValueObject::TYPE_POINT);
        EXPECT_EQ((copy.point == Point{0, 0}), kind != ValueObject::TYPE_POINT);
        EXPECT_EQ(holdsFilledItems(copy), kind == ValueObject::TYPE_VECTOR);
        EXPECT_EQ(copy.items.empty(), kind != ValueObject::TYPE_VECTOR);
        expectReserved(copy, 0, -1);
    }
}

TEST(ACopyOfAValueWithoutAPayload, HasOnlyItsKind) {
    std::vector<int> kinds(std::begin(UNKNOWN_KINDS), std::end(UNKNOWN_KINDS));
    kinds.insert(kinds.end(), {ValueObject::TYPE_NULL, ValueObject::TYPE_UNDEFINED});
    for (const int kind : kinds) {
        SCOPED_TRACE(kind);
        ValueObject source = filled(kind);
        const ValueObject copy(source);
        const ValueObject moved(std::move(source));
        for (const ValueObject* value : {&copy, &moved}) {
            EXPECT_EQ(value->type(), kind);
            EXPECT_EQ(value->point, (Point{0, 0}));
            EXPECT_EQ(value->text, "");
            EXPECT_THAT(value->items, IsEmpty());
            expectReserved(*value, 0, -1);
        }
    }
}

TEST(ACopyConstruction, DoesNotChangeTheSource) {
    for (int kind = ValueObject::TYPE_NULL; kind <= ValueObject::TYPE_VECTOR; ++kind) {
        SCOPED_TRACE(kind);
        const ValueObject source = filled(kind);
        const ValueObject before = filled(kind);
        const ValueObject copy(source);
        EXPECT_EQ(source.kind, kind);
        EXPECT_EQ(source.scalar.u64, before.scalar.u64);
        EXPECT_PRED1(holdsFilledText, source);
        EXPECT_PRED1(holdsFilledItems, source);
        EXPECT_PRED1(holdsFilledPoint, source);
        expectReserved(source, 11, 12);
    }
}

TEST(ACopyOfAList, SharesNothingWithIt) {
    ValueObject source = list({ValueObject(1), list({ValueObject(LONG_TEXT)})});
    const ValueObject constructed(source);
    ValueObject assigned;
    assigned = source;

    source.items[0] = 2;
    source.items[1].items[0].text[0] = 'A';
    source.items[1].items.emplace_back(3);

    for (const ValueObject* copy : {&constructed, static_cast<const ValueObject*>(&assigned)})
        EXPECT_EQ(as<std::string>(*copy), std::string("[1,[") + LONG_TEXT + "]]");
}

TEST(ACopyAssignment, CopiesEveryFieldOfAnyKind) {
    std::vector<int> kinds(std::begin(UNKNOWN_KINDS), std::end(UNKNOWN_KINDS));
    kinds.push_back(ValueObject::TYPE_UNDEFINED);
    for (int kind = ValueObject::TYPE_NULL; kind <= ValueObject::TYPE_VECTOR; ++kind) kinds.push_back(kind);
    for (const int kind : kinds) {
        SCOPED_TRACE(kind);
        const ValueObject source = filled(kind);
        ValueObject target = list({ValueObject("old"), ValueObject(1), ValueObject(2)});
        target.text = "old";
        EXPECT_EQ(&(target = source), &target);
        for (const ValueObject* value : {&source, static_cast<const ValueObject*>(&target)}) {
            EXPECT_EQ(value->type(), kind);
            EXPECT_EQ(value->scalar.u64, 0x0102030405060701ULL);
            EXPECT_PRED1(holdsFilledText, *value);
            EXPECT_PRED1(holdsFilledItems, *value);
            EXPECT_PRED1(holdsFilledPoint, *value);
            expectReserved(*value, 11, 12);
        }
    }
}

TEST(ACopyAssignment, CopiesAllFieldsOfEachItem) {
    ValueObject source = list({ValueObject()});
    // Assigned, because a copy construction copies only one payload.
    source.items[0] = filled(ValueObject::TYPE_INT);
    ValueObject target = list({ValueObject("old")});
    target = source;
    ASSERT_EQ(target.items.size(), 1U);
    EXPECT_PRED1(holdsFilledText, target.items[0]);
    EXPECT_PRED1(holdsFilledPoint, target.items[0]);
    expectReserved(target.items[0], 11, 12);
}

TEST(ACopyAssignment, OfAValueToItselfChangesNothing) {
    for (int kind = ValueObject::TYPE_NULL; kind <= ValueObject::TYPE_VECTOR; ++kind) {
        SCOPED_TRACE(kind);
        ValueObject value = filled(kind);
        const ValueObject& itself = value;
        value = itself;
        EXPECT_EQ(value.type(), kind);
        EXPECT_EQ(value.scalar.u64, 0x0102030405060701ULL);
        EXPECT_PRED1(holdsFilledText, value);
        EXPECT_PRED1(holdsFilledItems, value);
        EXPECT_PRED1(holdsFilledPoint, value);
        expectReserved(value, 11, 12);
    }
}

// Moves.

TEST(AMoveConstruction, MovesOnlyThePayloadThatTheKindSelects) {
    for (int kind = ValueObject::TYPE_INT; kind <= ValueObject::TYPE_VECTOR; ++kind) {
        SCOPED_TRACE(kind);
        ValueObject source = filled(kind);
        const ValueObject moved(std::move(source));
        EXPECT_EQ(moved.type(), kind);
        if (kind <= ValueObject::TYPE_DOUBLE) {
            const ValueObject reference = filled(kind);
            EXPECT_EQ(as<double>(moved), as<double>(reference));
            EXPECT_EQ(as<unsigned long long>(moved), as<unsigned long long>(reference));
        }
        EXPECT_EQ(holdsFilledText(moved), kind == ValueObject::TYPE_STRING);
        EXPECT_EQ(moved.text.empty(), kind != ValueObject::TYPE_STRING);
        EXPECT_EQ(holdsFilledPoint(moved), kind == ValueObject::TYPE_POINT);
        EXPECT_EQ((moved.point == Point{0, 0}), kind != ValueObject::TYPE_POINT);
        EXPECT_EQ(holdsFilledItems(moved), kind == ValueObject::TYPE_VECTOR);
        EXPECT_EQ(moved.items.empty(), kind != ValueObject::TYPE_VECTOR);
        expectReserved(moved, 0, -1);
    }
}

TEST(AMoveConstruction, EmptiesOnlyTheMovedTextOrList) {
    for (int kind = ValueObject::TYPE_NULL; kind <= ValueObject::TYPE_VECTOR; ++kind) {
        SCOPED_TRACE(kind);
        ValueObject source = filled(kind);
        const ValueObject moved(std::move(source));
        EXPECT_EQ(source.type(), kind);
        EXPECT_EQ(source.scalar.u64, 0x0102030405060701ULL);
        EXPECT_PRED1(holdsFilledPoint, source);
        EXPECT_EQ(source.text.empty(), kind == ValueObject::TYPE_STRING);
        EXPECT_EQ(holdsFilledText(source), kind != ValueObject::TYPE_STRING);
        EXPECT_EQ(source.items.empty(), kind == ValueObject::TYPE_VECTOR);
        EXPECT_EQ(holdsFilledItems(source), kind != ValueObject::TYPE_VECTOR);
    }
}

TEST(AMoveConstruction, AlsoEmptiesAShortText) {
    ValueObject source("x");
    const ValueObject moved(std::move(source));
    EXPECT_EQ(moved.text, "x");
    EXPECT_EQ(source.text, "");
    EXPECT_EQ(source.type(), 8);
}

TEST(AMove, ReusesTheStorageOfATextAndAList) {
    ValueObject text(LONG_TEXT);
    const char* const characters = text.text.data();
    ValueObject movedText(std::move(text));
    EXPECT_EQ(movedText.text.data(), characters);

    ValueObject items = list({ValueObject(1), ValueObject(2)});
    const ValueObject* const first = items.items.data();
    ValueObject movedItems(std::move(items));
    EXPECT_EQ(movedItems.items.data(), first);
    ValueObject assigned = list({ValueObject("old")});
    assigned = std::move(movedItems);
    EXPECT_EQ(assigned.items.data(), first);
}

TEST(AMoveAssignment, MovesEveryFieldAndEmptiesTextAndList) {
    std::vector<int> kinds(std::begin(UNKNOWN_KINDS), std::end(UNKNOWN_KINDS));
    kinds.push_back(ValueObject::TYPE_UNDEFINED);
    for (int kind = ValueObject::TYPE_NULL; kind <= ValueObject::TYPE_VECTOR; ++kind) kinds.push_back(kind);
    for (const int kind : kinds) {
        SCOPED_TRACE(kind);
        ValueObject source = filled(kind);
        ValueObject target = list({ValueObject("old"), ValueObject(1), ValueObject(2)});
        target.text = "a text of the target, old and too long to be kept within the string";
        EXPECT_EQ(&(target = std::move(source)), &target);
        EXPECT_EQ(target.type(), kind);
        EXPECT_EQ(target.scalar.u64, 0x0102030405060701ULL);
        EXPECT_PRED1(holdsFilledText, target);
        EXPECT_PRED1(holdsFilledItems, target);
        EXPECT_PRED1(holdsFilledPoint, target);
        expectReserved(target, 11, 12);

        EXPECT_EQ(source.type(), kind);
        EXPECT_EQ(source.scalar.u64, 0x0102030405060701ULL);
        EXPECT_PRED1(holdsFilledPoint, source);
        EXPECT_EQ(source.text, "");
        EXPECT_THAT(source.items, IsEmpty());
    }
}

TEST(AMoveAssignment, OfAValueToItselfKeepsItUsable) {
    ValueObject value = filled(ValueObject::TYPE_VECTOR);
    ValueObject& itself = value;
    value = std::move(itself);
    EXPECT_EQ(value.type(), 10);
    EXPECT_EQ(value.scalar.u64, 0x0102030405060701ULL);
    EXPECT_PRED1(holdsFilledPoint, value);
    expectReserved(value, 11, 12);
    value = "new";
    EXPECT_EQ(as<std::string>(value), "new");
}

TEST(AMovedFromValue, CanBeUsedAgain) {
    ValueObject source = filled(ValueObject::TYPE_VECTOR);
    ValueObject target;
    target = std::move(source);
    EXPECT_EQ(as<std::string>(source), "[]");
    source.items.emplace_back(7);
    EXPECT_EQ(as<std::string>(source), "[7]");
    source = "text";
    EXPECT_EQ(as<std::string>(source), "text");
}

class AnItem : public testing::Test {
  protected:
    AnItem() {
        value = list({ValueObject(), list({ValueObject(1), ValueObject(LONG_TEXT)})});
        // Assigned, because a copy construction copies only one payload.
        value.items[0] = filled(ValueObject::TYPE_STRING);
    }

    void expectFirstItem() const {
        EXPECT_EQ(value.type(), 8);
        EXPECT_EQ(value.scalar.u64, 0x0102030405060701ULL);
        EXPECT_PRED1(holdsFilledText, value);
        EXPECT_PRED1(holdsFilledItems, value);
        EXPECT_PRED1(holdsFilledPoint, value);
        expectReserved(value, 11, 12);
    }

    void expectSecondItem() const { EXPECT_EQ(as<std::string>(value), std::string("[1,") + LONG_TEXT + "]"); }

    ValueObject value;
};

TEST_F(AnItem, CanBeCopiedToItsOwnList) {
    value = value.items[0];
    expectFirstItem();
}

TEST_F(AnItem, CanBeMovedToItsOwnList) {
    value = std::move(value.items[0]);
    expectFirstItem();
}

TEST_F(AnItem, ThatIsAListCanBeCopiedToItsOwnList) {
    value = value.items[1];
    expectSecondItem();
}

TEST_F(AnItem, ThatIsAListCanBeMovedToItsOwnList) {
    value = std::move(value.items[1]);
    expectSecondItem();
}

TEST_F(AnItem, OfAnItemCanBeCopiedToTheOutermostList) {
    value = value.items[1].items[1];
    EXPECT_EQ(value.type(), 8);
    EXPECT_EQ(as<std::string>(value), LONG_TEXT);
    EXPECT_THAT(value.items, IsEmpty());
}

TEST_F(AnItem, OfAnItemCanBeMovedToTheOutermostList) {
    value = std::move(value.items[1].items[1]);
    EXPECT_EQ(value.type(), 8);
    EXPECT_EQ(as<std::string>(value), LONG_TEXT);
    EXPECT_THAT(value.items, IsEmpty());
}

TEST_F(AnItem, CanBeAssignedTheListThatContainsIt) {
    const std::string before = value;
    value.items[0] = value;
    EXPECT_EQ(as<std::string>(value.items[0]), before);
    EXPECT_EQ(as<std::string>(value), "[" + before + ",[1," + LONG_TEXT + "]]");
}

// Numeric conversions.

TEST(AnInt, ConvertsToEveryNumber) {
    expectConversions<int>({
        {0, NO_NUMBERS},
        {1, {true, 1, 1, 1, 1, 1.0F, 1.0}},
        {-1, {true, -1, 4294967295U, -1, 18446744073709551615ULL, -1.0F, -1.0}},
        {16777217, {true, 16777217, 16777217, 16777217, 16777217, 16777216.0F, 16777217.0}},
        {INT_HIGH, {true, INT_HIGH, 2147483647U, 2147483647, 2147483647, 2147483648.0F, 2147483647.0}},
        {INT_LOW,
         {true, INT_LOW, 2147483648U, -2147483648LL, 18446744071562067968ULL, -2147483648.0F, -2147483648.0}},
    });
}

TEST(AnUnsignedInt, ConvertsToEveryNumber) {
    expectConversions<unsigned int>({
        {0, NO_NUMBERS},
        {7, {true, 7, 7, 7, 7, 7.0F, 7.0}},
        {2147483648U, {true, INT_LOW, 2147483648U, 2147483648LL, 2147483648ULL, 2147483648.0F, 2147483648.0}},
        {4294967295U, {true, -1, 4294967295U, 4294967295LL, 4294967295ULL, 4294967296.0F, 4294967295.0}},
    });
}

TEST(ALongLong, ConvertsToEveryNumber) {
    expectConversions<long long>({
        {0, NO_NUMBERS},
        {-1, {true, -1, 4294967295U, -1, 18446744073709551615ULL, -1.0F, -1.0}},
        {2147483648, {true, INT_LOW, 2147483648U, 2147483648, 2147483648, 2147483648.0F, 2147483648.0}},
        {-2147483649,
         {true, INT_HIGH, 2147483647U, -2147483649, 18446744071562067967ULL, -2147483648.0F, -2147483649.0}},
        {4294967296, {true, 0, 0, 4294967296, 4294967296, 4294967296.0F, 4294967296.0}},
        {4294967297, {true, 1, 1, 4294967297, 4294967297, 4294967296.0F, 4294967297.0}},
        {9007199254740993,
         {true, 1, 1, 9007199254740993, 9007199254740993, 9007199254740992.0F, 9007199254740992.0}},
        // The conversion to float rounds once, without an intermediate double.
        {9007199791611905,
         {true, 536870913, 536870913, 9007199791611905, 9007199791611905, 9007200328482816.0F,
          9007199791611904.0}},
        {INT64_HIGH,
         {true, -1, 4294967295U, INT64_HIGH, 9223372036854775807ULL, 9223372036854775808.0F,
          9223372036854775808.0}},
        {INT64_LOW,
         {true, 0, 0, INT64_LOW, 9223372036854775808ULL, -9223372036854775808.0F, -9223372036854775808.0}},
    });
}

TEST(AnUnsignedLongLong, ConvertsToEveryNumber) {
    expectConversions<unsigned long long>({
        {0, NO_NUMBERS},
        {5, {true, 5, 5, 5, 5, 5.0F, 5.0}},
        {4294967296, {true, 0, 0, 4294967296, 4294967296, 4294967296.0F, 4294967296.0}},
        {6442450944, {true, INT_LOW, 2147483648U, 6442450944, 6442450944, 6442450944.0F, 6442450944.0}},
        {9223372036854775808ULL,
         {true, 0, 0, INT64_LOW, 9223372036854775808ULL, 9223372036854775808.0F, 9223372036854775808.0}},
        {18446744073709551615ULL,
         {true, -1, 4294967295U, -1, 18446744073709551615ULL, 18446744073709551616.0F,
          18446744073709551616.0}},
    });
}

TEST(ABool, ConvertsToEveryNumber) {
    expectConversions<bool>({{false, NO_NUMBERS}, {true, {true, 1, 1, 1, 1, 1.0F, 1.0}}});
}

TEST(AFloat, ConvertsToEveryNumberTowardsZeroAndWithinItsRange) {
    constexpr float TINY = std::numeric_limits<float>::denorm_min();
    constexpr float HUGEST = std::numeric_limits<float>::max();
    constexpr double WIDE_TINY = std::numeric_limits<float>::denorm_min();
    constexpr double WIDE_HUGEST = std::numeric_limits<float>::max();
    expectConversions<float>({
        {0.0F, NO_NUMBERS},
        {-0.0F, {false, 0, 0, 0, 0, -0.0F, -0.0}},
        {TINY, {true, 0, 0, 0, 0, TINY, WIDE_TINY}},
        {0.5F, {true, 0, 0, 0, 0, 0.5F, 0.5}},
        {-0.5F, {true, 0, 0, 0, 0, -0.5F, -0.5}},
        {2.75F, {true, 2, 2, 2, 2, 2.75F, 2.75}},
        {-2.75F, {true, -2, 0, -2, 0, -2.75F, -2.75}},
        {2147483520.0F, {true, 2147483520, 2147483520, 2147483520, 2147483520, 2147483520.0F, 2147483520.0}},
        {2147483648.0F, {true, INT_HIGH, 2147483648U, 2147483648, 2147483648, 2147483648.0F, 2147483648.0}},
        {-2147483648.0F, {true, INT_LOW, 0, -2147483648LL, 0, -2147483648.0F, -2147483648.0}},
        {-2147483904.0F, {true, INT_LOW, 0, -2147483904LL, 0, -2147483904.0F, -2147483904.0}},
        {4294967040.0F, {true, INT_HIGH, 4294967040U, 4294967040, 4294967040, 4294967040.0F, 4294967040.0}},
        {4294967296.0F, {true, INT_HIGH, UINT_HIGH, 4294967296, 4294967296, 4294967296.0F, 4294967296.0}},
        {9223371487098961920.0F,
         {true, INT_HIGH, UINT_HIGH, 9223371487098961920, 9223371487098961920, 9223371487098961920.0F,
          9223371487098961920.0}},
        {9223372036854775808.0F,
         {true, INT_HIGH, UINT_HIGH, INT64_HIGH, 9223372036854775808ULL, 9223372036854775808.0F,
          9223372036854775808.0}},
        {-9223372036854775808.0F,
         {true, INT_LOW, 0, INT64_LOW, 0, -9223372036854775808.0F, -9223372036854775808.0}},
        {-9223373136366403584.0F,
         {true, INT_LOW, 0, INT64_LOW, 0, -9223373136366403584.0F, -9223373136366403584.0}},
        {18446742974197923840.0F,
         {true, INT_HIGH, UINT_HIGH, INT64_HIGH, 18446742974197923840ULL, 18446742974197923840.0F,
          18446742974197923840.0}},
        {18446744073709551616.0F,
         {true, INT_HIGH, UINT_HIGH, INT64_HIGH, UINT64_HIGH, 18446744073709551616.0F,
          18446744073709551616.0}},
        {HUGEST, {true, INT_HIGH, UINT_HIGH, INT64_HIGH, UINT64_HIGH, HUGEST, WIDE_HUGEST}},
        {-HUGEST, {true, INT_LOW, 0, INT64_LOW, 0, -HUGEST, -WIDE_HUGEST}},
        {FLOAT_INFINITY,
         {true, INT_HIGH, UINT_HIGH, INT64_HIGH, UINT64_HIGH, FLOAT_INFINITY, DOUBLE_INFINITY}},
        {-FLOAT_INFINITY, {true, INT_LOW, 0, INT64_LOW, 0, -FLOAT_INFINITY, -DOUBLE_INFINITY}},
        {FLOAT_NAN, {true, 0, 0, 0, 0, FLOAT_NAN, DOUBLE_NAN}},
        {-FLOAT_NAN, {true, 0, 0, 0, 0, FLOAT_NAN, DOUBLE_NAN}},
    });
}

TEST(ADouble, ConvertsToEveryNumberTowardsZeroAndWithinItsRange) {
    constexpr double TINY = std::numeric_limits<double>::denorm_min();
    expectConversions<double>({
        {0.0, NO_NUMBERS},
        {-0.0, {false, 0, 0, 0, 0, -0.0F, -0.0}},
        {TINY, {true, 0, 0, 0, 0, 0.0F, TINY}},
        {0.1, {true, 0, 0, 0, 0, 0.1F, 0.1}},
        {0.9999999999999999, {true, 0, 0, 0, 0, 1.0F, 0.9999999999999999}},
        {-0.9999999999999999, {true, 0, 0, 0, 0, -1.0F, -0.9999999999999999}},
        {2.9, {true, 2, 2, 2, 2, 2.9F, 2.9}},
        {-2.9, {true, -2, 0, -2, 0, -2.9F, -2.9}},
        {-1.0, {true, -1, 0, -1, 0, -1.0F, -1.0}},
        {2147483647.0, {true, INT_HIGH, 2147483647U, 2147483647, 2147483647, 2147483648.0F, 2147483647.0}},
        {2147483647.5, {true, INT_HIGH, 2147483647U, 2147483647, 2147483647, 2147483648.0F, 2147483647.5}},
        {2147483648.0, {true, INT_HIGH, 2147483648U, 2147483648, 2147483648, 2147483648.0F, 2147483648.0}},
        {-2147483647.5, {true, -2147483647, 0, -2147483647LL, 0, -2147483648.0F, -2147483647.5}},
        {-2147483648.0, {true, INT_LOW, 0, -2147483648LL, 0, -2147483648.0F, -2147483648.0}},
        {-2147483648.5, {true, INT_LOW, 0, -2147483648LL, 0, -2147483648.0F, -2147483648.5}},
        {-2147483649.0, {true, INT_LOW, 0, -2147483649LL, 0, -2147483648.0F, -2147483649.0}},
        {4294967295.0, {true, INT_HIGH, UINT_HIGH, 4294967295, 4294967295, 4294967296.0F, 4294967295.0}},
        {4294967295.5, {true, INT_HIGH, UINT_HIGH, 4294967295, 4294967295, 4294967296.0F, 4294967295.5}},
        {4294967296.0, {true, INT_HIGH, UINT_HIGH, 4294967296, 4294967296, 4294967296.0F, 4294967296.0}},
        {9223372036854774784.0,
         {true, INT_HIGH, UINT_HIGH, 9223372036854774784, 9223372036854774784, 9223372036854775808.0F,
          9223372036854774784.0}},
        {9223372036854775808.0,
         {true, INT_HIGH, UINT_HIGH, INT64_HIGH, 9223372036854775808ULL, 9223372036854775808.0F,
          9223372036854775808.0}},
        {-9223372036854774784.0,
         {true, INT_LOW, 0, -9223372036854774784, 0, -9223372036854775808.0F, -9223372036854774784.0}},
        {-9223372036854775808.0,
         {true, INT_LOW, 0, INT64_LOW, 0, -9223372036854775808.0F, -9223372036854775808.0}},
        {-9223372036854777856.0,
         {true, INT_LOW, 0, INT64_LOW, 0, -9223372036854775808.0F, -9223372036854777856.0}},
        {18446744073709549568.0,
         {true, INT_HIGH, UINT_HIGH, INT64_HIGH, 18446744073709549568ULL, 18446744073709551616.0F,
          18446744073709549568.0}},
        {18446744073709551616.0,
         {true, INT_HIGH, UINT_HIGH, INT64_HIGH, UINT64_HIGH, 18446744073709551616.0F,
          18446744073709551616.0}},
        {1e300, {true, INT_HIGH, UINT_HIGH, INT64_HIGH, UINT64_HIGH, FLOAT_INFINITY, 1e300}},
        {-1e300, {true, INT_LOW, 0, INT64_LOW, 0, -FLOAT_INFINITY, -1e300}},
        {DOUBLE_INFINITY,
         {true, INT_HIGH, UINT_HIGH, INT64_HIGH, UINT64_HIGH, FLOAT_INFINITY, DOUBLE_INFINITY}},
        {-DOUBLE_INFINITY, {true, INT_LOW, 0, INT64_LOW, 0, -FLOAT_INFINITY, -DOUBLE_INFINITY}},
        {DOUBLE_NAN, {true, 0, 0, 0, 0, FLOAT_NAN, DOUBLE_NAN}},
        {-DOUBLE_NAN, {true, 0, 0, 0, 0, FLOAT_NAN, DOUBLE_NAN}},
    });
}

TEST(AValueOfAnyOtherKind, ConvertsToZero) {
    std::vector<int> kinds(std::begin(UNKNOWN_KINDS), std::end(UNKNOWN_KINDS));
    kinds.insert(kinds.end(), {ValueObject::TYPE_NULL, ValueObject::TYPE_STRING, ValueObject::TYPE_POINT,
                               ValueObject::TYPE_VECTOR, ValueObject::TYPE_UNDEFINED});
    for (const int kind : kinds) {
        SCOPED_TRACE(kind);
        expectNumbers(filled(kind), NO_NUMBERS);
    }
}

TEST(AText, IsNotParsedAsANumber) {
    for (const char* text : {"5", "-1", "2.5", "TRUE", "true"}) {
        SCOPED_TRACE(text);
        expectNumbers(ValueObject(text), NO_NUMBERS);
    }
}

TEST(OnlyAPoint, ConvertsToAPoint) {
    EXPECT_EQ(as<Point>(ValueObject(Point{INT_LOW, INT_HIGH})), (Point{INT_LOW, INT_HIGH}));
    for (int kind = ValueObject::TYPE_NULL; kind <= 256; ++kind) {
        SCOPED_TRACE(kind);
        const Point expected = kind == ValueObject::TYPE_POINT ? Point{21, 22} : Point{0, 0};
        EXPECT_EQ(as<Point>(filled(kind)), expected);
    }
}

TEST(ABoolByteBesidesZeroAndOne, ConvertsToZeroOrOne) {
    for (const int number : {2, 3, 127, 128, 255}) {
        SCOPED_TRACE(number);
        const auto byte = static_cast<unsigned char>(number);
        ValueObject value(false);
        std::memcpy(&value.scalar, &byte, sizeof byte);
        const ValueObject copy(value);
        ValueObject assigned;
        assigned = value;
        ValueObject source(value);
        const ValueObject moved(std::move(source));

        const bool truth = value;
        const int one = truth ? 1 : 0;
        for (const ValueObject* each : {static_cast<const ValueObject*>(&value), &copy, &moved,
                                        static_cast<const ValueObject*>(&assigned)}) {
            const ValueObject& either = *each;
            EXPECT_EQ(as<bool>(either), truth);
            EXPECT_EQ(as<int>(either), one);
            EXPECT_EQ(as<unsigned int>(either), static_cast<unsigned>(one));
            EXPECT_EQ(as<long long>(either), one);
            EXPECT_EQ(as<unsigned long long>(either), static_cast<unsigned long long>(one));
            EXPECT_EQ(as<float>(either), static_cast<float>(one));
            EXPECT_EQ(as<double>(either), one);
            EXPECT_EQ(as<std::string>(either), truth ? "TRUE" : "FALSE");
            EXPECT_THAT(as<std::vector<int>>(either), ElementsAre(one));
            EXPECT_TRUE(either == ValueObject(truth));
            EXPECT_TRUE(ValueObject(truth) == either);
            EXPECT_FALSE(either == ValueObject(!truth));
        }
    }
}

// List conversions.

TEST(AScalar, ConvertsToAListOfItself) {
    const ValueObject value(-2.9);
    EXPECT_THAT(as<std::vector<int>>(value), ElementsAre(-2));
    EXPECT_THAT(as<std::vector<std::string>>(value), ElementsAre("-2.9"));
    EXPECT_THAT(as<std::vector<unsigned int>>(ValueObject(4294967303LL)), ElementsAre(7U));
}

TEST(AValueThatIsNoList, ConvertsToOneItem) {
    struct Row {
        ValueObject value;
        int number;
        const char* text;
    };
    const Row rows[] = {
        {ofKind(ValueObject::TYPE_NULL), 0, "null"},
        {ValueObject(7), 7, "7"},
        {ValueObject(true), 1, "TRUE"},
        {ValueObject("7"), 0, "7"},
        {ValueObject(""), 0, ""},
        {ValueObject(Point{1, 2}), 0, "(1,2)"},
        {filled(11), 0, ""},
        {filled(ValueObject::TYPE_UNDEFINED), 0, "Undefined"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.value.type());
        EXPECT_THAT(as<std::vector<int>>(row.value), ElementsAre(row.number));
        EXPECT_THAT(as<std::vector<unsigned int>>(row.value), ElementsAre(static_cast<unsigned>(row.number)));
        EXPECT_THAT(as<std::vector<std::string>>(row.value), ElementsAre(row.text));
    }
}

TEST(AList, ConvertsItemByItem) {
    const ValueObject value = list({ValueObject(1), ValueObject(-2.9), ValueObject(UINT64_HIGH),
                                    ValueObject(true), ValueObject("5"), ValueObject(Point{1, 2}),
                                    list({ValueObject(6), ValueObject(7)}), ValueObject(), filled(11)});
    EXPECT_THAT(as<std::vector<int>>(value), ElementsAre(1, -2, -1, 1, 0, 0, 0, 0, 0));
    EXPECT_THAT(as<std::vector<unsigned int>>(value), ElementsAre(1, 0, 4294967295U, 1, 0, 0, 0, 0, 0));
    EXPECT_THAT(as<std::vector<std::string>>(value), ElementsAre("1", "-2.9", "18446744073709551615", "TRUE",
                                                                 "5", "(1,2)", "[6,7]", "Undefined", ""));
}

TEST(AnEmptyList, ConvertsToNoItems) {
    const ValueObject value = list({});
    EXPECT_THAT(as<std::vector<int>>(value), IsEmpty());
    EXPECT_THAT(as<std::vector<unsigned int>>(value), IsEmpty());
    EXPECT_THAT(as<std::vector<std::string>>(value), IsEmpty());
}

// The text form.

TEST(ATextForm, DependsOnTheKind) {
    const std::pair<ValueObject, const char*> rows[] = {
        {ValueObject(0), "0"},
        {ValueObject(INT_LOW), "-2147483648"},
        {ValueObject(INT_HIGH), "2147483647"},
        {ValueObject(4294967295U), "4294967295"},
        {ValueObject(INT64_LOW), "-9223372036854775808"},
        {ValueObject(INT64_HIGH), "9223372036854775807"},
        {ValueObject(UINT64_HIGH), "18446744073709551615"},
        {ValueObject(true), "TRUE"},
        {ValueObject(false), "FALSE"},
        {ValueObject(0.5F), "0.5"},
        {ValueObject(0.1F), "0.1"},
        {ValueObject(10000000.0F), "1e+07"},
        {ValueObject(0.5), "0.5"},
        {ValueObject(10000000.0), "1e+07"},
        {ValueObject(5.0), "5"},
        {ValueObject(1e21), "1e+21"},
        {ValueObject(123456.5), "123456"},
        {ValueObject(999999.5), "1e+06"},
        {ValueObject(0.0001), "0.0001"},
        {ValueObject(0.00001), "1e-05"},
        {ValueObject(-0.0), "-0"},
        {ValueObject(DOUBLE_INFINITY), "inf"},
        {ValueObject(-FLOAT_INFINITY), "-inf"},
        {ValueObject("a \"text\", [as] it is\n"), "a \"text\", [as] it is\n"},
        {ValueObject(""), ""},
        {ValueObject(Point{3, -4}), "(3,-4)"},
        {ValueObject(Point{INT_LOW, INT_HIGH}), "(-2147483648,2147483647)"},
        {list({}), "[]"},
        {list({ValueObject(1), ValueObject(2), ValueObject(3)}), "[1,2,3]"},
        {list({ValueObject(Point{1, 2}), ValueObject("a")}), "[(1,2),a]"},
        {list({ValueObject(1), list({ValueObject(true), list({}), list({ValueObject("a")})})}),
         "[1,[TRUE,[],[a]]]"},
        {list({ValueObject(""), filled(11), ValueObject(), ofKind(ValueObject::TYPE_NULL)}),
         "[,,Undefined,null]"},
        {filled(ValueObject::TYPE_NULL), "null"},
        {filled(ValueObject::TYPE_UNDEFINED), "Undefined"},
    };
    for (const auto& [value, text] : rows) {
        EXPECT_EQ(value.convertToStringType(), text);
        EXPECT_EQ(as<std::string>(value), text);
    }
}

TEST(ATextForm, OfATextKeepsItsZeroBytes) {
    const std::string text("a\0b\0", 4);
    EXPECT_EQ(ValueObject(text).convertToStringType(), text);
    EXPECT_EQ(list({ValueObject(text), ValueObject(1)}).convertToStringType(), "[" + text + ",1]");
}

TEST(ATextForm, OfAnUnknownKindIsEmpty) {
    for (const int kind : UNKNOWN_KINDS) EXPECT_EQ(as<std::string>(filled(kind)), "") << kind;
    for (int kind = 11; kind <= 254; ++kind) EXPECT_EQ(as<std::string>(filled(kind)), "") << kind;
}

TEST(ATextForm, OfADoubleEqualsStreamOutput) {
    std::vector<double> numbers = {0.0,
                                   -0.0,
                                   DOUBLE_NAN,
                                   -DOUBLE_NAN,
                                   DOUBLE_INFINITY,
                                   -DOUBLE_INFINITY,
                                   std::numeric_limits<double>::denorm_min(),
                                   -std::numeric_limits<double>::denorm_min(),
                                   std::numeric_limits<double>::min(),
                                   std::numeric_limits<double>::min() / 2,
                                   std::numeric_limits<double>::max(),
                                   std::numeric_limits<double>::lowest(),
                                   1e21,
                                   123456.5,
                                   1234565.0,
                                   0.0001,
                                   0.00009999995,
                                   100000.0,
                                   999999.4,
                                   999999.5,
                                   1e6,
                                   2.9,
                                   1.0 / 3.0};
    for (int exponent = -320; exponent <= 308; ++exponent) numbers.push_back(std::pow(10.0, exponent));
    std::mt19937_64 random(20240229);
    for (int i = 0; i < 5000; ++i) {
        const std::uint64_t bits = random();
        double number = 0;
        std::memcpy(&number, &bits, sizeof number);
        numbers.push_back(number);
        numbers.push_back(static_cast<double>(static_cast<std::int64_t>(bits) >> 40) / 64.0);
    }
    for (const double number : numbers) ASSERT_EQ(as<std::string>(ValueObject(number)), streamed(number));
}

// Tests numbers at the rounding boundary, which is half of the sixth digit, and their neighbours on both
// sides.
TEST(ATextForm, OfADoubleIsRoundedLikeStreamOutput) {
    std::mt19937_64 random(20240229);
    for (int i = 0; i < 20000; ++i) {
        const double digits = static_cast<double>(100000 + random() % 900000) + (i % 4 == 0 ? 0.0 : 0.5);
        double number = digits * std::pow(10.0, static_cast<double>(i % 13) - 11);
        if (i % 2 == 0) number = std::nextafter(number, i % 3 == 0 ? 0.0 : 1e9);
        ASSERT_EQ(as<std::string>(ValueObject(number)), streamed(number)) << i;
        ASSERT_EQ(as<std::string>(ValueObject(-number)), streamed(-number)) << i;
    }
}

TEST(ATextForm, OfAFloatEqualsStreamOutput) {
    std::vector<float> numbers = {0.0F,
                                  -0.0F,
                                  FLOAT_NAN,
                                  -FLOAT_NAN,
                                  FLOAT_INFINITY,
                                  -FLOAT_INFINITY,
                                  std::numeric_limits<float>::denorm_min(),
                                  -std::numeric_limits<float>::denorm_min(),
                                  std::numeric_limits<float>::min() / 2,
                                  std::numeric_limits<float>::max(),
                                  std::numeric_limits<float>::lowest(),
                                  1e21F,
                                  123456.5F,
                                  1234565.0F,
                                  0.0001F,
                                  0.00001F,
                                  999999.5F,
                                  0.1F,
                                  2.9F};
    for (int exponent = -45; exponent <= 38; ++exponent)
        numbers.push_back(static_cast<float>(std::pow(10.0, exponent)));
    std::mt19937_64 random(20240229);
    std::uniform_int_distribution<std::uint32_t> anyBits;
    for (int i = 0; i < 5000; ++i) {
        const std::uint32_t bits = anyBits(random);
        float number = 0;
        std::memcpy(&number, &bits, sizeof number);
        numbers.push_back(number);
        numbers.push_back(static_cast<float>(bits >> 8) / 64.0F);
    }
    for (const float number : numbers)
        ASSERT_EQ(as<std::string>(ValueObject(number)), streamed(static_cast<double>(number)));
}

TEST(ATextForm, OfAnIntegerEqualsStreamOutput) {
    std::mt19937_64 random(20240229);
    for (int i = 0; i < 1000; ++i) {
        const unsigned long long bits = random() >> (i % 64);
        const auto low = static_cast<unsigned int>(bits);
        ASSERT_EQ(as<std::string>(ValueObject(bits)), streamed(bits));
        ASSERT_EQ(as<std::string>(ValueObject(static_cast<long long>(bits))),
                  streamed(static_cast<long long>(bits)));
        ASSERT_EQ(as<std::string>(ValueObject(low)), streamed(low));
        ASSERT_EQ(as<std::string>(ValueObject(static_cast<int>(low))), streamed(static_cast<int>(low)));
    }
}

TEST_F(AContinentalLocale, DoesNotChangeATextForm) {
    std::ostringstream affected;
    affected << std::boolalpha << 1234567 << ' ' << 1234.5 << ' ' << true;
    ASSERT_EQ(affected.str(), "1.234.567 1.234,5 wahr");

    const ValueObject value =
        list({ValueObject(1234567), ValueObject(4294967295U), ValueObject(-1234567890123LL),
              ValueObject(12345678901234ULL), ValueObject(true), ValueObject(false), ValueObject(1234.5F),
              ValueObject(123456.0), ValueObject(0.5), ValueObject(1.5e21),
              ValueObject(Point{1000000, -1000000})});
    EXPECT_EQ(value.convertToStringType(),
              "[1234567,4294967295,-1234567890123,12345678901234,TRUE,FALSE,1234.5,123456,0.5,1.5e+21,"
              "(1000000,-1000000)]");
    EXPECT_THAT(as<std::vector<std::string>>(value),
                ElementsAre("1234567", "4294967295", "-1234567890123", "12345678901234", "TRUE", "FALSE",
                            "1234.5", "123456", "0.5", "1.5e+21", "(1000000,-1000000)"));
}

TEST(AnUnmodifiedValue, CanBeReadByManyThreads) {
    const ValueObject value = list({ValueObject(1.5), ValueObject("a"), list({ValueObject(Point{1, 2})})});
    std::vector<std::thread> threads;
    std::vector<int> right(4, 0);
    for (int& count : right) {
        threads.emplace_back([&value, &count] {
            for (int i = 0; i < 500; ++i) {
                const ValueObject copy(value);
                const std::vector<int> numbers = copy;
                if (value.convertToStringType() == "[1.5,a,[(1,2)]]" && copy == value && numbers[0] == 1)
                    ++count;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(right, testing::Each(500));
}

// Equality.

TEST(AComparison, UsesTheKindOfTheLeftOperand) {
    const Named values[] = {
        {"null", ofKind(ValueObject::TYPE_NULL)},
        {"undefined", ValueObject()},
        {"unknown", filled(11)},
        {"int 0", ValueObject(0)},
        {"int 5", ValueObject(5)},
        {"int -1", ValueObject(-1)},
        {"uint 5", ValueObject(5U)},
        {"uint max", ValueObject(UINT_HIGH)},
        {"int64 5", ValueObject(5LL)},
        {"int64 2^32+5", ValueObject(4294967301LL)},
        {"uint64 max", ValueObject(UINT64_HIGH)},
        {"uint64 0", ValueObject(0ULL)},
        {"true", ValueObject(true)},
        {"false", ValueObject(false)},
        {"float 0.1", ValueObject(0.1F)},
        {"float 1", ValueObject(1.0F)},
        {"double 0.1", ValueObject(0.1)},
        {"double 5.7", ValueObject(5.7)},
        {"double 0", ValueObject(0.0)},
        {"double nan", ValueObject(DOUBLE_NAN)},
        {"string 5", ValueObject("5")},
        {"string empty", ValueObject("")},
        {"point 0 0", ValueObject(Point{0, 0})},
        {"point 5 0", ValueObject(Point{5, 0})},
        {"list empty", list({})},
        {"list int 5", list({ValueObject(5)})},
        {"list double 5.7", list({ValueObject(5.7)})},
    };
    using Names = std::set<std::string>;
    // The values that convert to zero in every numeric type: they are zero or have no number.
    const Names zeros = {"null",      "undefined",  "unknown",    "int 0",          "uint64 0",
                         "false",     "double 0",   "string 5",   "string empty",   "point 0 0",
                         "point 5 0", "list empty", "list int 5", "list double 5.7"};
    const auto zerosAnd = [&](Names more) {
        more.insert(zeros.begin(), zeros.end());
        return more;
    };
    const Names trues = {"int 5",        "int -1",     "uint 5",    "uint max",  "int64 5",
                         "int64 2^32+5", "uint64 max", "true",      "float 0.1", "float 1",
                         "double 0.1",   "double 5.7", "double nan"};
    const std::pair<std::string, Names> equalTo[] = {
        {"null", {"null"}},
        {"undefined", {"undefined"}},
        {"unknown", {}},
        {"int 0", zerosAnd({"float 0.1", "double 0.1", "double nan"})},
        {"int 5", {"int 5", "uint 5", "int64 5", "int64 2^32+5", "double 5.7"}},
        {"int -1", {"int -1", "uint max", "uint64 max"}},
        {"uint 5", {"int 5", "uint 5", "int64 5", "int64 2^32+5", "double 5.7"}},
        {"uint max", {"int -1", "uint max", "uint64 max"}},
        {"int64 5", {"int 5", "uint 5", "int64 5", "double 5.7"}},
        {"int64 2^32+5", {"int64 2^32+5"}},
        {"uint64 max", {"int -1", "uint64 max"}},
        {"uint64 0", zerosAnd({"float 0.1", "double 0.1", "double nan"})},
        {"true", trues},
        {"false", zeros},
        {"float 0.1", {"float 0.1", "double 0.1"}},
        {"float 1", {"float 1", "true"}},
        {"double 0.1", {"double 0.1"}},
        {"double 5.7", {"double 5.7"}},
        {"double 0", zeros},
        {"double nan", {}},
        {"string 5", {"string 5"}},
        {"string empty", {"string empty"}},
        {"point 0 0", {"point 0 0"}},
        {"point 5 0", {"point 5 0"}},
        {"list empty", {"list empty"}},
        {"list int 5", {"list int 5", "list double 5.7"}},
        {"list double 5.7", {"list double 5.7"}},
    };
    ASSERT_EQ(std::size(values), std::size(equalTo));
    for (std::size_t left = 0; left < std::size(values); ++left) {
        ASSERT_EQ(values[left].name, equalTo[left].first);
        for (const Named& right : values)
            EXPECT_EQ(values[left].value == right.value, equalTo[left].second.count(right.name) > 0)
                << values[left].name << " and " << right.name;
    }
}

TEST(AnInt, EqualsADoubleThatConvertsToItButNotViceVersa) {
    EXPECT_TRUE(ValueObject(5) == ValueObject(5.0));
    EXPECT_TRUE(ValueObject(5) == ValueObject(5.7));
    EXPECT_FALSE(ValueObject(5.7) == ValueObject(5));
}

TEST(AnInt, ThatIsZeroEqualsAnyStringButNotViceVersa) {
    EXPECT_TRUE(ValueObject(0) == ValueObject("x"));
    EXPECT_FALSE(ValueObject("x") == ValueObject(0));
    EXPECT_FALSE(ValueObject("5") == ValueObject(5));
}

TEST(AnUnknownKind, EqualsNothing) {
    for (const int kind : UNKNOWN_KINDS) {
        SCOPED_TRACE(kind);
        const ValueObject unknown = filled(kind);
        const ValueObject copy(unknown);
        EXPECT_FALSE(unknown == unknown);
        EXPECT_FALSE(unknown == copy);
        for (int other = ValueObject::TYPE_NULL; other <= 256; ++other)
            EXPECT_FALSE(unknown == filled(other)) << other;
    }
}

TEST(AString, EqualsAStringWithTheSameBytes) {
    EXPECT_TRUE(ValueObject("abc") == ValueObject("abc"));
    EXPECT_FALSE(ValueObject("abc") == ValueObject("ABC"));
    EXPECT_FALSE(ValueObject("abc") == ValueObject("abcd"));
    EXPECT_TRUE(ValueObject(std::string("a\0b", 3)) == ValueObject(std::string("a\0b", 3)));
    EXPECT_FALSE(ValueObject(std::string("a\0b", 3)) == ValueObject(std::string("a\0c", 3)));
    EXPECT_FALSE(ValueObject("a") == ValueObject(std::string("a\0", 2)));
}

TEST(AValueThatIsAPoint, EqualsAPointWithTheSameCoordinates) {
    EXPECT_TRUE(ValueObject(Point{1, 2}) == ValueObject(Point{1, 2}));
    EXPECT_FALSE(ValueObject(Point{1, 2}) == ValueObject(Point{1, 3}));
    EXPECT_FALSE(ValueObject(Point{1, 2}) == ValueObject(Point{3, 2}));
    EXPECT_FALSE(ValueObject(Point{1, 2}) == ValueObject("(1,2)"));
}

TEST(AList, EqualsAListWithEqualItems) {
    const ValueObject value = list({ValueObject(1), list({ValueObject("a"), ValueObject(2)})});
    EXPECT_TRUE(value == list({ValueObject(1), list({ValueObject("a"), ValueObject(2)})}));
    EXPECT_TRUE(value == list({ValueObject(1.9), list({ValueObject("a"), ValueObject(2LL)})}));
    EXPECT_FALSE(value == list({ValueObject(1), list({ValueObject("a"), ValueObject(3)})}));
    EXPECT_FALSE(value == list({ValueObject(2), list({ValueObject("a"), ValueObject(2)})}));
    EXPECT_FALSE(value == list({list({ValueObject("a"), ValueObject(2)}), ValueObject(1)}));
    EXPECT_FALSE(value == list({ValueObject(1)}));
    EXPECT_FALSE(list({ValueObject(1)}) == value);
    EXPECT_TRUE(list({}) == list({}));
    EXPECT_FALSE(list({filled(11)}) == list({filled(11)}));
}

TEST(AComparison, IgnoresTheFieldsThatTheKindDoesNotSelect) {
    for (const int kind : {0, 1, 2, 3, 4, 5, 7, 8, 9, 10, 255}) {
        SCOPED_TRACE(kind);
        const ValueObject stale = filled(kind);
        const ValueObject clean(stale);
        EXPECT_TRUE(stale == clean);
        EXPECT_TRUE(clean == stale);
    }
}

// Allocations that fail.

TEST(AnAllocationFailure, InAConstructionLeaksNothing) {
    const std::string text = LONG_TEXT;
    failEachAllocationOf([&] { const ValueObject value(text); });
    failEachAllocationOf([] { const ValueObject value(LONG_TEXT); });
    const ValueObject source = list({ValueObject(LONG_TEXT), list({ValueObject(LONG_TEXT), ValueObject(1)})});
    failEachAllocationOf([&] { const ValueObject copy(source); });
}

TEST(AnAllocationFailure, InAnAssignmentLeaksNothing) {
    const std::string text = LONG_TEXT;
    failEachAllocationOf([&] {
        ValueObject target;
        target = text;
    });
    ValueObject source = list({ValueObject(LONG_TEXT), list({ValueObject(LONG_TEXT), ValueObject(1)})});
    source.text = LONG_TEXT;
    failEachAllocationOf([&] {
        ValueObject target(LONG_TEXT);
        target = source;
    });
}

TEST(AnAllocationFailure, IsThrownToTheCallerOfAConversion) {
    const ValueObject value = list(
        {ValueObject(LONG_TEXT), ValueObject(1234567.5), ValueObject(LONG_TEXT), ValueObject(Point{1, 2})});
    failEachAllocationOf([&] { const std::string text = value; });
    failEachAllocationOf([&] { const std::vector<int> numbers = value; });
    failEachAllocationOf([&] { const std::vector<unsigned int> numbers = value; });
    failEachAllocationOf([&] { const std::vector<std::string> texts = value; });
}

TEST(AMove, AllocatesNothing) {
    ValueObject source = filled(ValueObject::TYPE_VECTOR);
    const long before = blocksInUse;
    allocationsUntilFailure = 0;
    ValueObject constructed(std::move(source));
    ValueObject assigned;
    assigned = std::move(constructed);
    const bool untouched = allocationsUntilFailure == 0;
    allocationsUntilFailure = -1;
    EXPECT_TRUE(untouched);
    EXPECT_EQ(blocksInUse, before);
}
