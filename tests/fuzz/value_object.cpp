// Fuzzes ValueObject with a sequence of constructions, assignments, conversions and comparisons. Each result
// is compared with that of a separate model.
#include "platform_adaptation/system_access/value_object.h"

#include <array>
#include <cmath>
#include <limits>
#include <locale>
#include <sstream>
#include <vector>

#include "fuzzing.h"

namespace {

using fuzzing::Input;

// The kinds, with numbers of their own because the numbers are part of the interface.
enum Kind : int {
    NOTHING = 0,
    INT = 1,
    UINT = 2,
    INT64 = 3,
    UINT64 = 4,
    BOOL = 5,
    FLOAT = 6,
    DOUBLE = 7,
    TEXT = 8,
    POINT = 9,
    LIST = 10,
    UNDEFINED = 255,
};

struct ReferenceValue {
    int kind = UNDEFINED;
    std::uint64_t cell = 0;  // a kind uses the low bytes that it needs
    long long reserved[2] = {0, -1};
    Point point{0, 0};
    std::string text;
    std::vector<ReferenceValue> items;
};

template <typename T>
T cellAs(const ReferenceValue& m) {
    T value;
    std::memcpy(&value, &m.cell, sizeof value);
    return value;
}

bool isNumber(const ReferenceValue& m) { return m.kind >= INT && m.kind <= DOUBLE; }
bool isFloating(const ReferenceValue& m) { return m.kind == FLOAT || m.kind == DOUBLE; }

double floatingOf(const ReferenceValue& m) {
    return m.kind == FLOAT ? static_cast<double>(cellAs<float>(m)) : cellAs<double>(m);
}

// Converts using the binary representation: truncates towards zero and saturates at the ends of the range.
template <typename To>
To truncated(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const bool negative = (bits >> 63) != 0;
    const int exponent = static_cast<int>((bits >> 52) & 0x7FF) - 1023;
    const std::uint64_t fraction = bits & ((std::uint64_t{1} << 52) - 1);
    if (exponent == 1024 && fraction != 0) return 0;  // not a number
    using Limits = std::numeric_limits<To>;
    const To nearest = negative ? Limits::min() : Limits::max();
    if (exponent < 0) return 0;
    if (exponent >= 64) return nearest;
    const std::uint64_t mantissa = fraction | (std::uint64_t{1} << 52);
    const std::uint64_t whole = exponent >= 52 ? mantissa << (exponent - 52) : mantissa >> (52 - exponent);
    if (!negative)
        return whole > static_cast<std::uint64_t>(Limits::max()) ? nearest : static_cast<To>(whole);
    if (!Limits::is_signed) return 0;
    const std::uint64_t lowest = static_cast<std::uint64_t>(Limits::max()) + 1;
    return whole >= lowest ? nearest : static_cast<To>(-static_cast<std::int64_t>(whole));
}

// The value of an integer or a boolean, sign-extended to 64 bits.
std::uint64_t wholeOf(const ReferenceValue& m) {
    switch (m.kind) {
        case INT:
            return static_cast<std::uint64_t>(std::int64_t{cellAs<std::int32_t>(m)});
        case UINT:
            return cellAs<std::uint32_t>(m);
        case BOOL:
            return (m.cell & 0xFFU) != 0 ? 1 : 0;
        default:
            return m.cell;
    }
}

template <typename To>
To toWhole(const ReferenceValue& m) {
    if (!isNumber(m)) return 0;
    return isFloating(m) ? truncated<To>(floatingOf(m)) : static_cast<To>(wholeOf(m));
}

template <typename To>
To toFloating(const ReferenceValue& m) {
    switch (m.kind) {
        case INT:
        case INT64:
            return static_cast<To>(static_cast<std::int64_t>(wholeOf(m)));
        case UINT:
        case UINT64:
        case BOOL:
            return static_cast<To>(wholeOf(m));
        case FLOAT:
            return static_cast<To>(cellAs<float>(m));
        case DOUBLE:
            return static_cast<To>(cellAs<double>(m));
        default:
            return 0;
    }
}

bool toBool(const ReferenceValue& m) {
    if (!isNumber(m)) return false;
    return isFloating(m) ? floatingOf(m) != 0.0 : wholeOf(m) != 0;
}

std::string toText(const ReferenceValue& m) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    switch (m.kind) {
        case NOTHING:
            return "null";
        case INT:
        case INT64:
            out << static_cast<std::int64_t>(wholeOf(m));
            break;
        case UINT:
        case UINT64:
            out << wholeOf(m);
            break;
        case BOOL:
            return wholeOf(m) != 0 ? "TRUE" : "FALSE";
        case FLOAT:
        case DOUBLE:
            out << floatingOf(m);
            break;
        case TEXT:
            return m.text;
        case POINT:
            out << '(' << m.point.first << ',' << m.point.second << ')';
            break;
        case LIST:
            out << '[';
            for (std::size_t i = 0; i < m.items.size(); ++i) out << (i > 0 ? "," : "") << toText(m.items[i]);
            out << ']';
            break;
        case UNDEFINED:
            return "Undefined";
        default:
            return "";
    }
    return out.str();
}

