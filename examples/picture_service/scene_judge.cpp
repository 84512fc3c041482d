#include "scene_judge.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "picture_response.h"

namespace {

constexpr double BLACK_LUMA = 3;
constexpr double BLACK_CONTRAST = 3;
constexpr double DARK_LUMA = 70;
constexpr double BRIGHT_LUMA = 155;

// If the film differs this far from the last decision's, a new scene has begun: a fade, or a lamp switched
// on.
constexpr double DRIFT = 24;
// Two frames this close show the same scene, as after a flash.
constexpr double SAME_SCENE = 6;
constexpr double HOLD_SECONDS = 2;
constexpr unsigned MOST_DECISIONS = 3;

// Within a scene, smaller differences cause no change. In the order of SETTING_NAMES.
constexpr std::array<int, SETTING_NAMES.size()> SMALL_STEPS{4, 4, 4, 10, 10, 5, 2, 2, 1, 4, 4};

// Limits for the tone, in levels.
constexpr int CLIPPED_BLACK = 2;
constexpr int CLIPPED_WHITE = 253;
constexpr double VEIL = 4;                // the most by which black may become brighter
constexpr double WHITE_LOSS = 10;         // the most by which white may become darker
constexpr double TINT = 0.5;              // the most by which the chroma of greys may grow
constexpr double PRESENT = 0.001;         // a smaller share of the pixels counts as an empty bin
constexpr double LEAST_SATURATION = 0.8;  // the lowest factor of the colours that greys may require
constexpr int BRIGHTNESS_REACH = 6;
constexpr int CONTRAST_REACH = 16;
constexpr int TENTHS = 10;

// 0 at `from`, 1 at `to`; `to` may be lower than `from`.
double share(double value, double from, double to) {
    return std::clamp((value - from) / (to - from), 0.0, 1.0);
}

[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...) {
    char buffer[160];
    std::va_list values;
    va_start(values, format);
    std::vsnprintf(buffer, sizeof buffer, format, values);
    va_end(values);
    return buffer;
}

// Ignores a change that is too small to be visible.
double unlessSmall(double change) { return std::abs(change) < 2 ? 0 : change; }

// The tone of a Measurement without the black bars of a wide film.
struct Tones {
    explicit Tones(const Measurement& film);

    double luma;     // mean of the luma without black bars
    double black;    // level that a hundredth of the pixels stays below
    double white;    // level that a hundredth exceeds
    double lowest;   // darkest level that is not clipped
    double highest;  // brightest level that is not clipped
    double darkest;  // of all levels, clipped or not
    double brightest;
    double dark;    // 0 to 1: how much a lift of the shadows is needed
    double bright;  // 0 to 1: how much the highlights glare
    double dull;    // 0 to 1: how much of the range of luma is missing
};

double levelBelow(const Measurement& film, double from, double part) {
    double sum = -from;
    for (std::size_t bin = 0; bin < film.histogram.size(); ++bin) {
        const double next = sum + film.histogram[bin];
        if (next >= part) return 4 * (static_cast<double>(bin) + (part - sum) / film.histogram[bin]);
        sum = next;
    }
    return 255;
}

Tones::Tones(const Measurement& film)
    : luma(film.luma / std::max(0.01, 1 - film.clippedBlack)),
      black(levelBelow(film, film.clippedBlack, 0.01 * (1 - film.clippedBlack))),
      white(std::min(255.0, levelBelow(film, 0, 0.99))),
      lowest(CLIPPED_BLACK + 1),
      highest(CLIPPED_WHITE - 1) {
    std::array<double, 64> visible = film.histogram;
    visible.front() -= film.clippedBlack;
    visible.back() -= film.clippedWhite;
    const auto present = [](double binShare) { return binShare > PRESENT; };
    const auto first = std::find_if(visible.begin(), visible.end(), present);
    const auto last = std::find_if(visible.rbegin(), visible.rend(), present);
    if (first != visible.end()) {
        lowest = std::max(lowest, 4.0 * static_cast<double>(first - visible.begin()));
        highest = std::min(highest, 4.0 * static_cast<double>(visible.rend() - last) - 1);
    }
    darkest = film.clippedBlack > 0 ? 0 : lowest;
    brightest = film.clippedWhite > 0 ? 255 : highest;
    dark = share(luma, 95, 25);
    bright = share(luma, 150, 220);
    dull = share(white - black, 190, 90) * share(film.contrast, 42, 20) * (1 - dark) * (1 - bright);
}

class Rules {
  public:
    Rules(const Settings& user, const Measurement& film) : m_user(user), m_film(film), m_tones(film) {}

    Decision decide();

