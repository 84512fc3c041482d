#include "picture_control.h"

#include <algorithm>

namespace {

using namespace std::chrono_literals;

// A worker is at its target a little before it has heard so and ended.
constexpr std::chrono::milliseconds WORKER_END = 200ms;
// A worker waits for up to a minute for each step and then gives up.
constexpr std::chrono::milliseconds STEP_LIMIT = 62s;

constexpr std::size_t PQ_PARAMETERS = 34;
// Of the 34 parameters; they stand at the same places of the 27 that the television has.
constexpr std::size_t PQ_DARK_LIFT = 0;
constexpr std::size_t PQ_ROLL_OFF = 1;

}  // namespace

void SteppedSetting::advance(SystemSetting& television, int value, Settings& inForce) {
    inForce.*m_member = value;
    follow(value);
    if (m_running || !m_wish) return;

    if (*m_wish == value) {
        m_wish.reset();
    } else if ((television.*m_set)(*m_wish) == 0) {
        m_target = *m_wish;
        m_wish.reset();
        m_running = true;
        m_lastMove = Clock::now();
    }
    // Otherwise there was no thread for it: the wish stays for the next time.
}

void SteppedSetting::follow(int value) {
    const auto now = Clock::now();
    if (value != m_value) m_lastMove = now;
    m_value = value;
    if (!m_running) return;
    const auto rest = now - m_lastMove;
    if (rest > (value == m_target ? WORKER_END : STEP_LIMIT)) m_running = false;
}

PictureControl::PictureControl()
    : m_television(std::make_unique<SystemSetting>()),
      m_pq("dovra.sl2.vint.video.aipq.pq.setting"),
      m_stepped{SteppedSetting(&Settings::brightness, &SystemSetting::getVideoBrightness,
                               &SystemSetting::setVideoBrightness),
                SteppedSetting(&Settings::contrast, &SystemSetting::getVideoContrast,
                               &SystemSetting::setVideoContrast),
                SteppedSetting(&Settings::saturation, &SystemSetting::getVideoSaturation,
                               &SystemSetting::setVideoSaturation)} {}

PictureControl::~PictureControl() {
    // A worker that still runs uses the SystemSetting, and nothing can wait for it.
    if (!settled()) static_cast<void>(m_television.release());
}

bool PictureControl::open() {
    if (!advance()) return false;
    m_found = m_inForce;
    // SystemSetting has no getter for them.
    return m_pq.getValue(m_foundPq) == 0;
}

void PictureControl::moveTo(const Settings& target) {
    for (SteppedSetting& setting : m_stepped) setting.wish(target);
    writePq(target);
    advance();
}

bool PictureControl::advance() {
    if (!isPresent()) return false;
    std::array<int, std::tuple_size_v<decltype(m_stepped)>> values{};
    for (std::size_t i = 0; i < m_stepped.size(); ++i) {
        values[i] = m_stepped[i].read(*m_television);
        if (values[i] < 0) return false;
    }
    // The last one: a television that has left meanwhile gives 0 for a number, and a failure for a list.
    std::vector<int> pq;
    if (m_pq.getValue(pq) != 0 || pq.size() <= std::max(PQ_DARK_LIFT, PQ_ROLL_OFF)) return false;
    m_inForce.darkLift = pq[PQ_DARK_LIFT];
    m_inForce.rollOff = pq[PQ_ROLL_OFF];
    for (std::size_t i = 0; i < m_stepped.size(); ++i)
        m_stepped[i].advance(*m_television, values[i], m_inForce);
    return true;
}

bool PictureControl::settled() const {
    return std::none_of(m_stepped.begin(), m_stepped.end(),
                        [](const SteppedSetting& setting) { return setting.changing(); });
}

void PictureControl::restore() {
    for (SteppedSetting& setting : m_stepped) setting.wish(m_found);
    m_pq.setValue(m_foundPq);
    advance();
}

void PictureControl::writePq(const Settings& target) {
    std::vector<int> parameters(PQ_PARAMETERS, 0);
    parameters[PQ_DARK_LIFT] = target.darkLift;
    parameters[PQ_ROLL_OFF] = target.rollOff;
    m_television->setVideoPQParameters(parameters);
}