bool equal(const ReferenceValue& a, const ReferenceValue& b) {
    if (a.kind == b.kind && (a.kind == NOTHING || a.kind == UNDEFINED)) return true;
    switch (a.kind) {
        case INT:
            return toWhole<std::int32_t>(a) == toWhole<std::int32_t>(b);
        case UINT:
            return toWhole<std::uint32_t>(a) == toWhole<std::uint32_t>(b);
        case INT64:
            return toWhole<std::int64_t>(a) == toWhole<std::int64_t>(b);
        case UINT64:
            return toWhole<std::uint64_t>(a) == toWhole<std::uint64_t>(b);
        case BOOL:
            return toBool(a) == toBool(b);
        case FLOAT:
            return toFloating<float>(a) == toFloating<float>(b);
        case DOUBLE:
            return toFloating<double>(a) == toFloating<double>(b);
        case TEXT:
            return b.kind == TEXT && a.text == b.text;
        case POINT:
            return b.kind == POINT && a.point.first == b.point.first && a.point.second == b.point.second;
        case LIST:
            if (b.kind != LIST || a.items.size() != b.items.size()) return false;
            for (std::size_t i = 0; i < a.items.size(); ++i)
                if (!equal(a.items[i], b.items[i])) return false;
            return true;
        default:
            return false;
    }
}

// The expected result of a copy construction: the kind and the payload that it selects.
ReferenceValue payloadOf(const ReferenceValue& m) {
    ReferenceValue copy;
    copy.kind = m.kind;
    if (isNumber(m)) copy.cell = m.cell;
    if (m.kind == TEXT) copy.text = m.text;
    if (m.kind == POINT) copy.point = m.point;
    if (m.kind == LIST)
        for (const ReferenceValue& item : m.items) copy.items.push_back(payloadOf(item));
    return copy;
}

// Compares numbers including the sign of zero; all NaNs are equal.
template <typename T>
bool same(T a, T b) {
    return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
}

void checkFields(const ValueObject& value, const ReferenceValue& m) {
    FUZZ_CHECK(value.type() == m.kind);
    FUZZ_CHECK(value.kind == m.kind);
    FUZZ_CHECK(value.reserved[0] == m.reserved[0] && value.reserved[1] == m.reserved[1]);
    FUZZ_CHECK(value.point.first == m.point.first && value.point.second == m.point.second);
    FUZZ_CHECK(value.text == m.text);
    FUZZ_CHECK(value.items.size() == m.items.size());
    for (std::size_t i = 0; i < m.items.size(); ++i) checkFields(value.items[i], m.items[i]);
}

