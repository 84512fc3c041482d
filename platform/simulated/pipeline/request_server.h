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
    // Draws an image of the size that will be delivered. Returns false if there is no frame.
    using Render = std::function<bool(Image&)>;

    // Closes a queue that was removed, and opens the current one. Call it regularly: removing the queue wakes
    // no thread.
    void refresh();

    // The descriptor that becomes readable with a message; -1 without a queue.
    int fd() const { return m_queue.get(); }

    // Receives one message. If it is a request, answers it and returns the delivered size.
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
