#include "platform_adaptation/system_access/value_object.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace {

bool isNumber(int kind) noexcept { return kind >= ValueObject::TYPE_INT && kind <= ValueObject::TYPE_DOUBLE; }

// Converts with saturation, equally on every processor; NaN gives 0.
template <typename To, typename From>
To saturate(From value) noexcept {
    // The first value beyond the range is a power of two, exact in floating point; max() would be rounded.
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

// The longest text: a sign and 20 digits; or a sign, 6 digits, a point and an exponent of 5 characters.
constexpr std::size_t NUMBER_LENGTH = 24;

template <typename... Arguments>
std::string numberText(Arguments... arguments) {
    char digits[NUMBER_LENGTH];
    return std::string(digits, std::to_chars(digits, digits + sizeof digits, arguments...).ptr);
}

std::string floatingText(double value) {
    constexpr int significantDigits = 6;
    return numberText(value, std::chars_format::general, significantDigits);
}

}  // namespace

ValueObject::ValueObject() noexcept : kind(TYPE_UNDEFINED), reserved{0, -1}, point{0, 0} {}
ValueObject::ValueObject(bool value) noexcept : ValueObject() { *this = value; }
ValueObject::ValueObject(int value) noexcept : ValueObject() { *this = value; }
ValueObject::ValueObject(unsigned int value) noexcept : ValueObject() { *this = value; }
ValueObject::ValueObject(long long value) noexcept : ValueObject() { *this = value; }
ValueObject::ValueObject(unsigned long long value) noexcept : ValueObject() { *this = value; }
ValueObject::ValueObject(float value) noexcept : ValueObject() { *this = value; }
ValueObject::ValueObject(double value) noexcept : ValueObject() { *this = value; }
ValueObject::ValueObject(const std::string& value) : ValueObject() { *this = value; }
ValueObject::ValueObject(const Point& value) noexcept : ValueObject() { *this = value; }

ValueObject::ValueObject(const ValueObject& other) : ValueObject() {
    kind = other.kind;
    if (isNumber(kind))
        scalar = other.scalar;
    else if (kind == TYPE_STRING)
        text = other.text;
    else if (kind == TYPE_POINT)
        point = other.point;
    else if (kind == TYPE_VECTOR)
        items = other.items;
}

ValueObject::ValueObject(ValueObject&& other) noexcept : ValueObject() {
    kind = other.kind;
    if (isNumber(kind))
        scalar = other.scalar;
    else if (kind == TYPE_STRING)
        text.swap(other.text);
    else if (kind == TYPE_POINT)
        point = other.point;
    else if (kind == TYPE_VECTOR)
        items.swap(other.items);
}

ValueObject::~ValueObject() = default;

template <typename T>
ValueObject& ValueObject::set(Type newKind, T Scalar::*field, T value) noexcept {
    kind = newKind;
    scalar.*field = value;
    return *this;
}

ValueObject& ValueObject::operator=(int value) noexcept { return set(TYPE_INT, &Scalar::i, value); }
ValueObject& ValueObject::operator=(unsigned int value) noexcept { return set(TYPE_UINT, &Scalar::u, value); }
ValueObject& ValueObject::operator=(long long value) noexcept { return set(TYPE_INT64, &Scalar::i64, value); }
ValueObject& ValueObject::operator=(unsigned long long value) noexcept {
    return set(TYPE_UINT64, &Scalar::u64, value);
}
ValueObject& ValueObject::operator=(bool value) noexcept { return set(TYPE_BOOL, &Scalar::b, value); }
ValueObject& ValueObject::operator=(float value) noexcept { return set(TYPE_FLOAT, &Scalar::f, value); }
ValueObject& ValueObject::operator=(double value) noexcept { return set(TYPE_DOUBLE, &Scalar::d, value); }

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

// In both assignments, `other` may be an item of the old list: replace the list last.
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
            // Read as a byte: the field is public, and reading a bool with a value other than 0 and 1 is
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
ValueObject::operator int() const noexcept { return toNumber<int>(); }
ValueObject::operator unsigned int() const noexcept { return toNumber<unsigned int>(); }
ValueObject::operator long long() const noexcept { return toNumber<long long>(); }
ValueObject::operator unsigned long long() const noexcept { return toNumber<unsigned long long>(); }
ValueObject::operator float() const noexcept { return toNumber<float>(); }
ValueObject::operator double() const noexcept { return toNumber<double>(); }
ValueObject::operator Point() const noexcept { return kind == TYPE_POINT ? point : Point{0, 0}; }

template <typename T>
std::vector<T> ValueObject::toList() const {
    if (kind != TYPE_VECTOR) return {this->operator T()};
    return std::vector<T>(items.begin(), items.end());
}

ValueObject::operator std::vector<int>() const { return toList<int>(); }
ValueObject::operator std::vector<unsigned int>() const { return toList<unsigned int>(); }
ValueObject::operator std::vector<std::string>() const { return toList<std::string>(); }

std::string ValueObject::convertToStringType() const {
    switch (kind) {
        case TYPE_NULL:
            return "null";
        case TYPE_INT:
            return numberText(scalar.i);
        case TYPE_UINT:
            return numberText(scalar.u);
        case TYPE_INT64:
            return numberText(scalar.i64);
        case TYPE_UINT64:
            return numberText(scalar.u64);
        case TYPE_BOOL:
            return toNumber<bool>() ? "TRUE" : "FALSE";
        case TYPE_FLOAT:
            return floatingText(static_cast<double>(scalar.f));
        case TYPE_DOUBLE:
            return floatingText(scalar.d);
        case TYPE_STRING:
            return text;
        case TYPE_POINT:
            return "(" + numberText(point.first) + "," + numberText(point.second) + ")";
        case TYPE_VECTOR: {
            std::string list = "[";
            for (const ValueObject& item : items) {
                if (&item != &items.front()) list += ',';
                list += item.convertToStringType();
            }
            return list + ']';
        }
        case TYPE_UNDEFINED:
            return "Undefined";
        default:
            return "";
    }
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
