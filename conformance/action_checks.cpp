// The source-switch action.
#include <algorithm>
#include <memory>

#include "catalogue/keys.h"
#include "platform_adaptation/system_access/action_access.h"
#include "visit.h"

using lomodelapi::Argument;

namespace conformance {

namespace {

using catalogue::keys::SWITCH_ACTION;

constexpr char REQUEST_RESOURCE[] = "2";
constexpr char RELEASE_RESOURCE[] = "3";
// Programme-specific information. Picture and sound continue while a client holds it.
constexpr char PSI[] = "4";

struct Answer {
    unsigned id;
    int error;  // 0 for a result
};

class Answers final : public ActionHandler {
  public:
    void onActionResult(int actionId, const ValueObject&) override {
        record.add({static_cast<unsigned>(actionId), 0});
    }
    void onActionFailed(int actionId, int error) override {
        record.add({static_cast<unsigned>(actionId), error});
    }

    std::vector<Record<Answer>::Entry> of(unsigned id) const {
        std::vector<Record<Answer>::Entry> all = record.entries();
        all.erase(
            std::remove_if(all.begin(), all.end(), [id](const auto& entry) { return entry.value.id != id; }),
            all.end());
        return all;
    }

    Record<Answer> record;
};

std::vector<Argument> arguments(const std::string& command) {
    return {{0, 0, "aipqctl_doctor_" + command}, {0, 1, command}, {0, 2, "hbbtv"}, {0, 3, PSI}};
}

// Returns the id of the invocation after its answer.
unsigned invoke(Visit& visit, ActionAccess& action, const Answers& answers, const std::string& command,
                const std::string& what) {
    unsigned id = 0xFFFFFFFF;
    const Clock::time_point begin = Clock::now();
    const int status = timed("invoking it", [&] { return action.invoke(id, arguments(command)); });
    if (status != 0) {
        if (command == REQUEST_RESOURCE) visit.undone();  // no resource was taken
        throw Failure{what + " was refused (status " + std::to_string(status) + ")",
                      "See why the model does not let this process invoke the action."};
    }
    if (!visit.waitUntil(GIVE_UP, [&] { return !answers.of(id).empty(); })) {
        std::string others;
        for (const auto& entry : answers.record.entries()) others += ' ' + std::to_string(entry.value.id);
        throw Failure{what + " with the id " + std::to_string(id) + " was not answered within " +
                          seconds(GIVE_UP) +
                          (others.empty() ? "" : "; there were answers with other ids:" + others),
                      "Answer every invocation under its own id: the library waits for it without a limit."};
    }
    const auto answer = answers.of(id).front();
    if (answer.when - begin > IN_TIME)
        throw Failure{
            what + " was answered after " + seconds(answer.when - begin) + ", later than " + seconds(IN_TIME),
            "Find what delays the action's answer: the service's caller is blocked until it arrives."};
    if (answer.value.error != 0)
        throw Failure{
            what + " was answered with the error " + std::to_string(answer.value.error),
            "See what this number means in the model: the service could not take resources either."};
    if (answer.thread == std::this_thread::get_id())
        throw Failure{what + " was answered on the invoking thread",
                      "Deliver answers on a thread of the model: the library's callers may hold locks."};
    return id;
}

// Uses its own connection, because the check's connection may be broken.
void release() {
    ActionAccess action(SWITCH_ACTION);
    unsigned id = 0;
    int status = action.connect(CONNECT_TIMEOUT_MS);
    if (status == 0) status = action.invoke(id, arguments(RELEASE_RESOURCE));
    if (status != 0)
        throw Failure{"programme information could not be released (status " + std::to_string(status) + ")",
                      ""};
}

Passed checkAction(Visit& visit) {
    const auto answers = std::make_shared<Answers>();
    const auto action = std::make_shared<ActionAccess>(SWITCH_ACTION, answers);
    visit.keep(action);
    if (const int status = action->connect(CONNECT_TIMEOUT_MS); status != 0)
        throw Failure{"cannot be connected (status " + std::to_string(status) + ")",
                      "Let the model offer an action of exactly this name."};
    // The accessor outlives the check; its subscription ends with the check.
    const std::shared_ptr<void> connection(nullptr, [&](void*) { action->disconnect(); });

    visit.undoLater("programme information was not taken", release);
    const unsigned taken = invoke(visit, *action, *answers, REQUEST_RESOURCE, "the request");
    const unsigned released = invoke(visit, *action, *answers, RELEASE_RESOURCE, "the release");
    visit.undone();
    if (taken == released)
        throw Failure{"2 invocations got the same id " + std::to_string(taken),
                      "Give each invocation its own id: the library assigns answers by id."};
    visit.pause(QUIET);
    for (const unsigned id : {taken, released})
        if (const std::size_t count = answers->of(id).size(); count != 1)
            throw Failure{
                "the invocation " + std::to_string(id) + " was answered " + std::to_string(count) + " times",
                "Answer every invocation once: the library keeps other answers without limit."};
    return {"programme information is taken and released; picture and sound continue"};
}

}  // namespace

std::vector<Check> actionChecks() {
    return {{"action",
             SWITCH_ACTION,
             "whether a request and a release are answered once each, under their own ids",
             {"framework", nameOf("key", SWITCH_ACTION)},
             checkAction,
             true}};
}

}  // namespace conformance