void checkConversions(const ValueObject& value, const ReferenceValue& m) {
    FUZZ_CHECK(static_cast<bool>(value) == toBool(m));
    FUZZ_CHECK(static_cast<int>(value) == toWhole<std::int32_t>(m));
    FUZZ_CHECK(static_cast<unsigned int>(value) == toWhole<std::uint32_t>(m));
    FUZZ_CHECK(static_cast<long long>(value) == toWhole<std::int64_t>(m));
    FUZZ_CHECK(static_cast<unsigned long long>(value) == toWhole<std::uint64_t>(m));
    FUZZ_CHECK(same(static_cast<float>(value), toFloating<float>(m)));
    FUZZ_CHECK(same(static_cast<double>(value), toFloating<double>(m)));
    const Point point = value;
    const Point expected = m.kind == POINT ? m.point : Point{0, 0};
    FUZZ_CHECK(point.first == expected.first && point.second == expected.second);
    const std::string text = toText(m);
    FUZZ_CHECK(value.convertToStringType() == text);
    FUZZ_CHECK(value.operator std::string() == text);

    const std::vector<ReferenceValue> itself{m};
    const std::vector<ReferenceValue>& list = m.kind == LIST ? m.items : itself;
    const std::vector<int> ints = value;
    const std::vector<unsigned int> unsignedInts = value;
    const std::vector<std::string> texts = value;
    FUZZ_CHECK(ints.size() == list.size() && unsignedInts.size() == list.size() &&
               texts.size() == list.size());
    for (std::size_t i = 0; i < list.size(); ++i) {
        FUZZ_CHECK(ints[i] == toWhole<std::int32_t>(list[i]));
        FUZZ_CHECK(unsignedInts[i] == toWhole<std::uint32_t>(list[i]));
        FUZZ_CHECK(texts[i] == toText(list[i]));
    }
}

std::size_t weight(const ReferenceValue& m) {
    std::size_t sum = 1 + m.text.size() / 16;
    for (const ReferenceValue& item : m.items) sum += weight(item);
    return sum;
}

std::size_t depth(const ReferenceValue& m) {
    std::size_t deepest = 0;
    for (const ReferenceValue& item : m.items) deepest = std::max(deepest, depth(item));
    return deepest + 1;
}

// A value and its model. The cell is always initialised, because any kind may be written to the tag later.
struct Pair {
    ValueObject value;
    ReferenceValue model;
    Pair() { value.scalar.u64 = 0; }
};

template <typename T>
void assign(Pair& pair, int kind, T number) {
    pair.value = number;
    pair.model.kind = kind;
    pair.model.cell = 0;
    std::memcpy(&pair.model.cell, &number, sizeof number);
}

template <typename T>
void construct(Pair& pair, int kind, T number) {
    pair.value = ValueObject(number);
    pair.model = ReferenceValue();
    pair.model.kind = kind;
    std::memcpy(&pair.model.cell, &number, sizeof number);
}

template <typename T>
void fill(Pair& pair, bool fresh, int kind, T number) {
    fresh ? construct(pair, kind, number) : assign(pair, kind, number);
}