  private:
    void fitTone();
    bool toneFits(const Settings& settings, double& cost) const;
    double greyGain(const ToneCurve& curve) const;
    double mostGreyGain() const;
    double toneGain() const;
    void setColour();
    void setSharpnessAndNoise();
    void setMotion();
    void setSkin();
    // Adds a reason if one of these settings differs from the user's.
    void explain(std::initializer_list<int Settings::*> changed, const std::string& why);
    int moved(int Settings::*setting, double by) const;

    const Settings& m_user;
    const Measurement& m_film;
    const Tones m_tones;
    const ToneCurve m_userCurve = toneCurve(m_user);
    Settings m_target = m_user;
    std::vector<Reason> m_reasons;
};

double at(const ToneCurve& curve, double level) {
    const auto below = static_cast<std::size_t>(std::clamp(level, 0.0, 254.0));
    const double part = level - static_cast<double>(below);
    return curve[below] + part * (curve[below + 1] - curve[below]);
}

// The darkest and the brightest level of the film that the curve does not clip.
int firstAboveBlack(const ToneCurve& curve) {
    const auto first =
        std::find_if(curve.begin(), curve.end(), [](int level) { return level > CLIPPED_BLACK; });
    return static_cast<int>(first - curve.begin());
}
int lastBelowWhite(const ToneCurve& curve) {
    const auto last =
        std::find_if(curve.rbegin(), curve.rend(), [](int level) { return level < CLIPPED_WHITE; });
    return static_cast<int>(curve.rend() - last) - 1;
}

const SettingName& nameOf(int Settings::*setting) {
    return *std::find_if(SETTING_NAMES.begin(), SETTING_NAMES.end(),
                         [&](const SettingName& name) { return name.value == setting; });
}

int Rules::moved(int Settings::*setting, double by) const {
    const SettingName& name = nameOf(setting);
    return std::clamp(m_user.*setting + static_cast<int>(std::lround(by)), name.lowest, name.highest);
}

void Rules::explain(std::initializer_list<int Settings::*> changed, const std::string& why) {
    std::string change;
    for (int Settings::*const setting : changed) {
        if (m_target.*setting == m_user.*setting) continue;
        change += text("%s%s %d -> %d", change.empty() ? "" : ", ", nameOf(setting).name, m_user.*setting,
                       m_target.*setting);
    }
    if (!change.empty()) m_reasons.push_back({change, why});
}

// Whether the settings keep black and white at their levels. `cost` is the distance to the desired levels.
bool Rules::toneFits(const Settings& settings, double& cost) const {
    const ToneCurve curve = toneCurve(settings);
    const double userBlack = at(m_userCurve, m_tones.black);
    const double userWhite = at(m_userCurve, m_tones.white);
    const double black = at(curve, m_tones.black);
    const double white = at(curve, m_tones.white);
    const double wantedBlack = userBlack - 0.8 * m_tones.dull * std::max(0.0, userBlack - 12);
    const double wantedWhite =
        userWhite + 0.8 * m_tones.dull * std::max(0.0, 243 - userWhite) - WHITE_LOSS * m_tones.bright;
    // Settings near the user's cost less.
    const int moves =
        std::abs(settings.contrast - m_user.contrast) + std::abs(settings.brightness - m_user.brightness);
    cost = std::pow(black - wantedBlack, 2) + std::pow(white - wantedWhite, 2) + moves;
    return black <= userBlack + VEIL && white >= userWhite - WHITE_LOSS &&
           firstAboveBlack(curve) <=
               std::max(firstAboveBlack(m_userCurve), static_cast<int>(m_tones.lowest)) &&
           lastBelowWhite(curve) >=
               std::min(lastBelowWhite(m_userCurve), static_cast<int>(m_tones.highest)) &&
           at(curve, m_tones.darkest) <= at(m_userCurve, m_tones.darkest) + VEIL &&
           at(curve, m_tones.brightest) >= at(m_userCurve, m_tones.brightest) - WHITE_LOSS &&
           greyGain(curve) * LEAST_SATURATION <= mostGreyGain();
}

// The PQ parameters shape shadows and highlights. Contrast, and for a dull picture brightness, move black and
// white back to their levels. If the result does not fit, a weaker one is tried.
void Rules::fitTone() {
    // A lift makes the noise of the shadows visible.
    const double lift = 75 * m_tones.dark * (1 - 0.5 * share(m_film.noise, 2, 7));
    const double rollOff = 20 * m_tones.bright;
    const auto brightnessReach = static_cast<int>(BRIGHTNESS_REACH * m_tones.dull);
    const auto contrastReach = static_cast<int>(CONTRAST_REACH * std::max(m_tones.dull, m_tones.dark));
    for (int tenths = TENTHS; tenths > 0; --tenths) {
        const double strength = static_cast<double>(tenths) / TENTHS;
        Settings tried = m_user;
        tried.darkLift = moved(&Settings::darkLift, strength * lift);
        tried.rollOff = moved(&Settings::rollOff, strength * rollOff);
        std::optional<double> best;
        for (int contrast = 0; contrast <= contrastReach; ++contrast) {
            tried.contrast = moved(&Settings::contrast, contrast);
            for (int brightness = -brightnessReach; brightness <= brightnessReach; ++brightness) {
                tried.brightness = moved(&Settings::brightness, brightness);
                double cost = 0;
                if (!toneFits(tried, cost) || (best && cost >= *best)) continue;
                best = cost;
                m_target = tried;
            }
        }
        if (best) break;
    }
    const Settings& user = m_user;
    if (std::abs(m_target.darkLift - user.darkLift) < 6 && std::abs(m_target.rollOff - user.rollOff) < 4 &&
        std::abs(m_target.contrast - user.contrast) < 3)
        m_target = user;
    explain({&Settings::darkLift},
            text("%s, mean luma %.0f", m_tones.luma < DARK_LUMA ? "dark" : "rather dark", m_tones.luma));
    explain(
        {&Settings::rollOff},
        text("%s, mean luma %.0f", m_tones.luma > BRIGHT_LUMA ? "bright" : "rather bright", m_tones.luma));
    explain({&Settings::contrast, &Settings::brightness},
            m_tones.dull > 0.1 ? text("dull, the luma spans only %.0f to %.0f", m_tones.black, m_tones.white)
                               : "keeps black and white in their places");
}

// The factor by which a curve increases the chroma of greys, compared with the user's curve.
double Rules::greyGain(const ToneCurve& curve) const {
    constexpr double REACH = 6;
    const auto slope = [&](const ToneCurve& each) {
        return at(each, m_film.greyLuma + REACH) - at(each, std::max(0.0, m_film.greyLuma - REACH));
    };
    return slope(curve) / std::max(1.0, slope(m_userCurve));
}

double Rules::mostGreyGain() const { return 1 + TINT / std::max(0.01, m_film.greyChroma); }

// The factor by which the tone alone increases the colours.
double Rules::toneGain() const {
    constexpr double REACH = 20;
    const auto slope = [&](const ToneCurve& curve) {
        return at(curve, m_tones.luma + REACH) - at(curve, std::max(0.0, m_tones.luma - REACH));
    };
    return slope(toneCurve(m_target)) / std::max(1.0, slope(m_userCurve));
}

void Rules::setColour() {
    // A film in black and white has no colour to raise.
    const double pale =
        share(m_film.colour, 38, 15) * share(m_film.colour, 8, 14) * share(toneGain(), 1.5, 1);
    const double loud = share(m_film.colour, 115, 170);
    m_target.saturation = moved(&Settings::saturation, unlessSmall(10 * pale - 12 * loud));
    // Lifting shadows must not tint their greys.
    const double most = mostGreyGain() / greyGain(toneCurve(m_target));
    const int limit = moved(&Settings::saturation, 50 * (most - 1));
    const bool tinted = m_target.saturation > limit;
    if (tinted) m_target.saturation = limit;
    explain({&Settings::saturation}, tinted ? "keeps greys grey" : text("colourfulness %.0f", m_film.colour));
}

void Rules::setSharpnessAndNoise() {
    m_target.noiseReduction =
        moved(&Settings::noiseReduction, std::clamp((m_film.noise - 1) / 1.6, 0.0, 3.0));
    explain({&Settings::noiseReduction}, text("noise of %.1f levels in flat parts", m_film.noise));

    // A picture without edges is not sharpened.
    const double soft = m_film.sharpness > 0 ? share(m_film.sharpness, 48, 22) : 0;
    const double quiet = share(m_film.noise, 3, 1);
    m_target.sharpness = moved(&Settings::sharpness, unlessSmall(16 * soft * quiet));
    explain({&Settings::sharpness}, text("soft edges, sharpness %.0f of 100", m_film.sharpness));
}

void Rules::setMotion() {
    m_target.memc = moved(&Settings::memc, 3 * share(m_film.motion, 3, 12));
    explain({&Settings::memc}, text("motion of %.0f levels from frame to frame", m_film.motion));
}

// Skin has hues of about 13 to 31 degrees. The tuner's red axis includes them.
void Rules::setSkin() {
    constexpr double REDDEST = 13;
    constexpr double YELLOWEST = 31;
    constexpr double MOST = 12;  // degrees
    constexpr int RED_AXIS = 1;
    constexpr int REACH = 20;
    // The service does not change a tuner that the user has set. It ignores a picture full of this colour,
    // which is likely sand or wood.
    if (m_user.tunerMode != 0 || m_film.skin < 0.03 || m_film.skin > 0.4) return;
    const double wrong = m_film.skinHue - std::clamp(m_film.skinHue, REDDEST, YELLOWEST);
    if (std::abs(wrong) < 2) return;

    const double wanted = m_film.skinHue - std::clamp(wrong, -MOST, MOST);
    double least = 360;
    Settings tried = m_target;
    tried.tunerMode = RED_AXIS;
    tried.tunerSaturation = moved(&Settings::tunerSaturation, -6 * share(std::abs(wrong), 0, MOST));
    for (int hue = -REACH; hue <= REACH; ++hue) {
        tried.tunerHue = moved(&Settings::tunerHue, hue);
        const double error = std::abs(shownSkinHue(m_film.skinHue, tried) - wanted);
        if (error >= least) continue;
        least = error;
        m_target.tunerMode = tried.tunerMode;
        m_target.tunerSaturation = tried.tunerSaturation;
        m_target.tunerHue = tried.tunerHue;
    }
    explain({&Settings::tunerMode, &Settings::tunerHue, &Settings::tunerSaturation},
            text("skin in %.0f %% of the picture has a hue of %.0f degrees, natural is %.0f to %.0f",
                 100 * m_film.skin, m_film.skinHue, REDDEST, YELLOWEST));
}

Scene sceneOf(const Measurement& film) {
    if (film.luma < BLACK_LUMA && film.contrast < BLACK_CONTRAST) return Scene::BLACK;
    const double luma = Tones(film).luma;
    return luma < DARK_LUMA ? Scene::DARK : luma > BRIGHT_LUMA ? Scene::BRIGHT : Scene::ORDINARY;
}

Decision Rules::decide() {
    fitTone();
    setColour();
    setSharpnessAndNoise();
    setMotion();
    setSkin();
    if (m_reasons.empty())
        m_reasons.push_back(
            {"no change", text("luma %.0f spans %.0f to %.0f, colourfulness %.0f, noise %.1f: "
                               "nothing is needed",
                               m_film.luma, m_tones.black, m_tones.white, m_film.colour, m_film.noise)});
    return {sceneOf(m_film), m_target, m_reasons};
}

}  // namespace

