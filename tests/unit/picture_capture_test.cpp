#include "platform_adaptation/picture_capture.h"

#include <fcntl.h>
#include <mqueue.h>
#include <sys/shm.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <future>
#include <optional>
#include <thread>

#include "capture_test.h"
#include "eventually.h"
#include "system_faults.h"

using korvale::ai::ColorMode;
using korvale::ai::PictureData;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using tests::CAPTURE_REQUEST;
using tests::ERROR;
using tests::INFO;
using tests::LogLine;
using tests::Message;
using tests::Peer;
using tests::TRACE;
using video::CaptureBlock;

namespace {

constexpr char FILE_NAME[] = "picture_capture.cpp";
constexpr char SOURCE_PATH[] = "source/platform_adaptation/src/picture_capture.cpp";

struct Delivery {
    bool success;
    PictureData picture;
    pid_t thread;
};

// A client that records the calls of its callback.
class Client {
  public:
    static void callBack(bool success, PictureData* picture, void* userData) {
        Client& client = *static_cast<Client*>(userData);
        if (client.m_gate.valid()) client.m_gate.wait();
        const std::lock_guard lock(client.m_mutex);
        client.m_deliveries.push_back({success, *picture, gettid()});
        client.m_changed.notify_all();
    }

    bool waitFor(std::size_t count) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, seconds(30), [&] { return m_deliveries.size() >= count; });
    }

    std::vector<Delivery> deliveries() {
        const std::lock_guard lock(m_mutex);
        return m_deliveries;
    }

    // Blocks callbacks until `gate` is ready.
    void holdUntil(std::shared_future<void> gate) { m_gate = std::move(gate); }

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Delivery> m_deliveries;
    std::shared_future<void> m_gate;
};

class PictureCaptureTest : public tests::CaptureTest {
  protected:
    // Stops the capture while `client` still exists: stop() calls the callback once more.
    ~PictureCaptureTest() override { capture.stop(); }

    std::size_t logged(unsigned level, const char* function, const std::string& message) const {
        return log.count(LogLine{level, FILE_NAME, function, message});
    }

    Client client;
};

class TheCaptureBlock : public PictureCaptureTest {};
class Starting : public PictureCaptureTest {};
class TheRequestQueue : public PictureCaptureTest {};
class ARequest : public PictureCaptureTest {};
class WaitingForAFrame : public PictureCaptureTest {};
class TheCallback : public PictureCaptureTest {};
class Stopping : public PictureCaptureTest {};
// With all log levels off, failures have the same results, and nothing is printed.
class ADisabledLog : public PictureCaptureTest {
  protected:
    void SetUp() override { television.debugOutput().setVerbosity(simulated::DebugOutput::Verbosity::OFF); }
    void TearDown() override { EXPECT_EQ(log.lines().size(), 0U); }
};
// Uses the thread functions that a capture, now stopped, has passed to the platform.
class TheThreadFunctions : public PictureCaptureTest {
  protected:
    void SetUp() override {
        capture.registerCallBack(Client::callBack, &client);
        start();
        capture.stop();
        const auto created = television.threads().created();
        ASSERT_EQ(created.size(), 2U);
        send = created[0].routine;
        check = created[1].routine;
        log.clear();
    }

    void* (*send)(void*) = nullptr;
    void* (*check)(void*) = nullptr;
};

// The capture block

TEST_F(TheCaptureBlock, IsCreatedClearedAndMarkedWithItsSize) {
    EXPECT_TRUE(capture.initShareMemory());
    shmid_ds status{};
    ASSERT_EQ(shmctl(shmget(0x11A7A, 0, 0), IPC_STAT, &status), 0);
    EXPECT_EQ(status.shm_segsz, 150552U);
    EXPECT_EQ(status.shm_perm.mode & 0777U, 0666U);
    EXPECT_EQ(peer.block().totalSize, 150552U);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&peer.block());
    EXPECT_TRUE(
        std::all_of(bytes + 4, bytes + sizeof(CaptureBlock), [](unsigned char byte) { return byte == 0; }));
    EXPECT_EQ(log.countEnter(FILE_NAME, "initShareMemory"), 1U);
    EXPECT_EQ(logged(INFO, "initShareMemory", "shmget key: 72314, allocSize: 150552.\n"), 1U);
    EXPECT_EQ(logged(INFO, "initShareMemory", "init share memory.\n"), 1U);
}

