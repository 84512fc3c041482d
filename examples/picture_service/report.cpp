#include "report.h"

#include <cstddef>

#include "html.h"
#include "report_plot.h"
#include "report_style.h"

namespace {

// The no-break space keeps the percent sign on the line of its number.
std::string percent(double share) { return number(100 * share, 1) + "\u00a0%"; }

std::string timeText(const Episode& episode) {
    return number(episode.from, 1) + " s to " + number(episode.to, 1) + " s";
}

void append(std::string& list, const std::string& text) { list += (list.empty() ? "" : ", ") + text; }

std::string settingsText(const Settings& settings) {
    std::string text;
    for (const SettingName& setting : SETTING_NAMES)
        append(text, std::string(setting.name) + ' ' + std::to_string(settings.*setting.value));
    return escaped(text);
}

// The settings that differ from the original ones; empty if none differs.
std::string changesText(const Settings& found, const Settings& target) {
    std::string text;
    for (const SettingName& setting : SETTING_NAMES)
        if (found.*setting.value != target.*setting.value)
            append(text, std::string(setting.name) + ' ' + std::to_string(target.*setting.value));
    return text;
}

std::string row(const std::string& name, const std::string& before, const std::string& after) {
    return element("tr", element("th scope=\"row\"", name) + element("td", before) + element("td", after));
}

std::string table(const std::string& name, const std::string& rows) {
    return element("table", element("thead", element("tr", element("th scope=\"col\"", name) +
                                                               element("th scope=\"col\"", "before") +
                                                               element("th scope=\"col\"", "after"))) +
                                element("tbody", rows));
}

std::string numbers(const Episode& episode) {
    const Measurement& before = episode.measuredBefore;
    const Measurement& after = episode.measuredAfter;
    const auto levels = [&](const char* name, double Measurement::*value) {
        return row(name, number(before.*value, 1), number(after.*value, 1));
    };
    const auto hue = [](const Measurement& measured) {
        return measured.skin > 0 ? number(measured.skinHue) + "°" : "none";
    };
    return table(
        "this frame",
        row("clipped black", percent(before.clippedBlack), percent(after.clippedBlack)) +
            row("clipped white", percent(before.clippedWhite), percent(after.clippedWhite)) +
            row("colour in greys", number(episode.greyErrorBefore, 1), number(episode.greyErrorAfter, 1)) +
            levels("luma", &Measurement::luma) + levels("contrast", &Measurement::contrast) +
            levels("colour", &Measurement::colour) + levels("noise", &Measurement::noise) +
            levels("sharpness", &Measurement::sharpness) + levels("motion", &Measurement::motion) +
            row("skin", percent(before.skin), percent(after.skin)) +
            row("skin hue", hue(before), hue(after)));
}

std::string picture(const Frame& frame, const std::string& description) {
    const std::string source = dataUri(frame);
    if (source.empty()) return element("p", "This frame cannot be shown.");
    return "<img src=\"" + source + "\" width=\"" + std::to_string(frame.width) + "\" height=\"" +
           std::to_string(frame.height) + "\" alt=\"" + escaped(description) + "\"/>\n";
}

std::string figure(const Frame& frame, const std::string& name, const std::string& caption) {
    return element("figure", picture(frame, name + ": " + caption) +
                                 element("figcaption", element("b", name) + escaped(caption)));
}

std::string pictures(const Episode& episode, const Settings& found) {
    const std::string changes = changesText(found, episode.decision.target);
    std::string figures;
    if (episode.before.rgb != episode.after.rgb)
        figures = figure(episode.before, "Before", "with the settings found") +
                  figure(episode.after, "After", "with " + changes);
    else if (changes.empty())
        figures = figure(episode.before, "Before and after", "nothing was changed");
    else
        figures = figure(episode.before, "Before and after", changes + ", which one frame does not show");
    const std::string origin =
        "Computed from one captured frame by the television's response to its settings.";
    return element("div class=\"pair\"", figures) +
           element("p class=\"quiet\"",
                   episode.exact
                       ? origin
                       : origin + " The changes that it was captured with were undone by estimate.");
}

std::string decision(const Decision& decision) {
    std::string reasons;
    for (const Reason& reason : decision.reasons)
        reasons += element("li", element("b", escaped(reason.change) + ':') + escaped(reason.why));
    return element("h4", "Decided, and why") + element("ul", reasons);
}

std::string captured(const Episode& episode) {
    if (!episode.captured) return element("p class=\"quiet\"", "No frame was captured with these settings.");
    const Measurement& measured = episode.captured->measurement;
    return element("div class=\"small\"",
                   figure(episode.captured->frame, "Captured",
                          "later in the scene, with these settings in force: clipped black " +
                              percent(measured.clippedBlack) + ", clipped white " +
                              percent(measured.clippedWhite) + ", luma " + number(measured.luma)));
}

const char* outcomeOf(const Episode& episode) {
    const Verdict verdict = verdictOf({episode});
    return verdict.better != 0 ? "better" : verdict.worse != 0 ? "worse" : "the same";
}

std::string scene(const Episode& episode, std::size_t index, const Settings& found) {
    const std::string name = std::to_string(index);
    return element(
        "section class=\"scene\" id=\"scene-" + name + '"',
        element("h3", "Scene " + name + ": " + escaped(toText(episode.scene)) + ' ' +
                          element("span class=\"outcome\"", outcomeOf(episode)) +
                          element("span class=\"time\"", timeText(episode))) +
            pictures(episode, found) +
            element("div class=\"facts\"",
                    element("div", element("h4", "Histograms") +
                                       drawHistograms(episode.measuredBefore, episode.measuredAfter)) +
                        element("div", numbers(episode)) +
                        element("div", decision(episode.decision) + captured(episode))));
}

std::string verdict(const Verdict& verdict) {
    std::string text = element("p", escaped(verdict.sentence));
    if (verdict.scenes != 0)
        text += table("mean of all scenes", row("clipped black", percent(verdict.clippedBlackBefore),
                                                percent(verdict.clippedBlackAfter)) +
                                                row("clipped white", percent(verdict.clippedWhiteBefore),
                                                    percent(verdict.clippedWhiteAfter)) +
                                                row("colour in greys", number(verdict.greyErrorBefore, 1),
                                                    number(verdict.greyErrorAfter, 1)));
    return element("div class=\"verdict\"", text);
}

std::string entry(const std::string& term, const std::string& text) {
    return element("dt", term) + element("dd", text);
}

std::string circumstances(const std::string& playing, const History& history) {
    std::string text = entry("Played", escaped(playing));
    if (!history.settings.empty()) {
        const auto& [end, last] = history.settings.back();
        const Settings& found = history.settings.front().settings;
        text +=
            entry("Time", number(end) + " s, " + std::to_string(history.shown.size()) + " frames captured") +
            entry("Settings found", settingsText(found)) +
            entry("Settings at the end", last == found ? "as found" : settingsText(last));
    }
    return element("dl", text);
}

constexpr const char EXPLANATIONS[] =
    R"(<dl>
<dt>before, after</dt><dd>The same frame with the settings that the service found, and with those that it decided on.</dd>
<dt>better, the same, worse</dt><dd>Better: the visible faults together became smaller. Worse: they became larger, or more is clipped, or greys have more colour.</dd>
<dt>clipped black</dt><dd>Share of pixels that are black, so that shadows show no detail. What the film itself clips is lost, and counts with any settings.</dd>
<dt>clipped white</dt><dd>Share of pixels that are white, so that highlights show no detail.</dd>
<dt>colour in greys</dt><dd>How far from neutral the screen shows pixels that are neutral grey in the film, in levels of 255. 0 is neutral.</dd>
<dt>histogram</dt><dd>How many pixels have each luma, from black on the left to white on the right. The height is the square root of the share, so that few pixels are visible, too.</dd>
<dt>luma</dt><dd>Mean brightness of the picture, 0 to 255.</dd>
<dt>contrast</dt><dd>Standard deviation of the luma.</dd>
<dt>colour</dt><dd>Colourfulness: 0 is grey, above 60 is vivid.</dd>
<dt>noise</dt><dd>Standard deviation of the luma in flat parts of the picture, in levels of 255.</dd>
<dt>sharpness</dt><dd>How steep edges are: an edge of one pixel has 100.</dd>
<dt>motion</dt><dd>Mean difference of the luma from the frame before, in levels of 255.</dd>
<dt>skin, skin hue</dt><dd>Share of pixels that have a colour of skin, and their mean hue: 0° is red, 60° is yellow.</dd>
<dt>dark lift, roll-off</dt><dd>Settings that brighten shadows, and that darken highlights; black and white stay.</dd>
<dt>MEMC</dt><dd>Motion compensation of the television.</dd>
<dt>tuner</dt><dd>The colour tuner of the television: its mode says which colours it changes, its saturation and hue by how much.</dd>
</dl>
)";

}  // namespace

