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

// The period of checks for events that wake no thread: a new or removed queue, an opened clip.
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

Pipeline::~Pipeline() { m_stopOpening.request_stop(); }

int Pipeline::run(const std::optional<std::string>& clip) {
    if (clip) {
        openClipBeside(*clip);
    } else {
        show(std::make_unique<SceneSource>());
    }
    End end = End::NotYet;
    while (end == End::NotYet) end = turn();

    // With a television, only its end removes them: until then, a new pipeline may take over.
    const bool lastOne = end == End::SwitchedOff || (end == End::StopSignal && !m_control.present());
    if (lastOne) RequestServer::removeUnused();
    return end == End::Failed ? 1 : 0;
}

Pipeline::End Pipeline::turn() {
    m_server.refresh();
    // Requests wait in their queue while there is no source. poll() skips negative descriptors.
    enum { STOP, CONTROL, SOURCE, QUEUE };
    std::array<pollfd, 4> fds{{{m_stopSignals, POLLIN, 0},
                               {m_control.fd(), m_control.events(!opening()), 0},
                               {m_source ? m_source->eventFd() : -1, POLLIN, 0},
                               {m_source ? m_server.fd() : -1, POLLIN, 0}}};
    if (::poll(fds.data(), fds.size(), LOOK_AROUND_MS) < 0) return End::NotYet;

    if (fds[STOP].revents != 0) return End::StopSignal;
    m_control.handle(fds[CONTROL].revents, !opening());
    if (m_control.ended()) return End::SwitchedOff;
    if (!finishOpening()) return End::Failed;
    executeCommands();
    if (m_source) {
        const std::string problem = m_source->advance();
        if (!problem.empty()) reportEverywhere(problem);
        tellFilm();
    }
    if (fds[QUEUE].revents != 0) serveRequest();
    return End::NotYet;
}

void Pipeline::openClipBeside(const std::string& path) {
    m_opening = std::async(std::launch::async,
                           [path, stop = m_stopOpening.get_token()] { return openClip(path, stop); });
}

bool Pipeline::finishOpening() {
    if (!opening() || m_opening.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return true;
    OpenedClip clip = m_opening.get();
    const bool atStart = m_source == nullptr;
    if (clip.source) {
        show(std::move(clip.source));
        if (!atStart) m_control.send("ok");
        return true;
    }
    if (atStart && !m_control.present()) report(clip.problem);
    m_control.send("error " + clip.problem);
    return !atStart;
}

void Pipeline::show(std::unique_ptr<FrameSource> source) {
    const bool first = m_source == nullptr;
    m_source = std::move(source);
    m_cannotRender = false;
    tellFilm();
    if (!first) return;
    if (m_control.present()) {
        m_control.send("ready");
    } else {
        std::cout << "ready" << std::endl;
    }
}

void Pipeline::tellFilm() {
    std::string film = m_source->film();
    if (film == m_film) return;
    m_control.send("film " + (film.empty() ? "off" : film));
    m_film = std::move(film);
}

// Draws the current frame with the picture settings.
bool Pipeline::render(Image& image) {
    const bool rendered = m_source->render(image);
    if (rendered) simulated::applyPicture(m_picture, image);
    if (!rendered && !m_cannotRender) reportEverywhere("cannot convert the current picture to a frame");
    m_cannotRender = !rendered;
    return rendered;
}

void Pipeline::serveRequest() {
    const auto size = m_server.serve([this](Image& image) { return render(image); });
    if (!size) return;
    ++m_delivered;
    m_control.sendIfHeard("delivered " + std::to_string(m_delivered) + " " + std::to_string(size->width) +
                          "x" + std::to_string(size->height));
}

void Pipeline::executeCommands() {
    while (!opening()) {
        const auto line = m_control.nextLine();
        if (!line) return;
        const std::string problem =
            line->size() > Control::LINE_MAX_LENGTH ? "the command is too long" : execute(*line);
        // While a clip is being opened, the answer waits for the result.
        if (!opening()) m_control.send(problem.empty() ? "ok" : "error " + problem);
    }
}

std::string Pipeline::execute(const std::string& line) {
    constexpr std::string_view CLIP = "clip ";
    // The rest of the line is the path, including its spaces.
    if (line.starts_with(CLIP) && line.size() > CLIP.size()) {
        if (line.find('\0') != std::string::npos) return "there is a zero byte in the path";
        openClipBeside(line.substr(CLIP.size()));
        return {};
    }
    const std::vector<std::string_view> word = words(line);
    if (word.size() >= 2 && word[0] == "set") {
        return simulated::setPicture(m_picture, word[1], {word.begin() + 2, word.end()});
    }
    if (word.size() == 2 && word[0] == "scene") return showScene(word[1]);
    if (word.size() == 2 && word[0] == "input") {
        show(std::make_unique<SceneSource>(std::string(word[1])));
        return {};
    }
    if (word.size() == 2 && word[0] == "preview") {
        return m_preview.show(word[1], [this](Image& image) { return render(image); });
    }
    if (word.size() == 1 && word[0] == "scenes") {
        show(std::make_unique<SceneSource>());
    } else if (word.size() == 1 && (word[0] == "pause" || word[0] == "play")) {
        m_source->setPaused(word[0] == "pause");
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
    m_control.send("trouble " + problem);
}

}  // namespace pipeline
