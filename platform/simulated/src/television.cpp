#include "simulated/television.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "catalogue/catalogue.h"
#include "catalogue/keys.h"
#include "simulated/faults.h"

namespace keys = catalogue::keys;

namespace simulated {

namespace {

// The keys of the picture settings, and the pipeline's names for them.
struct PictureSetting {
    const char* key;
    const char* name;
};

constexpr std::array<PictureSetting, 10> PICTURE_SETTINGS{{
    {keys::BRIGHTNESS, "brightness"},
    {keys::CONTRAST, "contrast"},
    {keys::SATURATION, "saturation"},
    {keys::SHARPNESS, "sharpness"},
    {keys::NOISE_REDUCTION, "nr"},
    {keys::COLOR_TUNER, "tuner"},
    {keys::COLOR_TUNER_LUMA, "tuner.luma"},
    {keys::COLOR_TUNER_SATURATION, "tuner.sat"},
    {keys::COLOR_TUNER_HUE, "tuner.hue"},
    {keys::PQ_SETTING, "pq"},
}};

void showValue(VideoPipeline& video, const std::string& key, const Value& value) {
    if (const auto* const source = std::get_if<std::string>(&value); source != nullptr && key == keys::SOURCE)
        video.showSource(*source);
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
        return catalogue::loadCatalogue();
    } catch (const std::exception& error) {
        // A broken catalogue leaves no keys, and there is no caller to report to.
        std::cerr << "simulated television: " << error.what() << '\n';
        std::exit(EXIT_FAILURE);
    }
}

}  // namespace

Television& Television::instance() {
    static Television& forEver = *new Television;
    return forEver;
}

Television::Television() : m_model(std::make_unique<Model>(catalogueOrExit(), m_events)) {
    m_sourceSwitch = std::make_unique<SourceSwitch>(*m_model, m_video, m_events);
    for (const KeyDefinition& key : m_model->keys()) showValue(m_video, key.name, key.initial);
    m_video.onFilm([this] {
        const std::lock_guard lock(m_powerMutex);
        describeFilm();
    });
    m_model->onChange([this](const std::string& key, const Value& value) { showValue(m_video, key, value); });
}

void Television::reset() {
    const std::lock_guard lock(m_powerMutex);
    // Reported as events, so that a recorded scenario brings another television into the same state.
    for (const SetFault& active : activeFaults(*this))
        if (active.fault.find("video.") != 0)
            m_events.publish(SetFault{active.key, active.fault, findFault(active.fault)->harmless});
    if (std::exchange(m_suspended, false)) m_events.publish(SetPower{false});
    m_sourceSwitch->reset();
    m_model->reset();
    m_framework.reset();
    m_debugOutput.reset();
    m_threads.reset();
    m_applications.reset();
    m_video.setRestarts({});
    if (m_video.film()) describeFilm();
}

// Call it with m_powerMutex locked.
void Television::describeFilm() {
    const Events::Consequences scope;
    try {
        if (m_suspended) {
            m_suspendedFormat = m_sourceSwitch->format();
        } else {
            m_sourceSwitch->describeVideo();
        }
    } catch (const std::out_of_range&) {
        // The catalogue may lack these keys.
    }
}

void Television::powerOn() {
    std::call_once(m_poweredOn, [this] {
        const char* const variable = std::getenv("AIPQ_TV_VIDEO");
        const std::string video = variable != nullptr && *variable != '\0' ? variable : "scenes";
        if (video == "off" || m_video.running()) return;
        const Events::Consequences scope;
        if (!showVideo(video)) std::cerr << "simulated television: no picture: " << m_video.error() << '\n';
    });
}

void Television::suspend() {
    const std::lock_guard lock(m_powerMutex);
    if (m_suspended) return;
    m_suspended = true;
    {
        const Events::Consequences scope;
        notifyEach(
            {Lifecycle::LOST_FOCUS, Lifecycle::SUSPEND, Lifecycle::STR_SUSPENDING, Lifecycle::STR_SUSPEND});
        m_video.pause(true);
        m_suspendedFormat = m_model->value(keys::VIDEO_FORMAT);
        m_model->set(keys::VIDEO_FORMAT, std::string());
    }
    m_events.publish(SetPower{true});
}

void Television::resume() {
    const std::lock_guard lock(m_powerMutex);
    if (!m_suspended) return;
    m_suspended = false;
    {
        const Events::Consequences scope;
        notifyEach({Lifecycle::STR_RESUME, Lifecycle::STR_RESUMING, Lifecycle::RESUME, Lifecycle::GET_FOCUS});
        m_video.pause(!m_sourceSwitch->playing());
        m_model->set(keys::VIDEO_FORMAT, m_suspendedFormat);
    }
    m_events.publish(SetPower{false});
}

bool Television::suspended() const {
    const std::lock_guard lock(m_powerMutex);
    return m_suspended;
}

Value Television::suspendedFormat() const {
    const std::lock_guard lock(m_powerMutex);
    return m_suspendedFormat;
}

void Television::notifyEach(std::initializer_list<Lifecycle> notification) {
    for (const Lifecycle each : notification)
        for (const std::string& name : m_applications.applications())
            m_applications.notifyOne(name, each, "app://" + name);
}

bool Television::showVideo(const std::string& video) {
    const std::string clip = video == "scenes" ? std::string() : video;
    if (video != "off" && m_video.running() && m_video.clip() == clip) return true;
    if (video != "off" && !clip.empty() && m_video.running() && !m_video.accepts(clip)) return false;
    m_video.stop();
    return video == "off" || m_video.start(clip);
}

}  // namespace simulated