TEST_F(TheCaptureBlock, OfAnEarlierProcessIsReusedAndCleared) {
    const int id = shmget(72314, sizeof(CaptureBlock), IPC_CREAT | 0666);
    peer.block().pixels[100] = 7;
    EXPECT_TRUE(capture.initShareMemory());
    EXPECT_EQ(shmget(72314, 0, 0), id);
    EXPECT_EQ(peer.block().pixels[100], 0);
}

TEST_F(TheCaptureBlock, OfASmallerSizeIsRefused) {
    ASSERT_NE(shmget(72314, 100, IPC_CREAT | 0666), -1);
    EXPECT_FALSE(capture.initShareMemory());
    EXPECT_EQ(logged(ERROR, "initShareMemory", "shmget Error.\n"), 1U);
    EXPECT_EQ(log.withMessage("init share memory.\n").size(), 0U);
    EXPECT_FALSE(capture.picutreCaptureFinished(&picture));
    EXPECT_EQ(logged(ERROR, "picutreCaptureFinished", "m_pshareMemory is NULL.\n"), 1U);
    EXPECT_EQ(shmctl(shmget(72314, 0, 0), IPC_RMID, nullptr), 0);
    start();
    expectRequestToArrive();
}

TEST_F(TheCaptureBlock, ThatCannotBeAttachedCrashesARequest) {
    tests::failNextShmat(ENOMEM);
    EXPECT_FALSE(capture.initShareMemory());
    EXPECT_EQ(logged(ERROR, "initShareMemory", "shmat Error.\n"), 1U);
    EXPECT_EQ(log.withMessage("init share memory.\n").size(), 0U);
    // The capture keeps the invalid pointer that shmat returned; the next use crashes.
    EXPECT_DEATH(capture.getPicture(false, nullptr), "");
    EXPECT_DEATH(capture.picutreCaptureFinished(&picture), "");
}

TEST_F(TheCaptureBlock, ThatDoesNotExistCrashesARequest) {
    EXPECT_DEATH(capture.getPicture(false, nullptr), "");
}

// start()

TEST_F(Starting, WithoutACallbackCreatesTheSenderThreadOnly) {
    start();
    ASSERT_EQ(television.threads().created().size(), 1U);
    EXPECT_EQ(television.threads().created()[0].file, SOURCE_PATH);
    EXPECT_GT(television.threads().created()[0].line, 0);
    EXPECT_EQ(log.countEnter(FILE_NAME, "start"), 1U);
    EXPECT_EQ(logged(INFO, "start", "create send message queue thread success.\n"), 1U);
    EXPECT_EQ(log.withMessage("create check capture thread success.\n").size(), 0U);
    EXPECT_EQ(logged(INFO, "threadSendMessageQueueForPicture", "create thread to send message queue.\n"), 1U);
    EXPECT_EQ(log.countEnter(FILE_NAME, "handleSendMessageQueue"), 1U);
}

TEST_F(Starting, WithACallbackCreatesBothThreads) {
    capture.registerCallBack(Client::callBack, &client);
    EXPECT_TRUE(log.lines().empty());
    start();
    ASSERT_EQ(television.threads().created().size(), 2U);
    EXPECT_EQ(television.threads().created()[1].file, SOURCE_PATH);
    EXPECT_EQ(logged(INFO, "start", "create check capture thread success.\n"), 1U);
    EXPECT_EQ(logged(INFO, "threadCheckCaptureProc", "create thread check caputre.\n"), 1U);
}

TEST_F(Starting, LogsItsReturnAndDestroysItsThreadAttributes) {
    start();
    EXPECT_EQ(television.threads().attributesInUse(), 0);
    const std::vector<LogLine> lines = log.lines();
    const auto isReturn = [](const LogLine& line) {
        return line ==
               LogLine{TRACE, FILE_NAME, "start", "[start][" + std::to_string(line.number) + "] RETURN\n"};
    };
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), isReturn), 1);
}

TEST_F(Starting, TwiceChangesNothing) {
    start();
    log.clear();
    capture.start();
    EXPECT_EQ(logged(INFO, "start", "m_loopSendMessageQueue is true, do not need to create thread again.\n"),
              1U);
    EXPECT_EQ(log.lines().size(), 2U);  // this line and the ENTER line
    EXPECT_EQ(television.threads().created().size(), 1U);
}

