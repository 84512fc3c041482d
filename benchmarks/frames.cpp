// A frame: the time of the hand-over beyond the polling period, and the CPU time of the wait.
#include <mqueue.h>
#include <sys/shm.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include "measure.h"
#include "platform_adaptation/picture_capture.h"
#include "still_model.h"
#include "video/capture_block.h"

namespace benchmarks {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double POLL_PERIOD = 0.050;

double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A capture and its capture block. This program acts as the video pipeline.
struct Capture {
    Capture() {
        quiet();
        capture.start();
        const int id = shmget(video::CAPTURE_BLOCK_KEY, sizeof(video::CaptureBlock), 0666);
        block = static_cast<video::CaptureBlock*>(shmat(id, nullptr, 0));
        initPictureData(picture);
        while ((queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY | O_NONBLOCK)) == -1)
            std::this_thread::yield();
    }
    ~Capture() {
        drain();
        mq_close(queue);
        shmdt(block);
    }
    // Removes the requests from the queue; this pipeline does not read them.
    void drain() const {
        char message[video::REQUEST_SIZE];
        while (mq_receive(queue, message, sizeof message, nullptr) >= 0) {
        }
    }

    PictureCapture capture;
    video::CaptureBlock* block = nullptr;
    korvale::ai::PictureData picture{};
    mqd_t queue = -1;
};

// Measures from the end of the polling period to the return. The frame has been ready for half a period. The
// floor is the same pause without the library.
void handOver(benchmark::State& state) {
    Capture capture;
    double copied = 0;
    for ([[maybe_unused]] auto once : state) {
        std::thread pipeline([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
            std::atomic_ref<std::uint32_t>(capture.block->state)
                .store(video::FRAME_READY, std::memory_order_release);
        });
        const auto start = Clock::now();
        capture.capture.getPicture(true, &capture.picture);
        state.SetIterationTime(secondsSince(start) - POLL_PERIOD);
        pipeline.join();
        capture.drain();
        const auto* const data = static_cast<const std::uint8_t*>(capture.picture.data);
        const bool inPlace = data != nullptr && capture.picture.width == capture.block->width;
        if (!inPlace) copied += static_cast<double>(video::CAPTURE_PIXEL_BYTES);
    }
    state.counters["bytes"] = copied;
}

void handOverFloor(benchmark::State& state) {
    for ([[maybe_unused]] auto once : state) {
        const auto start = Clock::now();
        usleep(static_cast<useconds_t>(POLL_PERIOD * 1e6));
        state.SetIterationTime(secondsSince(start) - POLL_PERIOD);
    }
}

// CPU time of a thread that waits for a frame that never arrives, in percent of the waiting time.
void wait(benchmark::State& state) {
    Capture capture;
    double share = 0;
    for ([[maybe_unused]] auto once : state) {
        const auto start = Clock::now();
        const double before = processorSeconds();
        capture.capture.getPicture(true, &capture.picture);
        share = 100 * (processorSeconds() - before) / secondsSince(start);
        capture.drain();
    }
    state.counters["percent"] = share;
}

}  // namespace

void addFrames() {
    benchmark::RegisterBenchmark("frame_hand_over/library", handOver)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond)
        ->Iterations(1)
        ->Repetitions(20);
    benchmark::RegisterBenchmark("frame_hand_over/usleep", handOverFloor)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond)
        ->Iterations(1)
        ->Repetitions(20);
    benchmark::RegisterBenchmark("frame_wait/library", wait)
        ->UseRealTime()
        ->Unit(benchmark::kSecond)
        ->Iterations(1)
        ->Repetitions(1);
}

}  // namespace benchmarks
