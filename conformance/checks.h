// Checks of a platform: whether everything that the library demands of it is there and behaves. They run on
// any television, real or simulated, and put back what they change.
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

// What a check that passed saw; the warning is empty or something to look into all the same.
struct Passed {
    std::string finding;
    std::string warning = {};
};

struct Check {
    std::string group;               // "key"
    std::string subject;             // the key that it is about; empty if there is only one of the group
    std::string asks;                // what it wants to know
    std::vector<std::string> needs;  // names of checks; it is not run if one of them ran and did not pass
    std::function<Passed(Visit&)> run;
    bool changes = false;  // something of the television for a moment
    bool isVideo = false;  // about the way of the frames
};

// "key dovra.sl2.i32.video.brightness"
std::string nameOf(const std::string& group, const std::string& subject);

enum class Verdict { PASSED, FAILED, NOT_RUN };

struct Result {
    std::string group;
    std::string subject;
    std::string asks;
    Verdict verdict;
    std::string finding;  // what was seen; why it was not run
    std::string advice;   // what to do next; of a check that passed, what to look into, or empty
    std::chrono::milliseconds took{0};
};

// All checks in their order, for the keys of the catalogue. Throws std::runtime_error if AIPQ_TV_CATALOGUE
// names a file that is none.
std::vector<Check> allChecks();

// Frames one after the other for this time: whether they keep coming.
Check streamCheck(std::chrono::milliseconds duration);

// Which checks to run. A name is that of a check, of a group, or of a key.
struct Selection {
    std::vector<std::string> only = {};  // empty for all
    std::vector<std::string> skip = {};
    bool changes = true;
    bool video = true;
};

// Always with the first check, without which no other can be run. Throws std::out_of_range with a name that
// no check has.
std::vector<Check> select(const std::vector<Check>& checks, const Selection& selection);

// Runs checks, each on a thread of its own, one after the other. A check waits for nothing longer than a few
// seconds; what makes it last longer than the limit is a call into the platform that does not return.
class Examination {
  public:
    static constexpr std::chrono::seconds CHECK_LIMIT{30};

    explicit Examination(std::vector<Check> checks, std::chrono::milliseconds limit = CHECK_LIMIT);
    // Waits for a check that hangs. A program that does not want to must end without this.
    ~Examination();
    Examination(const Examination&) = delete;
    Examination& operator=(const Examination&) = delete;

    // Once. Tells each result on the caller's thread as it comes. Once `stop` is set, the check that runs
    // ends within a few seconds, puts back what it changed, and the others are not run.
    std::vector<Result> run(const std::atomic<bool>& stop,
                            const std::function<void(const Result&)>& tell = {});

    // Whether a check has not ended; the rest were then not run, and it may still be at work.
    bool hangs() const { return m_hanging.joinable(); }

  private:
    struct Progress;

    Result runOne(const Check& check, const std::atomic<bool>& stop);

    const std::vector<Check> m_checks;
    const std::chrono::milliseconds m_limit;
    // Observers whose subscriptions have ended live on: a platform that tells them something all the same is
    // found out and not crashed with.
    std::vector<std::shared_ptr<void>> m_kept;
    std::thread m_hanging;
};

}  // namespace conformance

#endif