const char* toText(Scene scene) {
    switch (scene) {
        case Scene::BLACK:
            return "black picture";
        case Scene::DARK:
            return "dark scene";
        case Scene::ORDINARY:
            return "ordinary scene";
        case Scene::BRIGHT:
            return "bright scene";
    }
    return "";
}

std::optional<Decision> SceneJudge::judge(const Measurement& film, bool cut, double seconds) {
    if (beginsScene(film, cut)) return std::nullopt;

    // A black picture does not predict the next scene: the settings stay until it begins.
    const bool isBlack = sceneOf(film) == Scene::BLACK;
    Decision decision =
        isBlack ? Decision{Scene::BLACK, m_wanted, {{"no change", "a black picture says nothing"}}}
                : Rules(m_user, film).decide();
    if (m_newScene) return decide(std::move(decision), film, seconds);

    decision.target = followed(decision.target);
    if (decision.target == m_wanted || m_decisions >= MOST_DECISIONS ||
        seconds < m_lastDecision + HOLD_SECONDS) {
        m_doubtful = false;
        return std::nullopt;
    }
    m_doubtful = !m_doubtful;
    if (m_doubtful) return std::nullopt;
    return decide(std::move(decision), film, seconds);
}

// Also true for the very first frame. No decision is made on the first frame of a scene.
bool SceneJudge::beginsScene(const Measurement& film, bool cut) {
    if (!m_started) {
        m_started = true;
        return true;
    }
    if (cut) {
        const bool backAfterAFlash = m_newScene && m_decisions > 0 &&
                                     histogramDistance(film.histogram, m_decided.histogram) <= SAME_SCENE;
        m_newScene = !backAfterAFlash;
        return true;
    }
    if (m_newScene || histogramDistance(film.histogram, m_decided.histogram) <= DRIFT) return false;
    m_newScene = true;
    return true;
}

Settings SceneJudge::followed(const Settings& fresh) const {
    Settings settings = m_wanted;
    for (std::size_t i = 0; i < SETTING_NAMES.size(); ++i) {
        int Settings::*const setting = SETTING_NAMES[i].value;
        const int difference = fresh.*setting - m_wanted.*setting;
        if (std::abs(difference) >= SMALL_STEPS[i] && difference * m_directions[i] >= 0)
            settings.*setting = fresh.*setting;
    }
    return settings;
}

Decision SceneJudge::decide(Decision decision, const Measurement& film, double seconds) {
    if (m_newScene) {
        m_decisions = 0;
        m_directions = {};
    }
    for (std::size_t i = 0; i < SETTING_NAMES.size(); ++i) {
        const int difference = decision.target.*SETTING_NAMES[i].value - m_wanted.*SETTING_NAMES[i].value;
        if (difference != 0) m_directions[i] = difference;
    }
    m_newScene = m_doubtful = false;
    m_wanted = decision.target;
    m_decided = film;
    m_lastDecision = seconds;
    ++m_decisions;
    return decision;
}
