#include "pipeline.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <iostream>
#include <utility>
#include <vector>

#include "report.h"
#include "scene_source.h"
#include "scenes.h"

namespace pipeline {
namespace {

// How often to look for what wakes nobody up: a new or removed queue, a clip that has been opened.
constexpr int LOOK_AROUND_MS = 30;

std::vector<std::string_view> words(std::string_view line) {
    std::vector<std::string_view> result;
    while (true) {
        const std::size_t start = line.find_first_not_of(' ');
        if (start == std::string_view::npos) return result;
        line.remove_prefix(start);
        const std::size_t length = std::min(line.find(' '), line.size());
        result.push_back(line.substr(0, length));
        line.remove_prefix(length);
    }
}

}  // namespace

Pipeline::~Pipeline() {
    stopOpening_.request_stop();
}

int Pipeline::run(const std::optional<std::string>& clip) {
    if (clip) {
        openClipBeside(*clip);
    } else {
        show(std::make_unique<SceneSource>());
    }
    End end = End::NotYet;
    while (end == End::NotYet) end = turn();

    // Under a television, only the television's end is the end: until then a new pipeline may take over.
    const bool lastOne = end == End::SwitchedOff || (end == End::StopSignal && !control_.present());
    if (lastOne) RequestServer::removeAll();
    return end == End::Failed ? 1 : 0;
}

Pipeline::End Pipeline::turn() {
    server_.refresh();
    // Requests wait in their queue until there is something to answer them with; poll() skips negative
    // descriptors.
    enum { STOP, CONTROL, SOURCE, QUEUE };
    std::array<pollfd, 4> fds{{{stopSignals_, POLLIN, 0},
                               {control_.fd(), control_.events(!opening()), 0},
                               {source_ ? source_->eventFd() : -1, POLLIN, 0},
                               {source_ ? server_.fd() : -1, POLLIN, 0}}};
    if (::poll(fds.data(), fds.size(), LOOK_AROUND_MS) < 0) return End::NotYet;

    if (fds[STOP].revents != 0) return End::StopSignal;
    control_.handle(fds[CONTROL].revents, !opening());
    if (control_.ended()) return End::SwitchedOff;
    if (!finishOpening()) return End::Failed;
    executeCommands();
    if (source_) {
        const std::string problem = source_->advance();
        if (!problem.empty()) reportEverywhere(problem);
    }
    if (fds[QUEUE].revents != 0) serveRequest();
    return End::NotYet;
}

void Pipeline::openClipBeside(const std::string& path) {
    opening_ = std::async(std::launch::async,
                          [path, stop = stopOpening_.get_token()] { return openClip(path, stop); });
}

bool Pipeline::finishOpening() {
    if (!opening() || opening_.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return true;
    OpenedClip clip = opening_.get();
    const bool atStart = source_ == nullptr;
    if (clip.source) {
        show(std::move(clip.source));
        if (!atStart) control_.send("ok");
        return true;
    }
    if (atStart) report(clip.problem);
    control_.send("error " + clip.problem);
    return !atStart;
}

void Pipeline::show(std::unique_ptr<FrameSource> source) {
    const bool first = source_ == nullptr;
    source_ = std::move(source);
    cannotRender_ = false;
    if (!first) return;
    if (control_.present()) {
        control_.send("ready");
    } else {
        std::cout << "ready" << std::endl;
    }
}

void Pipeline::serveRequest() {
    const auto render = [this](Image& image) {
        const bool rendered = source_->render(image);
        if (rendered) applyPicture(picture_, image);
        if (!rendered && !cannotRender_) reportEverywhere("cannot convert what is on into a frame");
        cannotRender_ = !rendered;
        return rendered;
    };
    const auto size = server_.serve(render);
    if (!size) return;
    ++delivered_;
    control_.sendIfHeard("delivered " + std::to_string(delivered_) + " " + std::to_string(size->width) + "x" +
                         std::to_string(size->height));
}

void Pipeline::executeCommands() {
    while (!opening()) {
        const auto line = control_.nextLine();
        if (!line) return;
        const std::string problem =
            line->size() > Control::LINE_MAX_LENGTH ? "the command is too long" : execute(*line);
        // A clip being opened is answered when the outcome is known.
        if (!opening()) control_.send(problem.empty() ? "ok" : "error " + problem);
    }
}

std::string Pipeline::execute(const std::string& line) {
    constexpr std::string_view CLIP = "clip ";
    // The rest of the line is the path, with all its blanks.
    if (line.starts_with(CLIP) && line.size() > CLIP.size()) {
        if (line.find('\0') != std::string::npos) return "there is a zero byte in the path";
        openClipBeside(line.substr(CLIP.size()));
        return {};
    }
    const std::vector<std::string_view> word = words(line);
    if (word.size() >= 2 && word[0] == "set")
        return setPicture(picture_, word[1], {word.begin() + 2, word.end()});
    if (word.size() == 2 && word[0] == "scene") return showScene(word[1]);
    if (word.size() == 1 && word[0] == "scenes") {
        show(std::make_unique<SceneSource>());
    } else if (word.size() == 1 && (word[0] == "pause" || word[0] == "play")) {
        source_->setPaused(word[0] == "pause");
    } else {
        return "cannot understand '" + line.substr(0, 80) + "'";
    }
    return {};
}

std::string Pipeline::showScene(std::string_view name) {
    const auto* const found = std::find(SCENE_NAMES.begin(), SCENE_NAMES.end(), name);
    if (found == SCENE_NAMES.end()) return "there is no scene '" + std::string(name) + "'";
    show(std::make_unique<SceneSource>(static_cast<std::size_t>(found - SCENE_NAMES.begin())));
    return {};
}

void Pipeline::reportEverywhere(const std::string& problem) {
    report(problem);
    control_.send("error " + problem);
}

}  // namespace pipeline
