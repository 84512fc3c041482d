#define PLATFORM_ADAPTATION_INLINE [[gnu::used]] inline
#include "platform_adaptation/system_access/value_object.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "fast_path.h"

namespace {

// The same on every processor: beyond the range its nearest end, NaN gives 0.
template <typename To, typename From>
To saturate(From value) noexcept {
    // One beyond the last as a power of two, which every floating type represents exactly: the last would be
    // rounded.
    constexpr From end = static_cast<From>(To{1} << (std::numeric_limits<To>::digits - 1)) * From{2};
    constexpr From begin = std::numeric_limits<To>::is_signed ? -end : From{0};
    if (std::isnan(value)) return To{0};
    if (value >= end) return std::numeric_limits<To>::max();
    if (value <= begin) return std::numeric_limits<To>::min();
    return static_cast<To>(value);
}

template <typename To, typename From>
To convert(From value) noexcept {
    if constexpr (std::is_same_v<To, bool>) {
        return value != From{0};
    } else if constexpr (std::is_floating_point_v<From> && std::is_integral_v<To>) {
        return saturate<To>(value);
    } else {
        return static_cast<To>(value);
    }
}

// Longest: a sign, 20 digits; or a sign, 6 digits, a point, and an exponent of 5 characters.
constexpr std::size_t NUMBER_LENGTH = 24;

template <typename... Arguments>
void appendNumber(std::string& out, Arguments... arguments) {
    char digits[NUMBER_LENGTH];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, arguments...);
    out.append(digits, result.ptr);
}

// Six significant digits of a number that is written without an exponent. Scaled to six digits before the
// point it has one rounding error, of at most 1e-10: false, and nothing done, if that may decide how the last
// digit is rounded.
bool appendOrdinary(std::string& out, double value) {
    constexpr double powers[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};
    const double magnitude = std::fabs(value);
    if (!(magnitude >= 1e-4 && magnitude < 999999)) return false;
    int decimals = 0;
    double scaled = magnitude;
    while (scaled < 1e5 && decimals < 9) scaled = magnitude * powers[++decimals];
    auto digits = static_cast<unsigned>(scaled);
    const double rest = scaled - digits;
    if (std::fabs(rest - 0.5) < 1e-6) return false;
    if (rest > 0.5) ++digits;

    // From the last digit; zeros at the end are not written.
    char text[NUMBER_LENGTH];
    char* const end = text + sizeof text;
    char* begin = end;
    const auto prepend = [&] {
        *--begin = static_cast<char>('0' + digits % 10);
        digits /= 10;
    };
    for (; decimals > 0; --decimals) {
        if (begin == end && digits % 10 == 0) {
            digits /= 10;
        } else {
            prepend();
        }
    }
    if (begin != end) *--begin = '.';
    do prepend();
    while (digits != 0);
    if (value < 0) *--begin = '-';
    out.append(begin, end);
    return true;
}

void appendFloating(std::string& out, double value) {
    constexpr int significantDigits = 6;
    if (!appendOrdinary(out, value)) appendNumber(out, value, std::chars_format::general, significantDigits);
}

}  // namespace

ValueObject::ValueObject(const std::string& value) : ValueObject() { *this = value; }
ValueObject::ValueObject(const Point& value) noexcept : ValueObject() { *this = value; }

RARE_PATH void ValueObject::copyPayload(const ValueObject& other) {
    if (kind == TYPE_STRING) text = other.text;
    if (kind == TYPE_POINT) point = other.point;
    if (kind == TYPE_VECTOR) std::vector<ValueObject>(other.items).swap(items);
}

ValueObject::ValueObject(ValueObject&& other) noexcept : ValueObject() {
    kind = other.kind;
    if (kind >= TYPE_INT && kind <= TYPE_DOUBLE) scalar = other.scalar;
    if (kind == TYPE_STRING) text.swap(other.text);
    if (kind == TYPE_POINT) point = other.point;
    if (kind == TYPE_VECTOR) items.swap(other.items);
}

RARE_PATH void ValueObject::endItems() noexcept { std::vector<ValueObject>().swap(items); }

ValueObject& ValueObject::operator=(const std::string& value) {
    text = value;
    kind = TYPE_STRING;
    return *this;
}

ValueObject& ValueObject::operator=(const Point& value) noexcept {
    kind = TYPE_POINT;
    point = value;
    return *this;
}

// In both assignments `other` may be one of this value's own items, which ends with the old list: the list
// comes last.
ValueObject& ValueObject::operator=(const ValueObject& other) {
    if (this == &other) return *this;
    std::vector<ValueObject> newItems(other.items.size());
    for (std::size_t i = 0; i < newItems.size(); ++i) newItems[i] = other.items[i];
    text = other.text;
    kind = other.kind;
    scalar = other.scalar;
    point = other.point;
    reserved[0] = other.reserved[0];
    reserved[1] = other.reserved[1];
    items.swap(newItems);
    return *this;
}

