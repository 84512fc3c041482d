// Benchmarks of ValueObject and of the standard library's value types.
#include <any>
#include <charconv>
#include <string>
#include <utility>
#include <variant>

#include "measure.h"
#include "platform_adaptation/system_access/value_object.h"

namespace benchmarks {

namespace {

using Variant = std::variant<std::monostate, int, unsigned, long long, unsigned long long, bool, float,
                             double, std::string>;

constexpr char TEXT[] = "a text that is longer than what a string keeps in itself";

template <typename Value>
double toDouble(const Value& value);
template <>
double toDouble(const ValueObject& value) {
    return static_cast<double>(value);
}
template <>
double toDouble(const Variant& value) {
    return std::get<int>(value);
}
template <>
double toDouble(const std::any& value) {
    return std::any_cast<int>(value);
}

template <typename Value>
std::string toText(const Value& value);
template <>
std::string toText(const ValueObject& value) {
    return value.convertToStringType();
}
template <>
std::string toText(const Variant& value) {
    return std::to_string(std::get<int>(value));
}
template <>
std::string toText(const std::any& value) {
    return std::to_string(std::any_cast<int>(value));
}

template <typename Value>
bool equal(const Value& a, const Value& b) {
    return a == b;
}
template <>
bool equal(const std::any& a, const std::any& b) {
    return std::any_cast<int>(a) == std::any_cast<int>(b);
}

template <typename Value>
void addRows(const char* peer) {
    add("value_copy", peer, [] {
        return [number = 0]() mutable {
            Value value(++number);
            benchmark::DoNotOptimize(value);
            Value copy(value);
            benchmark::DoNotOptimize(copy);
        };
    });
    add("value_chain", peer, [] {
        return [number = 0]() mutable {
            Value value(++number);
            benchmark::DoNotOptimize(value);
            Value copy(value);
            benchmark::DoNotOptimize(copy);
            double converted = toDouble(copy);
            benchmark::DoNotOptimize(converted);
            std::string text = toText(copy);
            benchmark::DoNotOptimize(text);
        };
    });
    add("value_compare", peer, [] {
        return [a = Value(60), b = Value(60)]() mutable {
            benchmark::DoNotOptimize(a);
            bool same = equal(a, b);
            benchmark::DoNotOptimize(same);
        };
    });
    add("value_move_string", peer, [] {
        return [a = Value(std::string(TEXT))]() mutable {
            Value b(std::move(a));
            benchmark::DoNotOptimize(b);
            a = std::move(b);
        };
    });
}

}  // namespace

void addValues() {
    addRows<ValueObject>("library");
    addRows<Variant>("std::variant");
    addRows<std::any>("std::any");

    add("value_double_to_text", "library", [] {
        return [value = ValueObject(3.14159)]() mutable {
            benchmark::DoNotOptimize(value);
            std::string text = value.convertToStringType();
            benchmark::DoNotOptimize(text);
        };
    });
    add("value_double_to_text", "std::to_chars", [] {
        return [value = 3.14159]() mutable {
            benchmark::DoNotOptimize(value);
            char digits[24];
            const auto end =
                std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 6).ptr;
            std::string text(digits, end);
            benchmark::DoNotOptimize(text);
        };
    });
}

}  // namespace benchmarks