TEST_F(Starting, WithoutAThreadIsLoggedAndCanBeRepeated) {
    television.threads().fail(1);
    capture.start();
    EXPECT_EQ(logged(ERROR, "start", "pthread_create() failed.\n"), 1U);
    EXPECT_EQ(television.threads().created().size(), 0U);
    // A known leak that is kept: the attributes of the failed attempt are not destroyed.
    EXPECT_EQ(television.threads().attributesInUse(), 1);
    start();
    EXPECT_EQ(television.threads().created().size(), 1U);
}

TEST_F(Starting, WithoutTheCheckingThreadLogsSuccessAndCanBeStopped) {
    capture.registerCallBack(Client::callBack, &client);
    television.threads().fail(1, 1);
    start();
    EXPECT_EQ(logged(INFO, "start", "create check capture thread success.\n"), 1U);
    EXPECT_EQ(television.threads().created().size(), 1U);
    capture.stop();
    EXPECT_TRUE(client.deliveries().empty());
}

TEST_F(Starting, WithoutThreadAttributesIsLoggedAndCanBeRepeated) {
    tests::failNextThreadAttributes(ENOMEM);
    capture.start();
    EXPECT_EQ(logged(ERROR, "start", "pthread_create() failed.\n"), 1U);
    EXPECT_TRUE(television.threads().created().empty());
    EXPECT_EQ(television.threads().attributesInUse(), 0);
    start();
    EXPECT_EQ(television.threads().created().size(), 1U);
}

TEST_F(Starting, WithoutACaptureBlockStillCreatesTheThread) {
    ASSERT_NE(shmget(72314, 100, IPC_CREAT | 0666), -1);
    start();
    EXPECT_EQ(logged(INFO, "start", "create send message queue thread success.\n"), 1U);
}

TEST_F(Starting, AfterStoppingServesRequestsAgain) {
    start();
    capture.stop();
    EXPECT_FALSE(Peer::queueAttributes());
    restart();
    expectRequestToArrive();
}

// The request queue

TEST_F(TheRequestQueue, HoldsFiveMessagesOfTwentyBytes) {
    const mode_t mask = umask(0);
    start();
    umask(mask);
    const std::optional<mq_attr> attributes = Peer::queueAttributes();
    ASSERT_TRUE(attributes);
    EXPECT_EQ(attributes->mq_maxmsg, 5);
    EXPECT_EQ(attributes->mq_msgsize, 20);
    const mqd_t queue = mq_open("/picture_capture_message_queue", O_RDONLY);
    struct stat status {};
    EXPECT_EQ(fstat(queue, &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0666U);
    mq_close(queue);
}

TEST_F(TheRequestQueue, KeepsItsAttributesIfItAlreadyExists) {
    mq_attr attributes{};
    attributes.mq_maxmsg = 3;
    attributes.mq_msgsize = 64;
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_CREAT, 0666, &attributes);
    ASSERT_NE(queue, -1);
    start();
    EXPECT_EQ(Peer::queueAttributes()->mq_msgsize, 64);
    capture.getPicture(false, nullptr);
    std::array<char, 64> message{};
    EXPECT_EQ(mq_receive(queue, message.data(), message.size(), nullptr), 20);
    mq_close(queue);
}

