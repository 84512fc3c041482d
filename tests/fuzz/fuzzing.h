// The common code of the fuzz targets: reading values from the bytes of an input, and reporting a failed
// check.
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

// LLVMFuzzerInitialize() is called once before the first input, LLVMFuzzerTestOneInput() for each input. The
// caller is the main function of libFuzzer or of replay.cpp.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// If the condition is false, prints the location and aborts the process; libFuzzer then saves the input.
#define FUZZ_CHECK(condition)                                                            \
    do {                                                                                 \
        if (!(condition)) {                                                              \
            std::fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                \
        }                                                                                \
    } while (false)

namespace fuzzing {

// Reads values from the bytes of an input. After the last byte, all values are 0 or empty.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : m_next(data), m_end(data + size) {}

    bool empty() const { return m_next == m_end; }
    std::size_t size() const { return static_cast<std::size_t>(m_end - m_next); }

    // The bytes are little-endian on every processor.
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
    // Returns a number from 0 to end - 1.
    unsigned choice(unsigned end) { return byte() % end; }

    std::string text(std::size_t length) {
        const std::size_t taken = std::min(length, size());
        std::string value(m_next, m_next + taken);
        m_next += taken;
        return value;
    }
    // The first byte is the length of the text.
    std::string text() { return text(byte()); }
    std::string rest() { return text(size()); }

  private:
    const std::uint8_t* m_next;
    const std::uint8_t* m_end;
};

// Parses an integer like std::stol and std::stoi, as a separate implementation for comparison: white space, a
// sign and digits. The rest of the text is ignored; a NUL ends the text.
enum class Reading { NUMBER, NO_NUMBER, OUT_OF_RANGE };

inline Reading readNumber(const std::string& text, std::int64_t lowest, std::int64_t highest,
                          std::int64_t& number) {
    std::size_t i = 0;
    const auto at = [&](std::size_t index) { return index < text.size() ? text[index] : '\0'; };
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

// Returns true if an error message about the file "fuzz" has the form "fuzz:LINE:COLUMN: REASON".
inline bool hasLocation(const std::string& complaint) {
    unsigned line = 0;
    unsigned column = 0;
    char blank = 0;
    return std::sscanf(complaint.c_str(), "fuzz:%u:%u:%c", &line, &column, &blank) == 3 && blank == ' ';
}

}  // namespace fuzzing

#endif
