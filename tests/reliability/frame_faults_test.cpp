// Faults on the way of the frames: the request queue, the capture block, the video pipeline, and the threads
// of a capture.
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <future>
#include <string>

#include "capture_test.h"
#include "fault_table.h"
#include "forked_pipeline.h"
#include "heard.h"
#include "system_faults.h"
#include "without_rights.h"

using namespace std::chrono_literals;
using korvale::ai::PictureData;
using tests::CAPTURE_REQUEST;
using tests::fillFrame;
using tests::ForkedPipeline;
using tests::Heard;
using tests::Peer;
using video::CaptureBlock;

namespace {

constexpr char SENDER[] = "create thread to send message queue.\n";

class FrameFaultTest : public tests::CaptureTest {
  protected:
    std::size_t logged(const std::string& message) const { return log.withMessage(message + "\n").size(); }

    // Requests a frame without waiting for it, and comes back when the request is on the queue and the sender
    // waits for the next one.
    void request(PictureData* wanted = nullptr) {
        const std::size_t sent = logged("mq_send with res: 0.");
        EXPECT_TRUE(capture.getPicture(false, wanted));
        EXPECT_TRUE(log.waitFor("mq_send with res: 0.", sent + 1));
        awaitSleep(SENDER);
    }

    // A frame as asked for.
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

    void restart() {
        capture.stop();
        log.clear();
        start();
    }