ValueObject& ValueObject::operator=(ValueObject&& other) noexcept {
    std::string newText;
    newText.swap(other.text);
    std::vector<ValueObject> newItems;
    newItems.swap(other.items);
    text.swap(newText);
    kind = other.kind;
    scalar = other.scalar;
    point = other.point;
    reserved[0] = other.reserved[0];
    reserved[1] = other.reserved[1];
    items.swap(newItems);
    return *this;
}

template <typename T>
T ValueObject::toNumber() const noexcept {
    switch (kind) {
        case TYPE_INT:
            return convert<T>(scalar.i);
        case TYPE_UINT:
            return convert<T>(scalar.u);
        case TYPE_INT64:
            return convert<T>(scalar.i64);
        case TYPE_UINT64:
            return convert<T>(scalar.u64);
        case TYPE_BOOL: {
            // As a byte: the field is open to everyone, and a bool of another value than 0 and 1 is
            // undefined.
            unsigned char byte = 0;
            std::memcpy(&byte, &scalar, sizeof byte);
            return convert<T>(byte != 0 ? 1 : 0);
        }
        case TYPE_FLOAT:
            return convert<T>(scalar.f);
        case TYPE_DOUBLE:
            return convert<T>(scalar.d);
        default:
            return T{};
    }
}

ValueObject::operator bool() const noexcept { return toNumber<bool>(); }
int ValueObject::convertToInt() const noexcept { return toNumber<int>(); }
ValueObject::operator unsigned int() const noexcept { return toNumber<unsigned int>(); }
ValueObject::operator long long() const noexcept { return toNumber<long long>(); }
ValueObject::operator unsigned long long() const noexcept { return toNumber<unsigned long long>(); }
ValueObject::operator float() const noexcept { return toNumber<float>(); }
ValueObject::operator double() const noexcept { return toNumber<double>(); }
ValueObject::operator Point() const noexcept { return kind == TYPE_POINT ? point : Point{0, 0}; }

template <typename T>
std::vector<T> ValueObject::toList() const {
    if (kind != TYPE_VECTOR) return {this->operator T()};
    std::vector<T> list(items.size());
    for (std::size_t i = 0; i < list.size(); ++i) list[i] = items[i].operator T();
    return list;
}

ValueObject::operator std::vector<int>() const { return toList<int>(); }
ValueObject::operator std::vector<unsigned int>() const { return toList<unsigned int>(); }
ValueObject::operator std::vector<std::string>() const { return toList<std::string>(); }

void ValueObject::appendTextTo(std::string& out) const {
    switch (kind) {
        case TYPE_NULL:
            out += "null";
            break;
        case TYPE_INT:
            appendNumber(out, scalar.i);
            break;
        case TYPE_UINT:
            appendNumber(out, scalar.u);
            break;
        case TYPE_INT64:
            appendNumber(out, scalar.i64);
            break;
        case TYPE_UINT64:
            appendNumber(out, scalar.u64);
            break;
        case TYPE_BOOL:
            out += toNumber<bool>() ? "TRUE" : "FALSE";
            break;
        case TYPE_FLOAT:
            appendFloating(out, static_cast<double>(scalar.f));
            break;
        case TYPE_DOUBLE:
            appendFloating(out, scalar.d);
            break;
        case TYPE_STRING:
            out += text;
            break;
        case TYPE_POINT:
            out += '(';
            appendNumber(out, point.first);
            out += ',';
            appendNumber(out, point.second);
            out += ')';
            break;
        case TYPE_VECTOR: {
            out += '[';
            const char* separator = "";
            for (const ValueObject& item : items) {
                out += separator;
                item.appendTextTo(out);
                separator = ",";
            }
            out += ']';
            break;
        }
        case TYPE_UNDEFINED:
            out += "Undefined";
            break;
        default:
            break;
    }
}

std::string ValueObject::convertToStringType() const {
    if (kind == TYPE_INT) return std::to_string(scalar.i);
    std::string out;
    appendTextTo(out);
    return out;
}

bool ValueObject::operator==(const ValueObject& other) const {
    switch (kind) {
        case TYPE_INT:
            return toNumber<int>() == other.toNumber<int>();
        case TYPE_UINT:
            return toNumber<unsigned int>() == other.toNumber<unsigned int>();
        case TYPE_INT64:
            return toNumber<long long>() == other.toNumber<long long>();
        case TYPE_UINT64:
            return toNumber<unsigned long long>() == other.toNumber<unsigned long long>();
        case TYPE_BOOL:
            return toNumber<bool>() == other.toNumber<bool>();
        case TYPE_FLOAT:
            return toNumber<float>() == other.toNumber<float>();
        case TYPE_DOUBLE:
            return toNumber<double>() == other.toNumber<double>();
        case TYPE_STRING:
            return other.kind == TYPE_STRING && text == other.text;
        case TYPE_POINT:
            return other.kind == TYPE_POINT && point == other.point;
        case TYPE_VECTOR:
            return other.kind == TYPE_VECTOR && items == other.items;
        case TYPE_NULL:
        case TYPE_UNDEFINED:
            return other.kind == kind;
        default:
            return false;
    }
}
