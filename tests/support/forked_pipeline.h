// A video pipeline whose answers are defined by the test.
#ifndef TESTS_FORKED_PIPELINE_H
#define TESTS_FORKED_PIPELINE_H

#include <fcntl.h>
#include <mqueue.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <functional>

#include "video/capture_block.h"

namespace tests {

// Fills the block with one colour and marks it as a ready frame of this size.
inline void fillFrame(video::CaptureBlock& block, std::uint32_t width, std::uint32_t height,
                      std::uint8_t colour) {
    std::memset(block.pixels, colour, sizeof block.pixels);
    std::atomic_ref(block.width).store(width);
    std::atomic_ref(block.height).store(height);
    std::atomic_ref(block.state).store(video::FRAME_READY, std::memory_order_release);
}

// It runs in its own process, like a real pipeline, so it may still fill the block for one capture while the
// next capture clears the block. Use it on the test's main thread.
class ForkedPipeline {
  public:
    // Called in the pipeline's process for each request. `number` counts the requests from 1. The function
    // sees a copy of the test's memory from the time of the construction, and must not allocate.
    using Answer = std::function<void(unsigned number, video::CaptureBlock& block)>;

    explicit ForkedPipeline(const Answer& answer)
        : m_answered(static_cast<unsigned*>(
              mmap(nullptr, sizeof(unsigned), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))),
          m_process(fork()) {
        if (m_process == 0) serve(answer);
    }
    ForkedPipeline(const ForkedPipeline&) = delete;
    ForkedPipeline& operator=(const ForkedPipeline&) = delete;
    ~ForkedPipeline() {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
        munmap(m_answered, sizeof(unsigned));
    }

    // How many requests it has answered. Until then it may still write to the block.
    unsigned answered() const { return std::atomic_ref(*m_answered).load(); }

  private:
    [[noreturn]] void serve(const Answer& answer) const {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (unsigned number = 0;;) {
            usleep(5000);
            const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY | O_NONBLOCK);
            char message[video::REQUEST_SIZE];
            const bool requested = queue != -1 && mq_receive(queue, message, sizeof message, nullptr) > 0;
            if (queue != -1) mq_close(queue);
            if (!requested) continue;
            ++number;
            void* const memory =
                shmat(shmget(video::CAPTURE_BLOCK_KEY, sizeof(video::CaptureBlock), 0), nullptr, 0);
            if (memory == reinterpret_cast<void*>(-1)) continue;
            answer(number, *static_cast<video::CaptureBlock*>(memory));
            shmdt(memory);
            ++std::atomic_ref(*m_answered);
        }
    }

    unsigned* const m_answered;  // shared with the pipeline's process
    const pid_t m_process;
};

}  // namespace tests

#endif
