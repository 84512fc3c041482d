// The checks of frame capture, with real queues, segments and pipelines that have one fault each.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <mqueue.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <future>
#include <thread>

#include "checks.h"
#include "doctor_results.h"
#include "forked_pipeline.h"
#include "television_test.h"
#include "video/capture_block.h"
#include "without_rights.h"

using conformance::Result;
using testing::HasSubstr;
using testing::Not;
using tests::examine;
using tests::expectAllPassed;
using tests::expectOnlyFailure;

namespace {

constexpr char QUEUE_CHECK[] = "queue /picture_capture_message_queue";
constexpr char SEGMENT_CHECK[] = "segment 72314";
constexpr mode_t RIGHTS = 0666;

bool queueExists() {
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY);
    if (queue != -1) mq_close(queue);
    return queue != -1;
}

// Creates a queue of another program, with requests that nobody receives.
void createQueue(long messageSize, mode_t rights = RIGHTS, int requests = 0) {
    mq_attr attributes{};
    attributes.mq_maxmsg = video::REQUEST_QUEUE_DEPTH;
    attributes.mq_msgsize = messageSize;
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_CREAT | O_EXCL, rights, &attributes);
    ASSERT_NE(queue, -1);
    for (int i = 0; i < requests; ++i) EXPECT_EQ(mq_send(queue, "request", 7, 0), 0);
    mq_close(queue);
}

void createSegment(std::size_t size, int rights = static_cast<int>(RIGHTS)) {
    ASSERT_NE(shmget(video::CAPTURE_BLOCK_KEY, size, IPC_CREAT | IPC_EXCL | rights), -1);
}

std::vector<Result> examineWithoutRights(const tests::Names& only) {
    return tests::withoutRights([&] { return examine(only); });
}

class ADoctorOfFrames : public tests::TelevisionTest {
  protected:
    ADoctorOfFrames() { removeEverything(); }
    ~ADoctorOfFrames() override {
        television.video().stop();
        removeEverything();
    }

    static void removeEverything() {
        mq_unlink(video::REQUEST_QUEUE_NAME);
        if (const int id = shmget(video::CAPTURE_BLOCK_KEY, 0, 0); id != -1) shmctl(id, IPC_RMID, nullptr);
    }

    void startPipeline() { ASSERT_TRUE(television.video().start()) << television.video().error(); }

    static std::vector<Result> examineAll() { return examine({"queue", "segment", "frame", "callback"}); }
};

TEST_F(ADoctorOfFrames, FindsNoFaultInAWorkingPipeline) {
    startPipeline();
    const std::vector<Result> results = examineAll();
    expectAllPassed(results);
    EXPECT_THAT(results[3].advice, Not(HasSubstr("one colour")));
    EXPECT_THAT(results[3].finding,
                testing::ContainsRegex("5 frames of 224 x 224 in [0-9]+ ms / [0-9]+ ms / "));
    EXPECT_FALSE(queueExists());
}

TEST_F(ADoctorOfFrames, DetectsAnInterruptedFrameStream) {
    std::atomic<bool> stop{false};
    startPipeline();
    const auto stream = [&] {
        conformance::Examination examination({conformance::streamCheck(std::chrono::milliseconds(500))});
        return examination.run(stop).front();
    };
    const Result coming = stream();
    EXPECT_EQ(coming.verdict, conformance::Verdict::PASSED);
    EXPECT_THAT(coming.finding, testing::ContainsRegex("[0-9]+ frames in 0.5 s, [0-9]+ ms / "));
    television.video().stop();
    const Result missing = stream();
    EXPECT_EQ(missing.verdict, conformance::Verdict::FAILED);
    EXPECT_THAT(missing.finding, HasSubstr("no frame arrived"));
}

TEST_F(ADoctorOfFrames, DoesNotChangeAnExistingQueueAndSegment) {
    createQueue(static_cast<long>(video::REQUEST_SIZE), RIGHTS, 3);
    createSegment(sizeof(video::CaptureBlock));
    const std::vector<Result> results = examine({"queue", "segment"});
    expectAllPassed(results);
    EXPECT_THAT(results[1].finding, HasSubstr("3 of 5 requests waiting"));
    EXPECT_TRUE(queueExists());
    EXPECT_NE(shmget(video::CAPTURE_BLOCK_KEY, sizeof(video::CaptureBlock), 0), -1);
}