void fill(Pair& pair, Input& input) {
    const bool fresh = input.flag();
    switch (input.choice(12)) {
        case 0:
            pair.value = ValueObject();
            pair.model = ReferenceValue();
            pair.value.scalar.u64 = 0;
            break;
        case 1:
            return fill(pair, fresh, INT, input.number<int>());
        case 2:
            return fill(pair, fresh, UINT, input.number<unsigned int>());
        case 3:
            return fill(pair, fresh, INT64, input.number<long long>());
        case 4:
            return fill(pair, fresh, UINT64, input.number<unsigned long long>());
        case 5:
            return fill(pair, fresh, BOOL, input.flag());
        case 6:
            return fill(pair, fresh, FLOAT, input.number<float>());
        case 7:
            return fill(pair, fresh, DOUBLE, input.number<double>());
        case 8: {
            const std::string text = input.text();
            if (fresh) {
                pair.value = ValueObject(text);
                pair.value.scalar.u64 = 0;
                pair.model = ReferenceValue();
            } else {
                pair.value = text;
            }
            pair.model.kind = TEXT;
            pair.model.text = text;
            break;
        }
        case 9: {
            const int first = input.number<int>();
            const Point point{first, input.number<int>()};
            if (fresh) {
                pair.value = ValueObject(point);
                pair.value.scalar.u64 = 0;
                pair.model = ReferenceValue();
            } else {
                pair.value = point;
            }
            pair.model.kind = POINT;
            pair.model.point = point;
            break;
        }
        case 10:  // a list that is built by setting the kind, as the accessors do
            pair.value.kind = ValueObject::TYPE_VECTOR;
            pair.model.kind = LIST;
            break;
        default:  // any tag with any payload bits
            pair.value.kind = pair.model.kind = input.number<int>();
            pair.value.scalar.u64 = pair.model.cell = input.number<std::uint64_t>();
            pair.value.reserved[0] = pair.model.reserved[0] = input.number<long long>();
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t heaviest = 200;
    constexpr std::size_t deepest = 20;
    Input input(data, size);
    constexpr unsigned count = 4;
    std::array<Pair, count> pairs;
    while (!input.empty()) {
        Pair& a = pairs[input.choice(count)];
        Pair& b = pairs[input.choice(count)];
        switch (input.choice(9)) {
            case 0:
            case 1:
                fill(a, input);
                break;
            case 2: {  // copy-constructs a value from b and moves it to a
                ValueObject copy(b.value);
                const ReferenceValue model = payloadOf(b.model);
                checkFields(copy, model);
                checkConversions(copy, model);
                a.value = copy;
                a.model = model;
                if (!isNumber(model)) a.value.scalar.u64 = 0;
                break;
            }
            case 3: {  // move-constructs a value from b and moves it to a
                ValueObject taken(std::move(b.value));
                const ReferenceValue model = payloadOf(b.model);
                if (b.model.kind == TEXT) b.model.text.clear();
                if (b.model.kind == LIST) b.model.items.clear();
                checkFields(b.value, b.model);
                checkFields(taken, model);
                a.value = std::move(taken);
                a.model = model;
                if (!isNumber(model)) a.value.scalar.u64 = 0;
                break;
            }
            case 4: {
                a.value = b.value;
                const ReferenceValue model = b.model;
                a.model = model;
                break;
            }
            case 5:
                if (&a == &b) break;
                a.value = std::move(b.value);
                a.model = b.model;
                b.model.text.clear();
                b.model.items.clear();
                checkFields(b.value, b.model);
                break;
            case 6: {  // appends b to the items of a
                if (weight(a.model) + weight(b.model) > heaviest || depth(b.model) >= deepest) break;
                const ValueObject item(b.value);
                a.value.items.push_back(item);
                const ReferenceValue model = payloadOf(b.model);
                a.model.items.push_back(model);
                break;
            }
            case 7: {  // assigns one of a's items to a
                if (a.model.items.empty()) break;
                const std::size_t index = input.choice(static_cast<unsigned>(a.model.items.size()));
                if (input.flag()) {
                    a.value = a.value.items[index];
                } else {
                    a.value = std::move(a.value.items[index]);
                }
                const ReferenceValue model = a.model.items[index];
                a.model = model;
                if (!isNumber(model)) a.value.scalar.u64 = a.model.cell = 0;
                break;
            }
            default: {  // compares a and b in both directions
                FUZZ_CHECK((a.value == b.value) == equal(a.model, b.model));
                FUZZ_CHECK((b.value == a.value) == equal(b.model, a.model));
                break;
            }
        }
        checkFields(a.value, a.model);
        checkConversions(a.value, a.model);
    }
    for (const Pair& a : pairs)
        for (const Pair& b : pairs) FUZZ_CHECK((a.value == b.value) == equal(a.model, b.model));
    return 0;
}