TEST_F(TheRequestQueue, IsRemovedWhenTheSenderEnds) {
    start();
    EXPECT_TRUE(Peer::queueAttributes());
    capture.stop();
    EXPECT_FALSE(Peer::queueAttributes());
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(TheRequestQueue, ThatCannotBeCreatedEndsTheSender) {
    tests::failMqOpen(EACCES);
    capture.start();
    ASSERT_TRUE(log.waitFor("mp_open failed"));
    EXPECT_EQ(logged(ERROR, "handleSendMessageQueue", "mp_open failed, errno: Permission denied(13).\n"), 1U);
    EXPECT_EQ(tests::mqOpenCalls(), 1);
    // start() still treats the capture as running.
    capture.start();
    EXPECT_EQ(log.withMessage("m_loopSendMessageQueue is true, do not need to create thread again.\n").size(),
              1U);
    restart();
    expectRequestToArrive();
}

TEST_F(TheRequestQueue, ThatExistsAndCannotBeOpenedIsNotRemoved) {
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_CREAT, 0666, nullptr);
    ASSERT_NE(queue, -1);
    mq_close(queue);
    tests::failMqOpen(EACCES, 1);
    capture.start();
    ASSERT_TRUE(log.waitFor("mp_open failed"));
    EXPECT_EQ(logged(ERROR, "handleSendMessageQueue", "mp_open failed, mq_open: Permission denied(13).\n"),
              1U);
    capture.stop();
    EXPECT_TRUE(Peer::queueAttributes());
    EXPECT_EQ(mq_unlink(video::REQUEST_QUEUE_NAME), 0);
    restart();
    expectRequestToArrive();
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

TEST_F(TheRequestQueue, IsOpenedTwiceIfErrnoIsLeftFromAnEarlierCall) {
    const std::size_t before = openDescriptors();
    tests::failMqOpen(0);
    errno = EEXIST;
    capture.handleSendMessageQueue();
    EXPECT_EQ(tests::mqOpenCalls(), 2);
    EXPECT_EQ(openDescriptors(), before + 1);
    EXPECT_FALSE(Peer::queueAttributes());
}

TEST_F(TheRequestQueue, IsOpenedOnceIfErrnoIsZero) {
    const std::size_t before = openDescriptors();
    tests::failMqOpen(0);
    errno = 0;
    capture.handleSendMessageQueue();
    EXPECT_EQ(tests::mqOpenCalls(), 1);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(TheRequestQueue, ThatRefusesTheMessageIsLogged) {
    mq_attr attributes{};
    attributes.mq_maxmsg = 5;
    attributes.mq_msgsize = 10;
    mq_close(mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_CREAT, 0666, &attributes));
    start();
    capture.getPicture(false, nullptr);
    ASSERT_TRUE(log.waitFor("mq_send with res"));
    EXPECT_EQ(logged(ERROR, "handleSendMessageQueue", "ERROR, mq_send(): Message too long(90).\n"), 1U);
    EXPECT_EQ(logged(INFO, "handleSendMessageQueue", "mq_send with res: -1.\n"), 1U);
    restart();
    expectRequestToArrive();
}

// Requests

TEST_F(ARequest, IsATextPaddedToTwentyBytes) {
    start();
    capture.getPicture(false, nullptr);
    EXPECT_EQ(Peer::receive(), CAPTURE_REQUEST);
    ASSERT_TRUE(log.waitFor("mq_send with res"));
    EXPECT_EQ(logged(INFO, "handleSendMessageQueue", "mq_send finished. m_sendMessage: capture_video\n"), 1U);
    EXPECT_EQ(logged(INFO, "handleSendMessageQueue", "mq_send with res: 0.\n"), 1U);
    EXPECT_EQ(log.withMessage("ERROR").size(), 0U);
}

TEST_F(ARequest, PassesItsFieldsToThePipeline) {
    start();
    picture = {nullptr, 100, 50, korvale::ai::COLOR_MODE_BGRA, -9};
    EXPECT_TRUE(capture.getPicture(false, &picture));
    ASSERT_TRUE(Peer::receive());
    EXPECT_EQ(peer.state(), 1U);
    EXPECT_EQ(peer.block().width, 100U);
    EXPECT_EQ(peer.block().height, 50U);
    EXPECT_EQ(peer.block().colorMode, 2U);
    EXPECT_EQ(peer.block().option, 0xFFFFFFF7U);
    EXPECT_EQ(peer.block().totalSize, 150552U);
}

TEST_F(ARequest, WithoutAPictureUsesTheDefaultAndNeverWaits) {
    start();
    EXPECT_TRUE(capture.getPicture(true, nullptr));
    ASSERT_TRUE(Peer::receive());
    EXPECT_EQ(peer.state(), 1U);  // the request is not answered yet
    EXPECT_EQ(peer.block().width, 224U);
    EXPECT_EQ(peer.block().height, 224U);
    EXPECT_EQ(peer.block().colorMode, 4U);
    EXPECT_EQ(peer.block().option, 1U);
    EXPECT_EQ(log.withMessage("time out.\n").size(), 0U);
}

TEST_F(ARequest, LogsItsEntryAndItsResult) {
    start();
    capture.getPicture(false, nullptr);
    EXPECT_EQ(log.countEnter(FILE_NAME, "getPicture"), 1U);
    const std::vector<LogLine> lines = log.lines();
    const auto isReturn = [](const LogLine& line) {
        return line == LogLine{TRACE, FILE_NAME, "getPicture",
                               "[getPicture][" + std::to_string(line.number) + "] val(1) RETURN\n"};
    };
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), isReturn), 1);
}

