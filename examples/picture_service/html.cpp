#include "html.h"

#include <turbojpeg.h>
#include <utf8.h>

#include <cstdint>
#include <cstdio>
#include <memory>

namespace {

constexpr int QUALITY = 90;

// Returns the bytes of a JPEG file; empty on failure.
std::string toJpeg(const Frame& frame) {
    const auto width = static_cast<int>(frame.width);
    const auto height = static_cast<int>(frame.height);
    if (frame.rgb.empty() || frame.rgb.size() != std::uint64_t{frame.width} * frame.height * 3) return {};
    const std::unique_ptr<void, int (*)(tjhandle)> compressor(tjInitCompress(), &tjDestroy);
    std::string file(tjBufSize(width, height, TJSAMP_444), '\0');
    auto* target = reinterpret_cast<unsigned char*>(file.data());
    unsigned long size = file.size();
    if (!compressor || tjCompress2(compressor.get(), frame.rgb.data(), width, 0, height, TJPF_RGB, &target,
                                   &size, TJSAMP_444, QUALITY, TJFLAG_NOREALLOC) != 0)
        return {};
    file.resize(size);
    return file;
}

std::string toBase64(std::string_view bytes) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::string_view group = bytes.substr(i, 3);
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k)
            bits = bits << 8U | (k < group.size() ? static_cast<std::uint8_t>(group[k]) : 0U);
        for (std::size_t k = 0; k < 4; ++k)
            text += k <= group.size() ? digits[bits >> (18 - 6 * k) & 63U] : '=';
    }
    return text;
}

}  // namespace

std::string escaped(std::string_view text) {
    std::string safe;
    for (const char c : utf8::replace_invalid(text)) {
        if (c == '&')
            safe += "&amp;";
        else if (c == '<')
            safe += "&lt;";
        else if (c == '>')
            safe += "&gt;";
        else if (c == '"')
            safe += "&quot;";
        else if (static_cast<unsigned char>(c) < ' ' && c != '\n')
            safe += ' ';
        else
            safe += c;
    }
    return safe;
}

std::string element(std::string_view tag, std::string_view content) {
    std::string text("<");
    text += tag;
    text += '>';
    text += content;
    text += "</";
    text += tag.substr(0, tag.find(' '));
    return text += ">\n";
}

std::string number(double value, int decimals) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string dataUri(const Frame& frame) {
    const std::string file = toJpeg(frame);
    return file.empty() ? file : "data:image/jpeg;base64," + toBase64(file);
}
