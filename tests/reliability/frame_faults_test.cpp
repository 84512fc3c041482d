// Faults of the request queue, the capture block, the video pipeline, and the threads of a capture.
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <future>
#include <string>

#include "capture_test.h"
#include "eventually.h"
#include "forked_pipeline.h"
#include "received.h"
#include "system_faults.h"
#include "without_rights.h"

using namespace std::chrono_literals;
using korvale::ai::PictureData;
using tests::CAPTURE_REQUEST;
using tests::fillFrame;
using tests::ForkedPipeline;
using tests::Peer;
using tests::Received;
using video::CaptureBlock;

namespace {

constexpr char SENDER[] = "create thread to send message queue.\n";

class FrameFaultTest : public tests::CaptureTest {
  protected:
    std::size_t logged(const std::string& message) const { return log.withMessage(message + "\n").size(); }

    // Requests a frame without waiting for it. Returns when the request is on the queue and the sender waits
    // for the next one.
    void request(PictureData* wanted = nullptr) {
        const std::size_t sent = logged("mq_send with res: 0.");
        EXPECT_TRUE(capture.getPicture(false, wanted));
        EXPECT_TRUE(log.waitFor("mq_send with res: 0.", sent + 1));
        awaitSleep(SENDER);
    }

    // Requests a frame and expects one with the requested size.
    void expectFrame(unsigned width = 224, unsigned height = 224) {
        awaitSleep(SENDER);
        picture = {nullptr, width, height, korvale::ai::COLOR_MODE_RGB, 0};
        EXPECT_TRUE(capture.getPicture(true, &picture));
        EXPECT_NE(picture.data, nullptr);
        EXPECT_EQ(picture.width, width);
        EXPECT_EQ(picture.height, height);
    }

    void expectTimeOut() {
        awaitSleep(SENDER);
        const std::size_t before = logged("time out.");
        PictureData untouched{nullptr, 100, 50, korvale::ai::COLOR_MODE_BGR, 3};
        EXPECT_FALSE(capture.getPicture(true, &untouched));
        EXPECT_EQ(untouched.data, nullptr);
        EXPECT_EQ(untouched.width, 100U);
        EXPECT_EQ(untouched.height, 50U);
        EXPECT_EQ(logged("time out."), before + 1);
    }

    static void createQueue(long messageSize, mode_t rights = video::CAPTURE_PERMISSIONS,
                            const std::string& message = std::string()) {
        mq_attr attributes{};
        attributes.mq_maxmsg = video::REQUEST_QUEUE_DEPTH;
        attributes.mq_msgsize = messageSize;
        const mqd_t queue =
            mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_CREAT | O_EXCL, rights, &attributes);
        ASSERT_NE(queue, -1);
        if (!message.empty()) {
            EXPECT_EQ(mq_send(queue, message.data(), message.size(), 0), 0);
        }
        mq_close(queue);
    }

    static int createSegment(std::size_t size, int rights = static_cast<int>(video::CAPTURE_PERMISSIONS)) {
        return shmget(video::CAPTURE_BLOCK_KEY, size, IPC_CREAT | IPC_EXCL | rights);
    }

    static void removeSegment() {
        EXPECT_EQ(shmctl(shmget(video::CAPTURE_BLOCK_KEY, 0, 0), IPC_RMID, nullptr), 0);
    }
};

// Answers with a frame of the requested size in one colour.
void answer(unsigned number, CaptureBlock& block) {
    fillFrame(block, block.width, block.height, static_cast<std::uint8_t>(number));
}

// The request queue

class TheQueue : public FrameFaultTest {};

TEST_F(TheQueue, KeepsARequestUntilThePipelineTakesIt) {
    start();
    request(&picture);
    EXPECT_EQ(peer.state(), video::FRAME_REQUESTED);
    const ForkedPipeline pipeline(answer);
    EXPECT_TRUE(capture.picutreCaptureFinished(&picture));
    expectFrame();
}

TEST_F(TheQueue, MayHaveARequestOfAnotherProgram) {
    createQueue(20, video::CAPTURE_PERMISSIONS, std::string(CAPTURE_REQUEST.data(), CAPTURE_REQUEST.size()));
    start();
    const ForkedPipeline pipeline(answer);
    EXPECT_TRUE(tests::eventually([&] { return pipeline.answered() == 1; }));
    expectFrame();
    expectFrame(100, 50);
}

TEST_F(TheQueue, ThatIsRemovedIsCreatedAgainByARestart) {
    start();
    EXPECT_EQ(mq_unlink(video::REQUEST_QUEUE_NAME), 0);
    request();
    EXPECT_FALSE(Peer::queueAttributes());
    EXPECT_EQ(peer.state(), video::FRAME_REQUESTED);
    restart();
    expectRequestToArrive();
}

