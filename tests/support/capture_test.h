// The fixture of the capture tests. No video pipeline runs: the test itself uses the capture block and the
// request queue in the place of a pipeline.
#ifndef TESTS_CAPTURE_TEST_H
#define TESTS_CAPTURE_TEST_H

#include <fcntl.h>
#include <mqueue.h>
#include <sys/shm.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>

#include "asleep.h"
#include "forked_pipeline.h"
#include "platform_adaptation/picture_capture.h"
#include "television_test.h"
#include "video/capture_block.h"

namespace tests {

using Message = std::array<char, video::REQUEST_SIZE>;

inline const Message CAPTURE_REQUEST = [] {
    Message message{};
    std::memcpy(message.data(), "capture_video", 13);
    return message;
}();

// The pipeline's side of the capture block and of the request queue.
class Peer {
  public:
    ~Peer() {
        if (m_block != nullptr) shmdt(m_block);
        removeAll();
    }

    static void removeAll() {
        mq_unlink(video::REQUEST_QUEUE_NAME);
        if (const int id = shmget(video::CAPTURE_BLOCK_KEY, 0, 0); id != -1) shmctl(id, IPC_RMID, nullptr);
    }

    video::CaptureBlock& block() {
        if (m_block == nullptr) {
            const int id = shmget(video::CAPTURE_BLOCK_KEY, sizeof(video::CaptureBlock), 0);
            m_block = static_cast<video::CaptureBlock*>(shmat(id, nullptr, 0));
        }
        return *m_block;
    }

    std::uint32_t state() {
        return std::atomic_ref<std::uint32_t>(block().state).load(std::memory_order_acquire);
    }

    void deliver(std::uint32_t width, std::uint32_t height, std::uint8_t fill) {
        fillFrame(block(), width, height, fill);
    }

    // Returns the next message of the queue, or nullopt if the queue does not exist or no message arrives
    // within the limit.
    static std::optional<Message> receive(std::chrono::seconds limit = std::chrono::seconds(30)) {
        const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY);
        if (queue == -1) return std::nullopt;
        timespec deadline{};
        clock_gettime(CLOCK_REALTIME, &deadline);
        deadline.tv_sec += static_cast<time_t>(limit.count());
        Message message{};
        const ssize_t length = mq_timedreceive(queue, message.data(), message.size(), nullptr, &deadline);
        mq_close(queue);
        if (length != static_cast<ssize_t>(message.size())) return std::nullopt;
        return message;
    }

    static std::optional<mq_attr> queueAttributes() {
        const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY);
        if (queue == -1) return std::nullopt;
        mq_attr attributes{};
        mq_getattr(queue, &attributes);
        mq_close(queue);
        return attributes;
    }

  private:
    video::CaptureBlock* m_block = nullptr;
};

class CaptureTest : public TelevisionTest {
  protected:
    CaptureTest() { Peer::removeAll(); }

    // Starts the capture and waits until each of its threads waits for requests. A request before that would
    // be lost.
    void start() {
        const std::size_t threads = television.threads().created().size();
        capture.start();
        ready(television.threads().created().size() - threads);
    }

    void ready(std::size_t threads) {
        ASSERT_TRUE(log.waitFor("create thread to send message queue."));
        awaitSleep("create thread to send message queue.\n");
        if (threads < 2) return;
        ASSERT_TRUE(log.waitFor("create thread check caputre."));
        awaitSleep("create thread check caputre.\n");
    }

    void restart() {
        capture.stop();
        log.clear();
        start();
    }

    void expectRequestToArrive() {
        EXPECT_TRUE(capture.getPicture(false, nullptr));
        EXPECT_EQ(Peer::receive(), CAPTURE_REQUEST);
    }

    void awaitSleep(const std::string& firstLineOfThread) {
        ASSERT_TRUE(waitUntilAsleep(log.withMessage(firstLineOfThread).back().thread));
    }

    Peer peer;
    PictureCapture capture;
    korvale::ai::PictureData picture{nullptr, 224, 224, korvale::ai::COLOR_MODE_RGB, 0};
};

}  // namespace tests

#endif