TEST_F(ARequest, ThatWaitsReturnsTheFrameWithoutCopyingIt) {
    start();
    picture = {nullptr, 64, 32, korvale::ai::COLOR_MODE_BGRA, 5};
    std::thread pipeline([this] {
        EXPECT_EQ(Peer::receive(), CAPTURE_REQUEST);
        peer.deliver(60, 30, 0xAB);
    });
    EXPECT_TRUE(capture.getPicture(true, &picture));
    pipeline.join();
    EXPECT_EQ(picture.width, 60U);
    EXPECT_EQ(picture.height, 30U);
    EXPECT_EQ(picture.colorMode, 4);  // not the requested mode
    EXPECT_EQ(picture.option, 5);
    ASSERT_NE(picture.data, nullptr);
    EXPECT_EQ(picture.data[0], 0xAB);
    // The pixels are not copied: `data` points into the capture block.
    peer.block().pixels[0] = 0x12;
    EXPECT_EQ(picture.data[0], 0x12);
    EXPECT_EQ(log.countEnter(FILE_NAME, "getPicture"), 1U);
}

TEST_F(ARequest, ReturnsAnySizeThatThePipelineReports) {
    start();
    std::thread pipeline([this] {
        Peer::receive();
        peer.deliver(0xFFFFFFFFU, 0, 1);
    });
    EXPECT_TRUE(capture.getPicture(true, &picture));
    pipeline.join();
    EXPECT_EQ(picture.width, 0xFFFFFFFFU);
    EXPECT_EQ(picture.height, 0U);
}

TEST_F(ARequest, WithoutACallbackLogsNoMissingCallback) {
    start();
    EXPECT_TRUE(capture.getPicture(false, &picture));
    ASSERT_TRUE(Peer::receive());
    peer.deliver(224, 224, 1);
    capture.stop();
    EXPECT_EQ(log.withMessage("m_notifyFun is NULL.\n").size(), 0U);
}

// Waiting

TEST_F(WaitingForAFrame, EndsAfterTwoSecondsIfThePipelineNeverAnswers) {
    start();
    const auto begin = steady_clock::now();
    EXPECT_FALSE(capture.getPicture(true, &picture));
    EXPECT_GE(steady_clock::now() - begin, milliseconds(2000));
    EXPECT_LT(steady_clock::now() - begin, seconds(20));
    EXPECT_EQ(logged(ERROR, "picutreCaptureFinished", "time out.\n"), 1U);
    for (int time = 0; time <= 2000; time += 50) {
        EXPECT_EQ(
            logged(INFO, "picutreCaptureFinished", "state: 1, timeSum: " + std::to_string(time) + ".\n"), 1U);
    }
    EXPECT_EQ(picture.data, nullptr);
    EXPECT_EQ(picture.width, 224U);
    EXPECT_EQ(Peer::receive(), CAPTURE_REQUEST);
    awaitSleep("create thread to send message queue.\n");
    std::thread pipeline([this] {
        Peer::receive();
        peer.deliver(224, 224, 1);
    });
    EXPECT_TRUE(capture.getPicture(true, &picture));
    pipeline.join();
}

TEST_F(WaitingForAFrame, IgnoresTheStateInTheLastRound) {
    ASSERT_TRUE(capture.initShareMemory());
    std::atomic_ref<std::uint32_t>(peer.block().state).store(video::FRAME_REQUESTED);
    // Delivers the frame after the last round but one.
    std::thread pipeline([this] {
        ASSERT_TRUE(log.waitFor("timeSum: 1950."));
        peer.deliver(1, 1, 1);
    });
    EXPECT_FALSE(capture.picutreCaptureFinished(&picture));
    pipeline.join();
    EXPECT_EQ(logged(INFO, "picutreCaptureFinished", "state: 0, timeSum: 2000.\n"), 1U);
}