std::string makeReport(const std::string& playing, const History& history) {
    const Settings found = history.settings.empty() ? Settings{} : history.settings.front().settings;
    const std::size_t first = firstScene(history);
    std::string scenes;
    if (first != 1)
        scenes = element("p", "The scenes before scene " + std::to_string(first) + " are not kept.");
    for (std::size_t i = 0; i < history.episodes.size(); ++i)
        scenes += scene(history.episodes[i], first + i, found);
    if (scenes.empty()) scenes = element("p", "No scene was judged.");
    const std::string title = "Did the picture get better?";
    const std::string about =
        "A service captured frames of what a television played, measured them, and chose the "
        "picture settings for each scene. It works by fixed rules; it does not learn.";
    return "<!DOCTYPE html>\n" +
           element("html lang=\"en\"",
                   element("head",
                           "<meta charset=\"utf-8\"/>\n"
                           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n" +
                               element("title", title) + element("style", REPORT_STYLE)) +
                       element("body", element("h1", title) + element("p", about) +
                                           verdict(verdictOf(history.episodes)) +
                                           circumstances(playing, history) + element("h2", "Scene by scene") +
                                           scenes + element("h2", "Over time") + drawTimeline(history) +
                                           element("h2", "How to read this") + EXPLANATIONS));
}
