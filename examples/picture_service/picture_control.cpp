#include "picture_control.h"

#include <algorithm>
#include <cstddef>

#include "platform_adaptation/system_access/value_object.h"

namespace {

using namespace std::chrono_literals;

// The time within which the picture follows a change.
constexpr auto PICTURE_FOLLOWS = 150ms;
constexpr auto ANNOUNCEMENT_PERIOD = 250ms;
// Within this time, a worker that has reached its target receives two announcements, and ends with the first.
constexpr auto WORKER_END = 600ms;
// If a worker does not move within this time, despite repeated announcements, it has failed.
constexpr auto WORKER_FAILED = 6s;
constexpr auto WRITE_PERIOD = 1s;

// The positions of the television's PQ parameters among the 34 that SystemSetting takes.
constexpr std::size_t PQ_PARAMETERS = 34;
constexpr std::array<std::size_t, 27> PQ_POSITIONS{0,  1,  2,  3,  4, 5, 11, 12, 13, 19, 20, 21, 27, 28,
                                                   29, 23, 24, 25, 7, 8, 9,  15, 16, 17, 31, 32, 33};
constexpr std::size_t PQ_DARK_LIFT = 0;
constexpr std::size_t PQ_ROLL_OFF = 1;

}  // namespace

void WorkerSetting::advance(SystemSetting& television, int value, Settings& inForce) {
    inForce.*m_member = value;
    follow(television, value);
    if (m_running || !m_requested) return;

    if (*m_requested == value) {
        m_requested.reset();
    } else if ((television.*m_set)(*m_requested) == 0) {
        m_target = *m_requested;
        m_requested.reset();
        m_running = true;
        m_lastMove = m_lastAnnouncement = Clock::now();
    }
    // Otherwise no thread could be created: the requested value stays for the next attempt.
}

void WorkerSetting::follow(SystemSetting& television, int value) {
    const auto now = Clock::now();
    if (value != m_value) m_lastMove = m_lastAnnouncement = now;
    m_value = value;
    if (!m_running) return;
    if (now - m_lastAnnouncement > ANNOUNCEMENT_PERIOD) {
        m_lastAnnouncement = now;
        repeatAnnouncement(television);
    }
    if (now - m_lastMove > (value == m_target ? WORKER_END : WORKER_FAILED)) m_running = false;
}

void WorkerSetting::repeatAnnouncement(SystemSetting& television) const {
    if (m_running) (television.*m_announce)(ValueObject(m_value));
}

bool WorkerSetting::atRest() const {
    return !m_requested && (!m_running || m_value == m_target) && Clock::now() - m_lastMove > PICTURE_FOLLOWS;
}

PictureControl::PictureControl()
    : m_television(std::make_unique<SystemSetting>()),
      m_pq("dovra.sl2.vint.video.aipq.pq.setting"),
      m_workers{WorkerSetting(&Settings::brightness, &SystemSetting::getVideoBrightness,
                              &SystemSetting::setVideoBrightness, &SystemSetting::onVideoBrightnessChanged),
                WorkerSetting(&Settings::contrast, &SystemSetting::getVideoContrast,
                              &SystemSetting::setVideoContrast, &SystemSetting::onVideoContrastChanged),
                WorkerSetting(&Settings::saturation, &SystemSetting::getVideoSaturation,
                              &SystemSetting::setVideoSaturation, &SystemSetting::onVideoSaturationChanged),
                WorkerSetting(&Settings::sharpness, &SystemSetting::getVideoSharpness,
                              &SystemSetting::setVideoSharpness, &SystemSetting::onVideoSharpnessChanged),
                WorkerSetting(&Settings::memc, &SystemSetting::getVideoMEMC, &SystemSetting::setVideoMEMC,
                              &SystemSetting::onVideoMEMCChanged),
                WorkerSetting(&Settings::noiseReduction, &SystemSetting::getVideoNR,
                              &SystemSetting::setVideoNR, &SystemSetting::onVideoNRChanged)} {}

PictureControl::~PictureControl() {
    // A worker that still runs uses the SystemSetting, and no function waits for it: keep the object.
    if (!settled()) static_cast<void>(m_television.release());
}

bool PictureControl::open() {
    if (!advance()) return false;
    m_found = m_inForce;
    m_foundOther = m_inForceOther;
    return true;
}

