// The pipeline's side of video/capture_block.h: the request queue and the capture block.
#ifndef PIPELINE_REQUEST_SERVER_H
#define PIPELINE_REQUEST_SERVER_H

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "file_descriptor.h"
#include "frame_source.h"

namespace pipeline {

struct FrameSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

class RequestServer {
  public:
    // Fills an image of the size that will be delivered; false if there is no frame.
    using Render = std::function<bool(Image&)>;

    // Lets go of a queue that was removed, and opens the one that is there now. The queue's removal wakes
    // nobody up, so this has to be called regularly.
    void refresh();

    // Becomes readable with a message; -1 while there is no queue.
    int fd() const { return m_queue.get(); }

    // Takes one message off the queue. If it is a request, answers it and returns the size delivered.
    std::optional<FrameSize> serve(const Render& render);

    // Removes the queue and the block from the machine, unless a requester has the block attached.
    static void removeUnused();

  private:
    bool receiveRequest();

    FileDescriptor m_queue;
    std::vector<char> m_message;
    int m_queueError = 0;
    int m_refusedBlock = -1;
};

}  // namespace pipeline

#endif
