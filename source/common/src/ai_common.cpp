#include "platform_adaptation/ai_common.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <string>

#define LOG_TAG "[AIPQ Common]"
#include "log.h"

using korvale::ai::ColorMode;
using korvale::ai::PictureData;

void initPictureData(PictureData& picture) {
    picture = PictureData{nullptr, 224, 224, korvale::ai::COLOR_MODE_RGB, 0};
}

int getChannels(ColorMode mode) {
    return mode == korvale::ai::COLOR_MODE_RGBA || mode == korvale::ai::COLOR_MODE_BGRA ? 4 : 3;
}

int str2int(const char* pStr, int defaultValue) {
    if (pStr == nullptr) {
        LOG_ERROR("pStr is NULL.\n");
        return defaultValue;
    }
    try {
        const int value = std::stoi(std::string(pStr), nullptr, 10);
        return value > 0 ? value : defaultValue;
    } catch (const std::invalid_argument&) {
        LOG_ERROR("fail: invalid argument.\n");
    } catch (const std::out_of_range&) {
        LOG_ERROR("fail: out of range.\n");
    } catch (...) {
        LOG_ERROR("fail: others.\n");
    }
    return defaultValue;
}

void outputCharSerial(const char* title, const char* buf, int len) {
    if (buf == nullptr) {
        LOG_ERROR("buf is NULL.\n");
        return;
    }
    if (!logging::isOn(logging::LEVEL_INFO)) return;

    try {
        std::string line = title != nullptr ? title : "";
        for (int i = 0; i < len; ++i) {
            line += std::to_string(static_cast<unsigned char>(buf[i]));
            line += ", ";
        }
        LOG_INFO("%s.\n", line.c_str());
    } catch (...) {
        LOG_ERROR("fail: others.\n");
    }
}

bool fileExist(const char* path) {
    if (path == nullptr) return false;
    std::FILE* const file = std::fopen(path, "rb");
    if (file == nullptr) return false;
    std::fclose(file);
    return true;
}

int currentThread() { return static_cast<int>(syscall(SYS_gettid)); }