TEST_F(TheQueue, ThatIsFullDelaysTheSender) {
    start();
    for (int i = 0; i < video::REQUEST_QUEUE_DEPTH; ++i) request();
    EXPECT_TRUE(capture.getPicture(false, nullptr));
    awaitSleep(SENDER);
    EXPECT_EQ(Peer::queueAttributes()->mq_curmsgs, video::REQUEST_QUEUE_DEPTH);
    EXPECT_EQ(logged("mq_send with res: 0."), 5U);
    EXPECT_EQ(Peer::receive(), CAPTURE_REQUEST);
    EXPECT_TRUE(log.waitFor("mq_send with res: 0.", 6));
    for (int i = 0; i < video::REQUEST_QUEUE_DEPTH; ++i) EXPECT_EQ(Peer::receive(), CAPTURE_REQUEST);
    awaitSleep(SENDER);
    expectRequestToArrive();
}

// The capture block

class TheSegment : public FrameFaultTest {};

TEST_F(TheSegment, ThatCannotBeAttachedIsAttachedLater) {
    tests::failNextShmat(ENOMEM);
    EXPECT_FALSE(capture.initShareMemory());
    EXPECT_EQ(logged("shmat Error."), 1U);
    start();
    expectRequestToArrive();
}

TEST_F(TheSegment, ThatIsRemovedIsCreatedAgainByARestart) {
    start();
    removeSegment();
    const ForkedPipeline pipeline(answer);
    expectTimeOut();
    restart();
    expectFrame();
}

TEST_F(TheSegment, WithoutPermissionsIsRefused) {
    ASSERT_NE(createSegment(sizeof(CaptureBlock), 0), -1);
    EXPECT_FALSE(tests::withoutRights([this] { return capture.initShareMemory(); }));
    EXPECT_EQ(logged("shmget Error."), 1U);
    removeSegment();
    start();
    expectRequestToArrive();
}

// The video pipeline

class ThePipelineProcess : public FrameFaultTest {};

TEST_F(ThePipelineProcess, MayAnswerLateWithinTheTimeout) {
    start();
    const ForkedPipeline pipeline([](unsigned number, CaptureBlock& block) {
        if (number == 1) usleep(300'000);
        answer(number, block);
    });
    const auto begin = std::chrono::steady_clock::now();
    expectFrame();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 300ms);
    expectFrame();
}

TEST_F(ThePipelineProcess, MayAnswerARequestTwice) {
    start();
    const ForkedPipeline pipeline([](unsigned number, CaptureBlock& block) {
        answer(number, block);
        answer(number, block);
    });
    expectFrame();
    EXPECT_TRUE(tests::eventually([&] { return pipeline.answered() == 1; }));
    expectFrame(100, 50);
}

TEST_F(ThePipelineProcess, MayAnswerWithThePreviousFrame) {
    start();
    // The pipeline answers the first request only when the second one arrives.
    const ForkedPipeline pipeline([](unsigned number, CaptureBlock& block) {
        if (number == 2) fillFrame(block, 160, 90, 1);
        if (number > 2) answer(number, block);
    });
    PictureData first{nullptr, 160, 90, korvale::ai::COLOR_MODE_RGB, 0};
    request(&first);
    EXPECT_TRUE(capture.getPicture(true, &picture));
    EXPECT_EQ(picture.width, 160U);
    expectFrame();
}

TEST_F(ThePipelineProcess, CannotChangeTheReportedColourMode) {
    start();
    const ForkedPipeline pipeline([](unsigned number, CaptureBlock& block) {
        if (number == 1) block.colorMode = korvale::ai::COLOR_MODE_BGRA;
        answer(number, block);
    });
    picture.colorMode = korvale::ai::COLOR_MODE_BGR;
    EXPECT_TRUE(capture.getPicture(true, &picture));
    EXPECT_EQ(picture.colorMode, korvale::ai::COLOR_MODE_RGB);
    expectFrame();
}

#ifdef WITH_PIPELINE_PROCESS

TEST_F(ThePipelineProcess, ThatIsKilledTimesOutUntilItIsRestarted) {
    ASSERT_TRUE(television.video().start()) << television.video().error();
    start();
    expectFrame();
    television.video().kill();
    expectTimeOut();
    ASSERT_TRUE(television.video().start()) << television.video().error();
    expectFrame(100, 50);
}

TEST_F(TheQueue, DropsAMessageThatIsNoRequest) {
    createQueue(20, video::CAPTURE_PERMISSIONS, "a text of 20 letters");
    ASSERT_TRUE(television.video().start()) << television.video().error();
    start();
    expectFrame();
    expectFrame(100, 50);
}

#endif

// The threads of a capture

class TheThreadCreation : public FrameFaultTest {};

TEST_F(TheThreadCreation, ThatFailsForTheCheckingThreadStopsCallbacks) {
    Received received;
    capture.registerCallBack(
        [](bool success, PictureData*, void* target) {
            static_cast<Received*>(target)->add(success ? "a frame" : "none");
        },
        &received);
    television.threads().fail(1, 1);
    start();
    const ForkedPipeline pipeline(answer);
    request(&picture);
    EXPECT_TRUE(capture.picutreCaptureFinished(&picture));
    EXPECT_EQ(received.count(), 0U);
    restart();
    awaitSleep("create thread check caputre.\n");
    request(&picture);
    EXPECT_TRUE(received.waitFor("a frame"));
    capture.stop();  // calls the callback once more, while `received` still exists
}

}  // namespace