TEST_F(WaitingForAFrame, EndsAtOnceIfTheFrameIsReady) {
    ASSERT_TRUE(capture.initShareMemory());
    peer.deliver(8, 4, 1);
    EXPECT_TRUE(capture.picutreCaptureFinished(&picture));
    EXPECT_EQ(logged(INFO, "picutreCaptureFinished", "state: 0, timeSum: 0.\n"), 1U);
    EXPECT_EQ(log.withMessage("state: 0, timeSum: 50.\n").size(), 0U);
}

TEST_F(WaitingForAFrame, FailsWithoutAPicture) {
    EXPECT_FALSE(capture.picutreCaptureFinished(nullptr));
    EXPECT_EQ(logged(ERROR, "picutreCaptureFinished", "pictureData is NULL.\n"), 1U);
    EXPECT_EQ(log.withMessage("m_pshareMemory is NULL.\n").size(), 0U);
}

TEST_F(WaitingForAFrame, TreatsAnyOtherStateAsNotReady) {
    ASSERT_TRUE(capture.initShareMemory());
    std::atomic_ref<std::uint32_t>(peer.block().state).store(2);
    EXPECT_FALSE(capture.picutreCaptureFinished(&picture));
    EXPECT_EQ(logged(INFO, "picutreCaptureFinished", "state: 2, timeSum: 0.\n"), 1U);
}

// The callback

TEST_F(TheCallback, ReceivesTheFrameOnTheCheckingThread) {
    capture.registerCallBack(Client::callBack, &client);
    start();
    picture.width = 100;
    EXPECT_TRUE(capture.getPicture(false, &picture));
    ASSERT_TRUE(Peer::receive());
    peer.deliver(100, 224, 0x55);
    ASSERT_TRUE(client.waitFor(1));
    const Delivery delivery = client.deliveries()[0];
    EXPECT_TRUE(delivery.success);
    EXPECT_EQ(delivery.picture.width, 100U);
    EXPECT_EQ(delivery.picture.height, 224U);
    EXPECT_EQ(delivery.picture.colorMode, 4);
    EXPECT_EQ(delivery.picture.option, 0);
    EXPECT_EQ(delivery.picture.data[0], 0x55);
    EXPECT_EQ(delivery.thread, log.withMessage("create thread check caputre.\n")[0].thread);
    EXPECT_EQ(picture.data, nullptr);  // the request's own picture is unchanged
}

TEST_F(TheCallback, ReceivesTheDefaultPictureAfterATimeout) {
    capture.registerCallBack(Client::callBack, &client);
    start();
    picture.width = 100;
    EXPECT_TRUE(capture.getPicture(false, &picture));
    ASSERT_TRUE(client.waitFor(1));
    const Delivery delivery = client.deliveries()[0];
    EXPECT_FALSE(delivery.success);
    EXPECT_EQ(delivery.picture.data, nullptr);
    EXPECT_EQ(delivery.picture.width, 224U);
    EXPECT_EQ(delivery.picture.colorMode, 4);
    EXPECT_EQ(logged(ERROR, "picutreCaptureFinished", "time out.\n"), 1U);
    peer.deliver(1, 1, 1);  // otherwise stop() would wait for the frame again
}

TEST_F(TheCallback, IsCalledForAWaitingRequestWithoutAPicture) {
    capture.registerCallBack(Client::callBack, &client);
    start();
    EXPECT_TRUE(capture.getPicture(true, nullptr));
    ASSERT_TRUE(Peer::receive());
    peer.deliver(224, 224, 9);
    ASSERT_TRUE(client.waitFor(1));
    EXPECT_TRUE(client.deliveries()[0].success);
}

TEST_F(TheCallback, DelaysTheNextRequestThatDoesNotWait) {
    std::promise<void> gate;
    client.holdUntil(gate.get_future().share());
    capture.registerCallBack(Client::callBack, &client);
    start();
    capture.getPicture(false, nullptr);
    ASSERT_TRUE(Peer::receive());
    peer.deliver(224, 224, 9);
    awaitSleep("create thread check caputre.\n");  // the checking thread is blocked in the callback
    auto second = std::async(std::launch::async, [this] { return capture.getPicture(false, nullptr); });
    EXPECT_EQ(second.wait_for(milliseconds(200)), std::future_status::timeout);
    gate.set_value();
    EXPECT_TRUE(second.get());
    peer.deliver(224, 224, 9);
}

