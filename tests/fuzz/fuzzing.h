// What the fuzz targets share: how they take values from an input's bytes, and what they do about a finding.
#ifndef TESTS_FUZZING_H
#define TESTS_FUZZING_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>

// Called once, before the first input; and with each input. libFuzzer has a main that calls them, replay.cpp
// has the other one.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Ends the process with the place if something does not hold; libFuzzer then keeps the input.
#define FUZZ_CHECK(condition)                                                            \
    do {                                                                                 \
        if (!(condition)) {                                                              \
            std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                \
        }                                                                                \
    } while (false)

namespace fuzzing {

// An input's bytes, taken one value after the other. When they are used up, what comes is 0 or empty.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : m_next(data), m_end(data + size) {}

    bool empty() const { return m_next == m_end; }
    std::size_t size() const { return static_cast<std::size_t>(m_end - m_next); }

    // Little-endian, on every processor.
    template <typename T>
    T number() {
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < sizeof(T) && m_next != m_end; ++i)
            bits |= static_cast<std::uint64_t>(*m_next++) << (8 * i);
        T value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    std::uint8_t byte() { return number<std::uint8_t>(); }
    bool flag() { return (byte() & 1U) != 0; }
    // Below `end`.
    unsigned choice(unsigned end) { return byte() % end; }

    std::string text(std::size_t length) {
        const std::size_t taken = std::min(length, size());
        std::string value(m_next, m_next + taken);
        m_next += taken;
        return value;
    }
    // Its length comes first, in a byte.
    std::string text() { return text(byte()); }
    std::string rest() { return text(size()); }

  private:
    const std::uint8_t* m_next;
    const std::uint8_t* m_end;
};

// A whole number as std::stol and std::stoi read it, written down once more: white space, a sign, digits;
// what follows does not matter, a NUL ends the text.
enum class Reading { NUMBER, NO_NUMBER, OUT_OF_RANGE };

inline Reading readNumber(const std::string& text, std::int64_t lowest, std::int64_t highest,
                          std::int64_t& number) {
    std::size_t i = 0;
    const auto at = [&](std::size_t place) { return place < text.size() ? text[place] : '\0'; };
    while (at(i) == ' ' || (at(i) >= '\t' && at(i) <= '\r')) ++i;
    const bool negative = at(i) == '-';
    if (negative || at(i) == '+') ++i;
    if (at(i) < '0' || at(i) > '9') return Reading::NO_NUMBER;
    std::int64_t value = 0;
    for (; at(i) >= '0' && at(i) <= '9'; ++i) {
        value = value * 10 + (negative ? -(at(i) - '0') : at(i) - '0');
        if (value < lowest || value > highest) return Reading::OUT_OF_RANGE;
    }
    number = value;
    return Reading::NUMBER;
}

// A complaint about a file that was called "fuzz": fuzz:LINE:COLUMN: what is wrong.
inline bool hasPlace(const std::string& complaint) {
    unsigned line = 0;
    unsigned column = 0;
    char blank = 0;
    return std::sscanf(complaint.c_str(), "fuzz:%u:%u:%c", &line, &column, &blank) == 3 && blank == ' ';
}

}  // namespace fuzzing

#endif