    void expectRequestToArrive() {
        request();
        EXPECT_EQ(Peer::receive(), CAPTURE_REQUEST);
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

// As asked for, in one colour.
void answer(unsigned number, CaptureBlock& block) {
    fillFrame(block, block.width, block.height, static_cast<std::uint8_t>(number));
}

// The request queue

class TheQueue : public FrameFaultTest {};

FAULT(TheQueue, Refuses,
      "requests go nowhere and time out; error line `mp_open failed, errno: …`; stopped and started again, "
      "the capture works") {
    tests::failMqOpen(EMFILE);
    capture.start();
    EXPECT_TRUE(log.waitFor("mp_open failed"));
    EXPECT_EQ(logged("mp_open failed, errno: Too many open files(24)."), 1U);
    EXPECT_FALSE(Peer::queueAttributes());
    restart();
    expectRequestToArrive();
}

FAULT(TheQueue, IsLate,
      "a request that is taken late: the frame counts if it comes within the 2 s, or when it is asked for "
      "later") {
    start();
    request(&picture);
    EXPECT_EQ(peer.state(), video::FRAME_REQUESTED);
    const ForkedPipeline pipeline(answer);
    EXPECT_TRUE(capture.picutreCaptureFinished(&picture));
    expectFrame();
}

FAULT(TheQueue, AnswersTwice,
      "a request that somebody left on the queue is answered, too: the client gets its frame") {
    createQueue(20, video::CAPTURE_PERMISSIONS, std::string(CAPTURE_REQUEST.data(), CAPTURE_REQUEST.size()));
    start();
    const ForkedPipeline pipeline(answer);
    expectFrame();
    expectFrame(100, 50);
}

FAULT(TheQueue, Dies,
      "the queue is removed under the sender: requests are sent and reach nobody; stopped and started again, "
      "the capture works") {
    start();
    EXPECT_EQ(mq_unlink(video::REQUEST_QUEUE_NAME), 0);
    request();
    EXPECT_FALSE(Peer::queueAttributes());
    EXPECT_EQ(peer.state(), video::FRAME_REQUESTED);
    restart();
    expectRequestToArrive();
}

FAULT(TheQueue, IsFull,
      "the sixth request that nobody takes: `getPicture()` returns, the sender waits with it; once a place "
      "is free it is sent") {
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

FAULT(TheQueue, HasAnotherGeometry,
      "messages of 10 bytes: no request is sent; error line `ERROR, mq_send(): Message too long(90).`; "
      "stopped (which removes the queue) and started again, the capture works") {
    createQueue(10);
    start();
    capture.getPicture(false, nullptr);
    EXPECT_TRUE(log.waitFor("mq_send with res: -1."));
    EXPECT_EQ(logged("ERROR, mq_send(): Message too long(90)."), 1U);
    awaitSleep(SENDER);
    restart();
    expectRequestToArrive();
}

FAULT(TheQueue, HasOtherRights,
      "a queue that may not be opened: requests go nowhere; error line `mp_open failed, mq_open: Permission "
      "denied(13).`; once it is away, stopped and started again, the capture works") {
    createQueue(20, 0);
    tests::withoutRights([this] {
        capture.start();
        return log.waitFor("mp_open failed");
    });
    EXPECT_EQ(logged("mp_open failed, mq_open: Permission denied(13)."), 1U);
    EXPECT_EQ(mq_unlink(video::REQUEST_QUEUE_NAME), 0);
    restart();
    expectRequestToArrive();
}

NO_FAULT(TheQueue, NeverAnswers, "A queue answers nothing; what never takes its requests is the pipeline.");
NO_FAULT(
    TheQueue, IsOutOfOrder,
    "All requests have one priority and one text: the kernel keeps their order, and it would not matter.");

// The capture block

class TheSegment : public FrameFaultTest {};

FAULT(TheSegment, Refuses,
      "`initShareMemory()` is false; error line `shmat Error.`; no request may follow until it succeeds") {
    tests::failNextShmat(ENOMEM);
    EXPECT_FALSE(capture.initShareMemory());
    EXPECT_EQ(logged("shmat Error."), 1U);
    start();
    expectRequestToArrive();
}

FAULT(TheSegment, AnswersTwice,
      "a block that is there already, of an earlier process: it is used, and cleared") {
    const int id = createSegment(sizeof(CaptureBlock));
    peer.deliver(100, 50, 7);
    start();
    EXPECT_EQ(shmget(video::CAPTURE_BLOCK_KEY, 0, 0), id);
    EXPECT_EQ(peer.block().pixels[0], 0);
    EXPECT_EQ(peer.block().width, 0U);
    const ForkedPipeline pipeline(answer);
    expectFrame();
}

FAULT(TheSegment, Dies,
      "the segment is removed under the capture: no frame comes, `getPicture()` is false after 2 s; error "
      "line `time out.`; stopped and started again, the capture works") {
    start();
    removeSegment();
    const ForkedPipeline pipeline(answer);
    expectTimeOut();
    restart();
    expectFrame();
}

FAULT(TheSegment, HasAnotherGeometry,
      "a smaller segment of that key: `initShareMemory()` is false; error lines `shmget Error.`, and "
      "`m_pshareMemory is NULL.` of a wait; once it is away, the capture works") {
    ASSERT_NE(createSegment(100), -1);
    EXPECT_FALSE(capture.initShareMemory());
    EXPECT_EQ(logged("shmget Error."), 1U);
    EXPECT_FALSE(capture.picutreCaptureFinished(&picture));
    EXPECT_EQ(logged("m_pshareMemory is NULL."), 1U);
    removeSegment();
    start();
    const ForkedPipeline pipeline(answer);
    expectFrame();
}

FAULT(TheSegment, HasOtherRights,
      "a segment that may not be opened: `initShareMemory()` is false; error line `shmget Error.`; once it "
      "is away, the capture works") {
    ASSERT_NE(createSegment(sizeof(CaptureBlock), 0), -1);
    EXPECT_FALSE(tests::withoutRights([this] { return capture.initShareMemory(); }));
    EXPECT_EQ(logged("shmget Error."), 1U);
    removeSegment();
    start();
    expectRequestToArrive();
}

NO_FAULT(TheSegment, IsLate, "Memory is there or not.");
NO_FAULT(TheSegment, NeverAnswers, "Memory answers nothing; what never fills it is the pipeline.");
NO_FAULT(TheSegment, IsOutOfOrder,
         "The state word orders what is written: it is stored last and read first.");
NO_FAULT(TheSegment, IsOfAnotherType,
         "A segment has no type; of its contents nothing is trusted but the state.");
NO_FAULT(TheSegment, IsFull,
         "A system without room for the segment refuses it: the same line `shmget Error.`.");

// The video pipeline

class ThePipelineProcess : public FrameFaultTest {};

FAULT(ThePipelineProcess, IsLate, "`getPicture()` is true when the frame is there, within 2 s") {
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

FAULT(ThePipelineProcess, NeverAnswers,
      "`getPicture()` is false after 2 s, the picture as it was; error line `time out.`; the next request is "
      "answered") {
    start();
    const ForkedPipeline pipeline([](unsigned number, CaptureBlock& block) {
        if (number > 1) answer(number, block);
    });
    expectTimeOut();
    expectFrame();
}

FAULT(ThePipelineProcess, AnswersTwice,
      "a second frame for one request overwrites the first; the client got one, and gets the next") {
    start();
    const ForkedPipeline pipeline([](unsigned number, CaptureBlock& block) {
        answer(number, block);
        answer(number, block);
    });
    expectFrame();
    expectFrame(100, 50);
}

FAULT(ThePipelineProcess, IsOutOfOrder,
      "a frame of the request before: the client gets it, with the size that the pipeline tells") {
    start();
    // The first it leaves unanswered until the second is there.
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

FAULT(ThePipelineProcess, IsOfAnotherType,
      "another colour mode than asked for in the block: the client is told RGB, whatever stands there") {
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

FAULT(ThePipelineProcess, HasAnotherGeometry,
      "a size that is not that asked for, even one that the block cannot hold: the client is told it as it "
      "stands there") {
    start();
    const ForkedPipeline pipeline([](unsigned number, CaptureBlock& block) {
        if (number == 1) {
            fillFrame(block, 70'000, 0xFFFFFFFF, 1);
        } else {
            answer(number, block);
        }
    });
    EXPECT_TRUE(capture.getPicture(true, &picture));
    EXPECT_EQ(picture.width, 70'000U);
    EXPECT_EQ(picture.height, 0xFFFFFFFFU);
    expectFrame();
}

NO_FAULT(ThePipelineProcess, Refuses, "It has no answer but a frame: one that will not deliver is silent.");
NO_FAULT(ThePipelineProcess, IsFull,
         "It works off one request after the other; those that it has not taken fill the queue.");
NO_FAULT(ThePipelineProcess, HasOtherRights, "One that may not open the queue or the block is silent.");

#ifdef WITH_PIPELINE_PROCESS

FAULT(ThePipelineProcess, Dies,
      "`getPicture()` is false after 2 s; error line `time out.`; when it has been started again, the same "
      "capture goes on") {
    ASSERT_TRUE(television.video().start()) << television.video().error();
    start();
    expectFrame();
    television.video().kill();
    expectTimeOut();
    ASSERT_TRUE(television.video().start()) << television.video().error();
    expectFrame(100, 50);
}

FAULT(TheQueue, IsOfAnotherType,
      "a message that is no request: the pipeline drops it, and answers the request behind it") {
    createQueue(20, video::CAPTURE_PERMISSIONS, "a text of 20 letters");
    ASSERT_TRUE(television.video().start()) << television.video().error();
    start();
    expectFrame();
    expectFrame(100, 50);
}

#endif

// The threads of a capture

class TheThreadCreation : public FrameFaultTest {};

FAULT(TheThreadCreation, NeverAnswers,
      "no checking thread, which nobody notices: the callback is never called; stopped and started again, it "
      "is") {
    Heard heard;
    capture.registerCallBack(
        [](bool success, PictureData*, void* target) {
            static_cast<Heard*>(target)->add(success ? "a frame" : "none");
        },
        &heard);
    television.threads().fail(1, 1);
    start();
    const ForkedPipeline pipeline(answer);
    request(&picture);
    EXPECT_TRUE(capture.picutreCaptureFinished(&picture));
    EXPECT_EQ(heard.count(), 0U);
    restart();
    awaitSleep("create thread check caputre.\n");
    request(&picture);
    EXPECT_TRUE(heard.waitFor("a frame"));
    capture.stop();  // calls back once more
}

}  // namespace
