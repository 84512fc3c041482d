#include "doctor_report.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "safe_text.h"

namespace conformance {

namespace {

std::ptrdiff_t count(const std::vector<Result>& results, Verdict verdict) {
    return std::count_if(results.begin(), results.end(),
                         [verdict](const Result& result) { return result.verdict == verdict; });
}

bool hasWarning(const Result& result) { return result.verdict == Verdict::PASSED && !result.advice.empty(); }

std::ptrdiff_t countWarnings(const std::vector<Result>& results) {
    return std::count_if(results.begin(), results.end(), hasWarning);
}

std::string escaped(const std::string& text) {
    std::string out;
    // XML does not allow control characters, not even escaped.
    for (const char c : safeText(text)) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + escaped(value) + '"';
}

std::string inSeconds(std::chrono::milliseconds duration) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", std::chrono::duration<double>(duration).count());
    return text;
}

}  // namespace

std::string textOf(const Result& result) {
    const std::string name = nameOf(result.group, result.subject);
    const std::string text = safeText(name + ": " + result.finding);
    const std::string took = "   (" + std::to_string(result.took.count()) + " ms)\n";
    const std::string next = result.advice.empty() ? "" : "      > " + safeText(result.advice) + '\n';
    switch (result.verdict) {
        case Verdict::PASSED:
            return (hasWarning(result) ? "warn  " : "ok    ") + text + took + next;
        case Verdict::FAILED:
            return "FAIL  " + text + took + next;
        case Verdict::NOT_RUN:
            break;
    }
    return "--    " + safeText(name + ": not run: " + result.finding) + '\n';
}

std::string summaryOf(const std::vector<Result>& results) {
    const std::ptrdiff_t warnings = countWarnings(results);
    return std::to_string(count(results, Verdict::PASSED)) + " passed" +
           (warnings > 0 ? " (" + std::to_string(warnings) + " with a warning)" : "") + ", " +
           std::to_string(count(results, Verdict::FAILED)) + " failed, " +
           std::to_string(count(results, Verdict::NOT_RUN)) + " not run";
}

std::string jsonOf(const std::vector<Result>& results) {
    using Json = nlohmann::ordered_json;
    const auto wordOf = [](const Result& result) {
        if (hasWarning(result)) return "warning";
        return result.verdict == Verdict::PASSED   ? "passed"
               : result.verdict == Verdict::FAILED ? "failed"
                                                   : "not run";
    };
    Json checks = Json::array();
    for (const Result& result : results)
        checks.push_back({{"name", nameOf(result.group, result.subject)},
                          {"group", result.group},
                          {"subject", result.subject},
                          {"question", result.question},
                          {"verdict", wordOf(result)},
                          {"finding", result.finding},
                          {"advice", result.advice},
                          {"milliseconds", result.took.count()}});
    const Json document{{"passed", count(results, Verdict::PASSED)},
                        {"warnings", countWarnings(results)},
                        {"failed", count(results, Verdict::FAILED)},
                        {"notRun", count(results, Verdict::NOT_RUN)},
                        {"checks", checks}};
    return safeJson(document.dump(-1, ' ', false, Json::error_handler_t::replace)) + '\n';
}

std::string junitOf(const std::vector<Result>& results) {
    std::chrono::milliseconds all{0};
    std::string cases;
    for (const Result& result : results) {
        all += result.took;
        cases += "    <testcase" + attribute("classname", "doctor." + result.group) +
                 attribute("name", nameOf(result.group, result.subject)) +
                 attribute("time", inSeconds(result.took)) + '>';
        switch (result.verdict) {
            case Verdict::PASSED:
                cases += "<system-out>" + escaped(result.finding) + "</system-out>";
                break;
            case Verdict::FAILED:
                cases += "<failure" + attribute("message", result.finding) + '>' + escaped(result.advice) +
                         "</failure>";
                break;
            case Verdict::NOT_RUN:
                cases += "<skipped" + attribute("message", result.finding) + "/>";
                break;
        }
        cases += "</testcase>\n";
    }
    const std::string counts = attribute("tests", std::to_string(results.size())) +
                               attribute("failures", std::to_string(count(results, Verdict::FAILED))) +
                               attribute("skipped", std::to_string(count(results, Verdict::NOT_RUN))) +
                               attribute("time", inSeconds(all));
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n  <testsuite name=\"doctor\"" + counts +
           ">\n" + cases + "  </testsuite>\n</testsuites>\n";
}

ExitCode exitCodeOf(const std::vector<Result>& results) {
    if (!results.empty() && results.front().verdict == Verdict::FAILED) return EXIT_NO_TELEVISION;
    // A check that did not run does not count as passed.
    const bool allPassed = count(results, Verdict::PASSED) == static_cast<std::ptrdiff_t>(results.size());
    return allPassed ? EXIT_DONE : EXIT_REFUSED;
}

}  // namespace conformance