void PictureControl::moveTo(const Settings& target) {
    for (WorkerSetting& setting : m_workers) setting.request(target);
    m_toWrite = target;
    m_lastWrite = {};
    advance();
}

bool PictureControl::advance() {
    if (!isPresent()) {
        for (const WorkerSetting& setting : m_workers) setting.repeatAnnouncement(*m_television);
        return false;
    }
    std::array<int, std::tuple_size_v<decltype(m_workers)>> values{};
    for (std::size_t i = 0; i < m_workers.size(); ++i) {
        values[i] = m_workers[i].read(*m_television);
        if (values[i] < 0) return false;
    }
    // getVideoColorTunerFamily() is unsuitable, because it sets the mode. For three of the values, -1 is both
    // a value and the failure.
    const int tunerMode = m_television->getVideoColorTuner();
    const int tunerBrightness = m_television->getVideoColorTunerB();
    const int tunerSaturation = m_television->getVideoColorTunerS();
    const int tunerHue = m_television->getVideoColorTunerH();
    // Read last, because only this read shows a television that has gone away: SystemSetting has no getter
    // for it, and reading a number then gives 0 without a failure.
    std::vector<int> pq;
    if (tunerMode < 0 || m_pq.getValue(pq) != 0 || pq.size() != PQ_POSITIONS.size()) return false;

    m_inForce.tunerMode = tunerMode;
    m_inForce.tunerSaturation = tunerSaturation;
    m_inForce.tunerHue = tunerHue;
    m_inForce.darkLift = pq[PQ_DARK_LIFT];
    m_inForce.rollOff = pq[PQ_ROLL_OFF];
    m_inForceOther = {tunerBrightness, pq};
    for (std::size_t i = 0; i < m_workers.size(); ++i)
        m_workers[i].advance(*m_television, values[i], m_inForce);
    write();
    return true;
}

void PictureControl::forgetChanges() {
    for (WorkerSetting& setting : m_workers) setting.forget();
    m_toWrite.reset();
}

bool PictureControl::atRest() const {
    return !m_toWrite && Clock::now() - m_lastWrite > PICTURE_FOLLOWS &&
           std::all_of(m_workers.begin(), m_workers.end(),
                       [](const WorkerSetting& setting) { return setting.atRest(); });
}

bool PictureControl::settled() const {
    return !m_toWrite && std::none_of(m_workers.begin(), m_workers.end(),
                                      [](const WorkerSetting& setting) { return setting.changing(); });
}

PictureControl::Clock::time_point PictureControl::lastMove() const {
    return std::max_element(
               m_workers.begin(), m_workers.end(),
               [](const WorkerSetting& a, const WorkerSetting& b) { return a.lastMove() < b.lastMove(); })
        ->lastMove();
}

void PictureControl::restore() { moveTo(m_found); }

bool PictureControl::written() const {
    const Settings& wanted = *m_toWrite;
    return m_inForce.tunerMode == wanted.tunerMode && m_inForce.tunerSaturation == wanted.tunerSaturation &&
           m_inForce.tunerHue == wanted.tunerHue && m_inForce.darkLift == wanted.darkLift &&
           m_inForce.rollOff == wanted.rollOff;
}

void PictureControl::write() {
    if (!m_toWrite) return;
    if (written()) {
        m_toWrite.reset();
        return;
    }
    if (Clock::now() - m_lastWrite < WRITE_PERIOD) return;
    m_lastWrite = Clock::now();

    // The user's brightness belongs to the user's mode. The service does not change the luma.
    const int brightness = m_toWrite->tunerMode == m_found.tunerMode ? m_foundOther.tunerBrightness : 0;
    std::vector<int> tuner{m_toWrite->tunerMode, brightness, m_toWrite->tunerSaturation, m_toWrite->tunerHue};
    m_television->setVideoColorTunerFamily(tuner);

    std::vector<int> pq(PQ_PARAMETERS, 0);
    for (std::size_t i = 0; i < PQ_POSITIONS.size(); ++i) pq[PQ_POSITIONS[i]] = m_foundOther.pq[i];
    pq[PQ_DARK_LIFT] = m_toWrite->darkLift;
    pq[PQ_ROLL_OFF] = m_toWrite->rollOff;
    m_television->setVideoPQParameters(pq);
}
