#include "television_presence.h"

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "failure.h"
#include "platform_adaptation/system_access/value_access_base.h"
#include "simulated_television.h"

namespace aipqctl {

namespace {

constexpr std::chrono::seconds ANSWER_LIMIT{10};

std::string quotedList(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i > 0) text += i + 1 < names.size() ? ", " : " and ";
        text += '\'' + names[i] + '\'';
    }
    return text;
}

[[noreturn]] void failNoTelevision() {
    const std::string name = televisionName();
    const std::string what = "no television" + (name.empty() ? "" : " '" + name + "'") + " answers";
    const std::vector<std::string> running = runningTelevisions();
    if (name.empty() || running.empty())
        throw Failure(EXIT_NO_TELEVISION, what + ": start aipq-television, or use --embedded");
    throw Failure(EXIT_NO_TELEVISION, what + "; " + quotedList(running) +
                                          (running.size() == 1 ? " runs" : " run") + ": choose with --tv");
}

// The run of the television that answered first.
std::string& firstRun() {
    static std::string run;
    return run;
}

}  // namespace

std::string answeringRun() {
    const std::optional<std::string> run = televisionRun();
    if (run && run->empty()) return "";
    if (ValueAccessBase::getRootInterface() == nullptr) return "";
    return run.value_or("the only one");
}

void requireTelevision() {
    const std::string run = answeringRun();
    if (run.empty()) failNoTelevision();
    if (firstRun().empty()) firstRun() = run;
}

void requireSameTelevision() {
    requireTelevision();
    if (answeringRun() != firstRun())
        throw Failure(EXIT_NO_TELEVISION, "the television left during the request: try again");
}

bool answered(std::function<bool()> request) {
    // If the answer never comes, the thread is abandoned: nothing can wake it.
    const auto answer = std::make_shared<std::promise<bool>>();
    std::future<bool> result = answer->get_future();
    std::thread([answer, request = std::move(request)] { answer->set_value(request()); }).detach();
    if (result.wait_for(ANSWER_LIMIT) != std::future_status::ready)
        throw Failure(EXIT_REFUSED,
                      "the television has not answered for 10 s; the effect of the request is unknown");
    const bool success = result.get();
    if (!success) requireSameTelevision();
    return success;
}

std::string whyNoFrame() {
    const std::string problem = videoProblem();
    return problem.empty() ? "is a video pipeline running?" : problem;
}

}  // namespace aipqctl
