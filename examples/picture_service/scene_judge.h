#ifndef EXAMPLES_PICTURE_SERVICE_SCENE_JUDGE_H
#define EXAMPLES_PICTURE_SERVICE_SCENE_JUDGE_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "frame.h"
#include "settings.h"

enum class Scene {
    BLACK,  // nothing visible: between films, or in a fade
    DARK,
    ORDINARY,
    BRIGHT,
};

const char* toText(Scene scene);

// For example "noise reduction 0 > 2" and "noise of 4.1 levels in flat parts". `change` is "no change" if no
// change is needed.
struct Reason {
    std::string change;
    std::string why;
};

struct Decision {
    Scene scene = Scene::ORDINARY;
    Settings target;
    std::vector<Reason> reasons;  // never empty
};

// Judges the film, and chooses settings for it by rules: each setting moves away from the user's by an amount
// that depends on how far a measurement is from a good picture's. The rules do not recognise content: wood of
// the colour of skin counts as skin.
//
// The tone is anchored: black and white keep their levels, and nothing is clipped that the user's settings do
// not clip.
//
// It changes settings rarely. A new scene is judged on its second frame, so that a flash has no effect.
// Within a scene, small differences are ignored, a decision stays for 2 s, there are at most 3 decisions, and
// no setting moves back.
class SceneJudge {
  public:
    // `user` are the television's settings before; the targets are relative to them.
    explicit SceneJudge(const Settings& user) : m_user(user), m_wanted(user) {}

    // Judges a frame of the film. `cut` says that a new scene begins with it. Returns nothing if no decision
    // is needed. The first decision of a scene is returned even if it changes nothing.
    std::optional<Decision> judge(const Measurement& film, bool cut, double seconds);

    // Whether a scene has begun that has no decision yet.
    bool waiting() const { return m_newScene; }
    // Whether the last decision was the first of its scene.
    bool sceneBegan() const { return m_decisions == 1; }

  private:
    bool beginsScene(const Measurement& film, bool cut);
    // Returns the settings of `fresh` whose change is large enough within a scene.
    Settings followed(const Settings& fresh) const;
    Decision decide(Decision decision, const Measurement& film, double seconds);

    const Settings m_user;
    Settings m_wanted;
    Measurement m_decided;  // the film when the last decision was made
    bool m_started = false;
    bool m_newScene = true;  // the scene has no decision yet
    bool m_doubtful = false;
    unsigned m_decisions = 0;  // in this scene
    double m_lastDecision = 0;
    std::array<int, SETTING_NAMES.size()> m_directions{};  // of the changes within this scene
};

#endif
