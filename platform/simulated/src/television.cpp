#include "simulated/television.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "catalogue.h"

namespace simulated {

namespace {

// The settings that change the picture, and what the pipeline calls them.
struct PictureSetting {
    const char* key;
    const char* name;
};

constexpr std::array<PictureSetting, 10> PICTURE_SETTINGS{{
    {"dovra.sl2.i32.video.brightness", "brightness"},
    {"dovra.sl2.i32.video.contrast", "contrast"},
    {"dovra.sl2.i32.video.colour.intensity", "saturation"},
    {"dovra.sl2.i32.video.sharpness", "sharpness"},
    {"dovra.sl2.i32.video.enum.dnc", "nr"},
    {"dovra.sl2.i32.video.color.tuner", "tuner"},
    {"dovra.sl2.i32.video.color.tuner.luma", "tuner.luma"},
    {"dovra.sl2.i32.video.color.tuner.sat", "tuner.sat"},
    {"dovra.sl2.i32.video.color.tuner.hue", "tuner.hue"},
    {"dovra.sl2.vint.video.aipq.pq.setting", "pq"},
}};

void showSetting(VideoPipeline& video, const std::string& key, const Value& value) {
    const auto setting = std::find_if(PICTURE_SETTINGS.begin(), PICTURE_SETTINGS.end(),
                                      [&](const PictureSetting& candidate) { return candidate.key == key; });
    if (setting == PICTURE_SETTINGS.end()) return;
    std::string values;
    if (const int* const number = std::get_if<int>(&value)) values = std::to_string(*number);
    if (const auto* const list = std::get_if<std::vector<int>>(&value))
        for (const int number : *list) values += std::to_string(number) + ' ';
    video.applySetting(setting->name, values);
}

std::vector<KeyDefinition> catalogueOrExit() {
    try {
        return loadCatalogue();
    } catch (const std::exception& error) {
        // Without keys there is no television, and no caller to report to.
        std::cerr << "simulated television: " << error.what() << '\n';
        std::exit(EXIT_FAILURE);
    }
}

}  // namespace

Television& Television::instance() {
    static Television& forEver = *new Television;
    return forEver;
}

Television::Television() : m_model(std::make_unique<Model>(catalogueOrExit())) {
    m_sourceSwitch = std::make_unique<SourceSwitch>(*m_model, m_video);
    for (const KeyDefinition& key : m_model->keys()) showSetting(m_video, key.name, key.initial);
    m_model->onChange(
        [this](const std::string& key, const Value& value) { showSetting(m_video, key, value); });
}

void Television::reset() {
    m_model->reset();
    m_framework.reset();
    m_debugOutput.reset();
    m_threads.reset();
    m_applications.reset();
    m_sourceSwitch->reset();
}

void Television::powerOn() {
    std::call_once(m_poweredOn, [this] {
        const char* const wish = std::getenv("AIPQ_TV_VIDEO");
        const std::string video = wish != nullptr && *wish != '\0' ? wish : "scenes";
        if (video == "off" || m_video.running()) return;
        if (!m_video.start(video == "scenes" ? std::string() : video))
            std::cerr << "simulated television: no picture: " << m_video.error() << '\n';
    });
}

}  // namespace simulated