TEST_F(TheCallback, ThatIsUnregisteredAfterStartingIsLogged) {
    capture.registerCallBack(Client::callBack, &client);
    start();
    capture.registerCallBack(nullptr, nullptr);
    capture.getPicture(false, nullptr);
    ASSERT_TRUE(log.waitFor("m_notifyFun is NULL."));
    EXPECT_EQ(logged(ERROR, "handleCheckCapture", "m_notifyFun is NULL.\n"), 1U);
    EXPECT_EQ(log.withMessage("state: 1, timeSum: 0.\n").size(), 0U);
}

TEST_F(TheCallback, ThatIsUnregisteredDuringTheWaitIsNotCalled) {
    capture.registerCallBack(Client::callBack, &client);
    start();
    capture.getPicture(false, nullptr);
    ASSERT_TRUE(log.waitFor("state: 1, timeSum: 0."));
    capture.registerCallBack(nullptr, nullptr);
    peer.deliver(1, 1, 1);
    capture.stop();
    EXPECT_TRUE(client.deliveries().empty());
}

TEST_F(TheCallback, CanBeReplacedWithItsUserDataWhileRunning) {
    Client other;
    capture.registerCallBack(Client::callBack, &client);
    start();
    capture.registerCallBack(Client::callBack, &other);
    capture.getPicture(false, nullptr);
    peer.deliver(1, 1, 1);
    ASSERT_TRUE(other.waitFor(1));
    EXPECT_TRUE(client.deliveries().empty());
    awaitSleep("create thread check caputre.\n");
    capture.stop();
}

// stop()

TEST_F(Stopping, BeforeStartingOnlyLogs) {
    capture.stop();
    EXPECT_EQ(log.countEnter(FILE_NAME, "stop"), 1U);
    EXPECT_EQ(logged(INFO, "stop", "m_loopSendMessageQueue: 0, m_loopCheckCapture: 0.\n"), 1U);
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(Stopping, SendsTheLastMessageOnceMore) {
    start();
    capture.getPicture(false, nullptr);
    ASSERT_EQ(Peer::receive(), CAPTURE_REQUEST);
    awaitSleep("create thread to send message queue.\n");
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY | O_NONBLOCK);
    capture.stop();
    Message message{};
    EXPECT_EQ(mq_receive(queue, message.data(), message.size(), nullptr), 20);
    EXPECT_EQ(message, CAPTURE_REQUEST);
    EXPECT_EQ(mq_receive(queue, message.data(), message.size(), nullptr), -1);
    mq_close(queue);
    EXPECT_EQ(logged(INFO, "stop", "m_loopSendMessageQueue: 1, m_loopCheckCapture: 0.\n"), 1U);
    EXPECT_EQ(log.withMessage("mq_send with res: 0.\n").size(), 2U);
}

TEST_F(Stopping, SendsZeroesIfNothingWasRequested) {
    start();
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY);
    capture.stop();
    Message message;
    message.fill('x');
    EXPECT_EQ(mq_receive(queue, message.data(), message.size(), nullptr), 20);
    EXPECT_EQ(message, Message{});
    mq_close(queue);
}

TEST_F(Stopping, CallsTheCallbackOnceMore) {
    capture.registerCallBack(Client::callBack, &client);
    start();
    capture.stop();
    ASSERT_EQ(client.deliveries().size(), 1U);
    EXPECT_TRUE(client.deliveries()[0].success);  // without a request, the state is "ready"
    EXPECT_EQ(logged(INFO, "stop", "m_loopSendMessageQueue: 1, m_loopCheckCapture: 1.\n"), 1U);
}

TEST_F(Stopping, WaitsForARequestedFrame) {
    capture.registerCallBack(Client::callBack, &client);
    start();
    std::atomic_ref<std::uint32_t>(peer.block().state).store(video::FRAME_REQUESTED);
    const auto begin = steady_clock::now();
    capture.stop();
    EXPECT_GE(steady_clock::now() - begin, seconds(2));
    ASSERT_EQ(client.deliveries().size(), 1U);
    EXPECT_FALSE(client.deliveries()[0].success);
}

