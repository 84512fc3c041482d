// Checks of a platform: whether it has everything that the library requires, with the correct behaviour. They
// run on any television, real or simulated, and undo their changes.
#ifndef CONFORMANCE_CHECKS_H
#define CONFORMANCE_CHECKS_H

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace conformance {

class Visit;

// The result of a check that passed. The warning is empty, or a problem to look into nevertheless.
struct Passed {
    std::string finding;
    std::string warning = {};
};

struct Check {
    std::string group;               // "key"
    std::string subject;             // the key that is checked; empty if the group has one check only
    std::string question;            // the question that the check answers
    std::vector<std::string> needs;  // names of checks; not run if one of them ran and failed
    std::function<Passed(Visit&)> run;
    bool changes = false;  // changes the television for a short time
    bool isVideo = false;  // checks the delivery of frames
};

// For example "key dovra.sl2.i32.video.brightness".
std::string nameOf(const std::string& group, const std::string& subject);

enum class Verdict { PASSED, FAILED, NOT_RUN };

struct Result {
    std::string group;
    std::string subject;
    std::string question;
    Verdict verdict;
    std::string finding;  // the observation, or the reason why the check was not run
    std::string advice;   // the next step; for a check that passed, a warning or empty
    std::chrono::milliseconds took{0};
};

// All checks in their order, for the keys of the catalogue. Throws std::runtime_error if the file in
// AIPQ_TV_CATALOGUE is not a catalogue.
std::vector<Check> allChecks();

// A check that requests one frame after another for this time, and fails if frames stop coming.
Check streamCheck(std::chrono::milliseconds duration);

// The checks to run. A name is that of a check, of a group or of a key.
struct Selection {
    std::vector<std::string> only = {};  // empty for all
    std::vector<std::string> skip = {};
    bool changes = true;
    bool video = true;
};

// Always selects the first check, which all others need. Throws std::out_of_range for a name that no check
// has.
std::vector<Check> select(const std::vector<Check>& checks, const Selection& selection);

// Runs checks one after the other, each on its own thread. A check waits for a few seconds at most. It
// exceeds the limit only if a call into the platform does not return.
class Examination {
  public:
    static constexpr std::chrono::seconds CHECK_LIMIT{30};

    explicit Examination(std::vector<Check> checks, std::chrono::milliseconds limit = CHECK_LIMIT);
    // Waits for a check that hangs. To avoid this wait, end the program without the destructor.
    ~Examination();
    Examination(const Examination&) = delete;
    Examination& operator=(const Examination&) = delete;

    // Call it once. Reports each result on the caller's thread as soon as it is known. After `stop` is set,
    // the running check ends within a few seconds and undoes its changes, and the others are not run.
    std::vector<Result> run(const std::atomic<bool>& stop,
                            const std::function<void(const Result&)>& report = {});

    // Whether a check has not ended. The remaining checks were then not run, and the hanging one may still
    // run.
    bool hangs() const { return m_hanging.joinable(); }

  private:
    struct Progress;

    Result runOne(const Check& check, const std::atomic<bool>& stop);

    const std::vector<Check> m_checks;
    const std::chrono::milliseconds m_limit;
    // Observers stay alive after their subscriptions have ended: if a platform still calls one, the check
    // reports it instead of crashing.
    std::vector<std::shared_ptr<void>> m_kept;
    std::thread m_hanging;
};

}  // namespace conformance

#endif
