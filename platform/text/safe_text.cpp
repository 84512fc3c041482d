#include "safe_text.h"

#include <utf8.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

std::string hex(std::uint32_t number, int digits) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%0*x", digits, number);
    return text.data();
}

bool isUnsafe(std::uint32_t character) {
    const bool isControl = character < 0x20 || (character >= 0x7f && character <= 0x9f);
    const bool endsLine = character == 0x2028 || character == 0x2029;
    const bool changesDirection = character == 0x061c || character == 0x200e || character == 0x200f ||
                                  (character >= 0x202a && character <= 0x202e) ||
                                  (character >= 0x2066 && character <= 0x2069);
    return isControl || endsLine || changesDirection;
}

// Calls `escape` with a character, or with the negative value of a byte that is not UTF-8.
template <typename Escape>
std::string replaceUnsafe(std::string_view text, const Escape& escape) {
    std::string safe;
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at != end;) {
        const char* const begin = at;
        try {
            const std::uint32_t character = utf8::next(at, end);
            if (isUnsafe(character)) {
                safe += escape(static_cast<std::int32_t>(character));
            } else {
                safe.append(begin, at);
            }
        } catch (const utf8::exception&) {
            at = begin + 1;
            safe += escape(-static_cast<std::int32_t>(static_cast<unsigned char>(*begin)));
        }
    }
    return safe;
}

bool continues(char byte) { return (byte & 0xC0) == 0x80; }

}  // namespace

std::string safeText(std::string_view text) {
    return replaceUnsafe(text, [](std::int32_t character) -> std::string {
        if (character == '\n') return "\\n";
        if (character == '\r') return "\\r";
        if (character == '\t') return "\\t";
        if (character < 0x80) return "\\x" + hex(static_cast<std::uint32_t>(std::abs(character)), 2);
        return "\\u{" + hex(static_cast<std::uint32_t>(character), 1) + '}';
    });
}

std::string safeJson(std::string_view json) {
    return replaceUnsafe(
        json, [](std::int32_t character) { return "\\u" + hex(static_cast<std::uint32_t>(character), 4); });
}

std::string shortened(const std::string& text, std::size_t most) {
    if (text.size() <= most) return text;
    std::size_t head = most / 2;
    while (head > 0 && continues(text[head])) --head;
    std::size_t tail = text.size() - most / 2;
    while (tail < text.size() && continues(text[tail])) ++tail;
    return text.substr(0, head) + "..." + text.substr(tail);
}

std::string safeMessage(const std::string& problem) {
    constexpr std::size_t most = 1000;
    return shortened(safeText(problem), most);
}