TEST_F(ADoctorOfFrames, RemovesItsQueueAndSegment) {
    expectAllPassed(examine({"queue", "segment"}));
    EXPECT_FALSE(queueExists());
    EXPECT_EQ(shmget(video::CAPTURE_BLOCK_KEY, 0, 0), -1);
}

TEST_F(ADoctorOfFrames, FindsAQueueOfAnotherSize) {
    createQueue(64);
    expectOnlyFailure(examineAll(), QUEUE_CHECK, "exists with messages of 64 bytes instead of 20");
}

TEST_F(ADoctorOfFrames, FindsAFullQueue) {
    createQueue(static_cast<long>(video::REQUEST_SIZE), RIGHTS, 5);
    expectOnlyFailure(examineAll(), QUEUE_CHECK, "is full, 5 of 5 requests waiting");
}

TEST_F(ADoctorOfFrames, FindsMissingRightsOnTheQueue) {
    createQueue(static_cast<long>(video::REQUEST_SIZE), 0);
    expectOnlyFailure(examineWithoutRights({"queue", "frame"}), QUEUE_CHECK,
                      "cannot be opened: Permission denied (errno 13)");
}

TEST_F(ADoctorOfFrames, FindsASegmentOfAnotherSize) {
    createSegment(4096);
    expectOnlyFailure(examineAll(), SEGMENT_CHECK, "exists with 4096 bytes instead of 150552");
}

TEST_F(ADoctorOfFrames, FindsMissingRightsOnTheSegment) {
    createSegment(sizeof(video::CaptureBlock), 0);
    const std::vector<Result> results = examineWithoutRights({"segment", "frame"});
    expectOnlyFailure(results, SEGMENT_CHECK,
                      "cannot be opened: Permission denied (errno 13); it belongs to user ");
    EXPECT_THAT(results[1].finding, HasSubstr("with the rights 0"));
}

TEST_F(ADoctorOfFrames, RequestsNoFrameWhileAnotherProgramCaptures) {
    createQueue(static_cast<long>(video::REQUEST_SIZE));
    startPipeline();
    expectOnlyFailure(examineAll(), "frame", "the request queue exists already");
    EXPECT_TRUE(queueExists());
}

TEST_F(ADoctorOfFrames, FindsAMissingPipeline) {
    expectOnlyFailure(examineAll(), "frame", "no frame arrived, 3 requests waited 2 s each");
    EXPECT_FALSE(queueExists());
}

TEST_F(ADoctorOfFrames, FindsAPipelineThatHangs) {
    startPipeline();
    television.video().stall();
    expectOnlyFailure(examineAll(), "frame", "no frame arrived");
    television.video().resume();
}

TEST_F(ADoctorOfFrames, FindsAPipelineThatDies) {
    startPipeline();
    television.video().kill();
    expectOnlyFailure(examineAll(), "frame", "no frame arrived");
}

TEST_F(ADoctorOfFrames, FindsAMissingCallback) {
    startPipeline();
    // Fails the third thread, which would call back: the frame check starts one thread before it, and so does
    // the callback check.
    television.threads().fail(1, 2);
    expectOnlyFailure(examineAll(), "callback", "no frame arrived");
}

TEST_F(ADoctorOfFrames, FindsAFailedThreadCreation) {
    television.threads().fail(1);
    expectOnlyFailure(examineAll(), "frame", "the library did not create the request queue");
}

// Answers with frames of one colour and of this size, whatever size was requested.
tests::ForkedPipeline::Answer grey(std::uint32_t width, std::uint32_t height) {
    return [=](unsigned, video::CaptureBlock& block) { tests::fillFrame(block, width, height, 77); };
}

TEST_F(ADoctorOfFrames, FindsFramesOfAnotherSize) {
    const tests::ForkedPipeline pipeline(grey(160, 90));
    expectOnlyFailure(examineAll(), "frame", "224 x 224 was requested, 160 x 90 came");
}

TEST_F(ADoctorOfFrames, WarnsOfFramesOfOneColour) {
    const tests::ForkedPipeline pipeline(grey(224, 224));
    const std::vector<Result> results = examineAll();
    expectAllPassed(results);
    EXPECT_THAT(results[3].advice, HasSubstr("All frames have one colour"));
}

}  // namespace
