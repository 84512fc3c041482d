#include "message.h"

#include <utf8.h>

#include <array>
#include <cstdint>
#include <cstdio>

namespace {

// Control characters, line ends, and marks that change the text direction.
bool isUnsafe(std::uint32_t character) {
    return character < 0x20 || (character >= 0x7f && character <= 0x9f) || character == 0x061c ||
           character == 0x200e || character == 0x200f || (character >= 0x2028 && character <= 0x202e) ||
           (character >= 0x2066 && character <= 0x2069);
}

std::string escaped(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        std::array<char, 8> code{};
        std::snprintf(code.data(), code.size(), "\\x%02x", static_cast<unsigned char>(byte));
        text += code.data();
    }
    return text;
}

}  // namespace

std::string safeText(std::string_view text) {
    std::string safe;
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at != end;) {
        const char* next = at;
        bool isSafe = false;
        try {
            isSafe = !isUnsafe(utf8::next(next, end));
        } catch (const utf8::exception&) {
            next = at + 1;
        }
        const std::string_view character(at, static_cast<std::size_t>(next - at));
        safe += isSafe ? std::string(character) : escaped(character);
        at = next;
    }
    return safe;
}

void complain(const std::string& program, const std::string& error) {
    constexpr std::size_t most = 1000;
    std::string text = error;
    if (text.size() > most) text.replace(most / 2, text.size() - most, "...");
    std::fprintf(stderr, "%s: %s\n", safeText(program).c_str(), safeText(text).c_str());
}
