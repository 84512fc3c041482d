#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <map>
#include <stdexcept>

#include "checks.h"
#include "platform_adaptation/system_access/value_access_base.h"
#include "visit.h"

namespace conformance {

std::string nameOf(const std::string& group, const std::string& subject) {
    return subject.empty() ? group : group + ' ' + subject;
}

std::vector<Check> allChecks() {
    std::vector<Check> all;
    for (const auto& checks :
         {modelChecks(), actionChecks(), channelChecks(), videoChecks(), applicationChecks()})
        all.insert(all.end(), checks.begin(), checks.end());
    return all;
}

std::vector<Check> select(const std::vector<Check>& checks, const Selection& selection) {
    const auto isMeant = [](const Check& check, const std::vector<std::string>& names) {
        return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
            return name == check.group || (name == check.subject && !name.empty()) ||
                   name == nameOf(check.group, check.subject);
        });
    };
    for (const auto* names : {&selection.only, &selection.skip})
        for (const std::string& name : *names)
            if (std::none_of(checks.begin(), checks.end(),
                             [&](const Check& check) { return isMeant(check, {name}); }))
                throw std::out_of_range(name);

    std::vector<Check> selected;
    for (const Check& check : checks) {
        const bool isFirst = selected.empty() && &check == &checks.front();
        const bool wanted = (selection.only.empty() || isMeant(check, selection.only)) &&
                            !isMeant(check, selection.skip) && (selection.changes || !check.changes) &&
                            (selection.video || !check.isVideo);
        if (isFirst || wanted) selected.push_back(check);
    }
    return selected;
}

// Visit

void Visit::undoLater(std::string what, std::function<void()> undo) {
    const std::lock_guard lock(m_mutex);
    m_changes.push_back({std::move(what), std::move(undo)});
}

void Visit::undone() {
    const std::lock_guard lock(m_mutex);
    m_changes.pop_back();
}

void Visit::undoAll() {
    std::string problems;
    for (;;) {
        std::function<void()> undo;
        {
            const std::lock_guard lock(m_mutex);
            if (m_changes.empty()) break;
            undo = m_changes.back().undo;
        }
        try {
            undo();
        } catch (const Failure& failure) {
            if (!problems.empty()) problems += "; ";
            problems += failure.finding;
        }
        undone();
    }
    if (!problems.empty()) throw Failure{problems, "Put it back by hand."};
}

std::string Visit::notUndone() const {
    const std::lock_guard lock(m_mutex);
    std::string text;
    for (const Change& change : m_changes) text += "; not put back: " + change.what;
    return text;
}

// Examination

struct Examination::Progress {
    Progress(const std::atomic<bool>& stop, std::vector<std::shared_ptr<void>>& kept) : visit(stop, kept) {}

    Visit visit;
    std::mutex mutex;
    std::condition_variable changed;
    bool done = false;
    Result result;
};

namespace {

constexpr char INTERRUPTED[] = "interrupted";

Result notRun(const Check& check, const std::string& reason) {
    return {check.group, check.subject, check.question, Verdict::NOT_RUN, reason, "", milliseconds(0)};
}

// When this returns, all changes of the check have been undone, or their failure is in the result.
Result examine(const Check& check, Visit& visit) {
    Result result{check.group, check.subject, check.question, Verdict::PASSED, "", "", milliseconds(0)};
    const Clock::time_point begin = Clock::now();
    try {
        visit.goOn();
        // The library crashes without the model's root.
        if (!check.needs.empty() && ValueAccessBase::getRootInterface() == nullptr)
            throw Failure{"the process framework does not give the model's root any more",
                          "See whether the model's service has died."};
        const Passed passed = check.run(visit);
        result.finding = passed.finding;
        result.advice = passed.warning;
    } catch (const Failure& failure) {
        result.verdict = Verdict::FAILED;
        result.finding = failure.finding;
        result.advice = failure.advice;
    } catch (const Interrupted&) {
        result.verdict = Verdict::NOT_RUN;
        result.finding = INTERRUPTED;
    } catch (const std::exception& error) {
        result.verdict = Verdict::FAILED;
        result.finding = std::string("threw an exception: ") + error.what();
        result.advice = "Run it once more with this check only, under a debugger that stops at exceptions.";
    } catch (...) {
        result.verdict = Verdict::FAILED;
        result.finding = "threw an object that is not a std::exception";
        result.advice = "Run it once more with this check only, under a debugger that stops at exceptions.";
    }
    try {
        visit.undoAll();
    } catch (const Failure& failure) {
        if (!result.finding.empty()) result.finding += "; ";
        result.finding += failure.finding;
        result.advice += (result.advice.empty() ? "" : " ") + failure.advice;
        result.verdict = Verdict::FAILED;
    }
    result.took = std::chrono::duration_cast<milliseconds>(Clock::now() - begin);
    return result;
}

}  // namespace

Examination::Examination(std::vector<Check> checks, milliseconds limit)
    : m_checks(std::move(checks)), m_limit(limit) {}

Examination::~Examination() {
    if (m_hanging.joinable()) m_hanging.join();
}

Result Examination::runOne(const Check& check, const std::atomic<bool>& stop) {
    const auto progress = std::make_shared<Progress>(stop, m_kept);
    std::thread thread([progress, &check] {
        Result result = examine(check, progress->visit);
        const std::lock_guard lock(progress->mutex);
        progress->result = std::move(result);
        progress->done = true;
        progress->changed.notify_all();
    });
    std::unique_lock lock(progress->mutex);
    if (progress->changed.wait_for(lock, m_limit, [&] { return progress->done; })) {
        lock.unlock();
        thread.join();
        return progress->result;
    }
    m_hanging = std::move(thread);
    return {check.group,
            check.subject,
            check.question,
            Verdict::FAILED,
            "has not ended after " + seconds(m_limit) + ": a call into the platform does not return" +
                progress->visit.notUndone(),
            "Run this check alone once more, and find the blocked call with a debugger.",
            m_limit};
}

std::vector<Result> Examination::run(const std::atomic<bool>& stop,
                                     const std::function<void(const Result&)>& report) {
    std::vector<Result> results;
    std::map<std::string, Verdict> verdicts;
    const auto finished = [&](const Result& result) {
        results.push_back(result);
        verdicts[nameOf(result.group, result.subject)] = result.verdict;
        if (report) report(result);
    };
    for (const Check& check : m_checks) {
        const auto missing =
            std::find_if(check.needs.begin(), check.needs.end(), [&](const std::string& name) {
                const auto needed = verdicts.find(name);
                return needed != verdicts.end() && needed->second != Verdict::PASSED;
            });
        if (hangs()) {
            finished(notRun(check, "an earlier check has not ended"));
        } else if (stop) {
            finished(notRun(check, INTERRUPTED));
        } else if (missing != check.needs.end()) {
            finished(notRun(check, "needs '" + *missing + "', which did not pass"));
        } else {
            finished(runOne(check, stop));
        }
    }
    return results;
}

// Words

std::string seconds(Clock::duration duration) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g s", std::chrono::duration<double>(duration).count());
    return text;
}

std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7f) {
            out += c;
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", byte);
            out += escape;
        }
    }
    return out + '"';
}

std::string errorText(int error) {
    return std::string(std::strerror(error)) + " (errno " + std::to_string(error) + ")";
}

}  // namespace conformance
