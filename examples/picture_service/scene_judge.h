#ifndef EXAMPLES_PICTURE_SERVICE_SCENE_JUDGE_H
#define EXAMPLES_PICTURE_SERVICE_SCENE_JUDGE_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "frame.h"
#include "settings.h"

enum class Scene {
    BLACK,  // nothing to be seen: between films, or in a fade
    DARK,
    ORDINARY,
    BRIGHT,
};

const char* toText(Scene scene);

// "noise reduction 0 > 2", "noise of 4.1 levels in flat parts". `change` is "no change" where nothing is
// needed.
struct Reason {
    std::string change;
    std::string why;
};

struct Decision {
    Scene scene = Scene::ORDINARY;
    Settings target;
    std::vector<Reason> reasons;  // never empty
};

// Judges what the film shows and says which settings suit it, by rules: each setting moves away from the
// user's by as much as a measurement differs from a good picture's. Rules see no content: they do not know a
// face from wood of its colour.
//
// The tone is anchored: black and white stay black and white, and nothing is clipped that the user's settings
// do not clip.
//
// It is quiet: a new scene is judged on its second frame, so that a flash changes nothing. Within a scene
// small differences count as none, a decision holds for 2 s, there are at most 3 of them, and no setting
// moves back.
class SceneJudge {
  public:
    // `user` is what the television had before: the targets are relative to it.
    explicit SceneJudge(const Settings& user) : m_user(user), m_wanted(user) {}

    // Judges a frame of the film; `cut` says that a new scene begins with it. Nothing if all is well. The
    // first decision of a scene is also given if it changes nothing.
    std::optional<Decision> judge(const Measurement& film, bool cut, double seconds);

    // Whether a scene has begun on which nothing has been decided.
    bool waiting() const { return m_newScene; }
    // Whether the last decision was the first of its scene.
    bool sceneBegan() const { return m_decisions == 1; }

  private:
    bool beginsScene(const Measurement& film, bool cut);
    // Takes over from `fresh` what is worth a change within a scene.
    Settings followed(const Settings& fresh) const;
    Decision decide(Decision decision, const Measurement& film, double seconds);

    const Settings m_user;
    Settings m_wanted;
    Measurement m_decided;  // the film when the last decision was made
    bool m_started = false;
    bool m_newScene = true;  // which has had no decision
    bool m_doubtful = false;
    unsigned m_decisions = 0;  // in this scene
    double m_lastDecision = 0;
    std::array<int, SETTING_NAMES.size()> m_directions{};  // of the changes within this scene
};

#endif
