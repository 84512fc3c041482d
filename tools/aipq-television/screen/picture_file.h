#ifndef TELEVISION_PICTURE_FILE_H
#define TELEVISION_PICTURE_FILE_H

#include <chrono>
#include <mutex>
#include <string>

#include "simulated/television.h"

namespace television {

// The picture, shared by all viewers: the pipeline draws it once for all of them.
class PictureFile {
  public:
    explicit PictureFile(simulated::VideoPipeline& video) : m_video(video) {}

    struct Jpeg {
        std::string bytes;
        std::string tag;  // the ETag: a quoted hash of the bytes
    };

    // Callable from any thread. Throws Refusal with the reason if there is no picture.
    Jpeg get();

  private:
    simulated::VideoPipeline& m_video;
    std::mutex m_mutex;
    std::chrono::steady_clock::time_point m_due;
    Jpeg m_jpeg;
    std::string m_problem;
};

}  // namespace television

#endif
