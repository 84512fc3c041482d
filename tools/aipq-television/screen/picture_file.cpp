#include "picture_file.h"

#include <algorithm>
#include <functional>

#include "controls.h"
#include "http_status.h"
#include "jpeg.h"

namespace television {

using namespace std::chrono_literals;

namespace {

constexpr unsigned WIDTH = 512;
constexpr unsigned HEIGHT = 288;
constexpr auto INTERVAL = 100ms;
// The pipeline also serves its clients on the thread that draws. After a picture, it has at least this many
// times the drawing time for them.
constexpr int PAUSE = 3;

}  // namespace

PictureFile::Jpeg PictureFile::get() {
    const std::lock_guard lock(m_mutex);
    if (const auto now = std::chrono::steady_clock::now(); now >= m_due) {
        const simulated::Picture picture = m_video.picture(WIDTH, HEIGHT);
        const auto drawn = std::chrono::steady_clock::now();
        m_problem = picture.problem;
        if (m_problem.empty()) {
            m_jpeg.bytes = toJpeg(picture);
            m_jpeg.tag = '"' + std::to_string(std::hash<std::string>()(m_jpeg.bytes)) + '"';
            m_due = std::max(now + INTERVAL, drawn + PAUSE * (drawn - now));
        } else {
            // A hanging pipeline takes long. All waiting threads get the same result.
            m_due = drawn + INTERVAL;
        }
    }
    if (!m_problem.empty()) throw Refusal(UNAVAILABLE, m_problem);
    return m_jpeg;
}

}  // namespace television
