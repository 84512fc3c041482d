#ifndef EXAMPLES_PICTURE_SERVICE_SCENE_JUDGE_H
#define EXAMPLES_PICTURE_SERVICE_SCENE_JUDGE_H

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

// Judges what the film shows and says which settings suit it: dark scenes are lifted, bright ones calmed,
// ordinary ones shown as the user has set the television.
//
// Hysteresis keeps it quiet: but for a cut, a scene is left at another brightness than it is entered at,
// small differences of the wanted settings count as none, and a decision needs two frames in succession, so
// that a flash changes nothing.
class SceneJudge {
  public:
    // `user` is what the television had before: what the service wants is relative to it.
    explicit SceneJudge(const Settings& user) : m_user(user), m_wanted(user) {}

    // Nothing if all is well as it is.
    std::optional<Decision> judge(const Measurement& film);

  private:
    Scene classify(const Measurement& film) const;
    Settings settingsFor(Scene scene, const Measurement& film) const;

    const Settings m_user;
    Settings m_wanted;
    std::optional<Scene> m_scene;    // of the last decision
    std::optional<Scene> m_running;  // that the film is still in; none after a cut
    std::optional<double> m_lastLuma;
    bool m_doubtful = false;
};

#endif