TEST_F(Stopping, TwiceOnlyLogs) {
    start();
    capture.stop();
    log.clear();
    capture.stop();
    EXPECT_EQ(logged(INFO, "stop", "m_loopSendMessageQueue: 0, m_loopCheckCapture: 0.\n"), 1U);
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(Stopping, RightAfterStartingAlwaysReturns) {
    for (int i = 0; i < 200; ++i) {
        capture.start();
        capture.stop();
    }
    EXPECT_EQ(television.threads().created().size(), 200U);
}

TEST_F(Stopping, HappensOnDestruction) {
    {
        PictureCapture short_lived;
        short_lived.start();
        ASSERT_TRUE(log.waitFor("create thread to send message queue."));
        awaitSleep("create thread to send message queue.\n");
    }
    EXPECT_EQ(logged(INFO, "stop", "m_loopSendMessageQueue: 1, m_loopCheckCapture: 0.\n"), 1U);
    EXPECT_FALSE(Peer::queueAttributes());
    // The block is not removed, because clients may still use a frame in it.
    EXPECT_NE(shmget(72314, 0, 0), -1);
}

// The thread functions

TEST_F(TheThreadFunctions, LogANullArgument) {
    EXPECT_EQ(send(nullptr), nullptr);
    EXPECT_EQ(logged(INFO, "threadSendMessageQueueForPicture", "create thread to send message queue.\n"), 1U);
    EXPECT_EQ(logged(ERROR, "threadSendMessageQueueForPicture", "User data is NULL.\n"), 1U);
    EXPECT_EQ(check(nullptr), nullptr);
    EXPECT_EQ(logged(INFO, "threadCheckCaptureProc", "create thread check caputre.\n"), 1U);
    EXPECT_EQ(logged(ERROR, "threadCheckCaptureProc", "User data is NULL.\n"), 1U);
}

TEST_F(TheThreadFunctions, ReturnAtOnceAfterStopping) {
    EXPECT_EQ(send(&capture), nullptr);
    EXPECT_EQ(check(&capture), nullptr);
    EXPECT_EQ(log.countEnter(FILE_NAME, "handleSendMessageQueue"), 1U);
}

// With all log levels off

TEST_F(ADisabledLog, PrintsNothingWithoutACaptureBlock) {
    EXPECT_FALSE(capture.picutreCaptureFinished(nullptr));
    EXPECT_FALSE(capture.picutreCaptureFinished(&picture));
    tests::failNextShmat(ENOMEM);
    EXPECT_FALSE(capture.initShareMemory());
}

TEST_F(ADisabledLog, PrintsNothingWithoutAFrame) {
    ASSERT_TRUE(capture.initShareMemory());
    std::atomic_ref<std::uint32_t>(peer.block().state).store(video::FRAME_REQUESTED);
    EXPECT_FALSE(capture.picutreCaptureFinished(&picture));
}

TEST_F(ADisabledLog, PrintsNothingWithoutThreads) {
    television.threads().fail(1);
    capture.start();
    EXPECT_EQ(television.threads().failures(), 0U);
}

TEST_F(ADisabledLog, PrintsNothingForThreadsWithoutACapture) {
    capture.registerCallBack(Client::callBack, &client);
    capture.start();
    const auto created = television.threads().created();
    ASSERT_EQ(created.size(), 2U);
    for (const auto& thread : created) EXPECT_EQ(thread.routine(nullptr), nullptr);
}

TEST_F(ADisabledLog, PrintsNothingWithoutAQueue) {
    tests::failMqOpen(EACCES);
    capture.start();
    EXPECT_TRUE(tests::eventually([] { return tests::mqOpenCalls() == 1; }));
    capture.stop();
    EXPECT_FALSE(Peer::queueAttributes());
}

TEST_F(ADisabledLog, PrintsNothingForAQueueThatCannotBeOpened) {
    const mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_CREAT, 0666, nullptr);
    ASSERT_NE(queue, -1);
    mq_close(queue);
    tests::failMqOpen(EACCES, 1);
    capture.start();
    EXPECT_TRUE(tests::eventually([] { return tests::mqOpenCalls() == 2; }));
    capture.stop();
    EXPECT_TRUE(Peer::queueAttributes());
}

}  // namespace
