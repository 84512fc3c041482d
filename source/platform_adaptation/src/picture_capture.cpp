#include "platform_adaptation/picture_capture.h"

#include <fcntl.h>
#include <mqueue.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "csp/thread.h"
#include "shared_member.h"
#include "video/capture_block.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

using korvale::ai::PictureData;
using video::CaptureBlock;

namespace {

constexpr int POLL_PERIOD_MS = 50;
constexpr int POLL_LIMIT_MS = 2000;

class Lock {
  public:
    explicit Lock(pthread_mutex_t& mutex) : m_mutex(mutex) { pthread_mutex_lock(&m_mutex); }
    ~Lock() { pthread_mutex_unlock(&m_mutex); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    pthread_mutex_t& m_mutex;
};

void signalUnderLock(pthread_mutex_t& mutex, pthread_cond_t& condition) {
    const Lock lock(mutex);
    pthread_cond_signal(&condition);
}

// The routines of the two threads; `arg` is the PictureCapture.

void* threadSendMessageQueueForPicture(void* arg) {
    LOG_INFO("create thread to send message queue.\n");
    if (arg == nullptr) {
        LOG_ERROR("User data is NULL.\n");
        return nullptr;
    }
    static_cast<PictureCapture*>(arg)->handleSendMessageQueue();
    return nullptr;
}

void* threadCheckCaptureProc(void* arg) {
    LOG_INFO("create thread check caputre.\n");
    if (arg == nullptr) {
        LOG_ERROR("User data is NULL.\n");
        return nullptr;
    }
    static_cast<PictureCapture*>(arg)->handleCheckCapture();
    return nullptr;
}

}  // namespace

static_assert(video::REQUEST_SIZE == 20, "the message buffer of PictureCapture has the size of a request");

PictureCapture::PictureCapture()
    : m_pshareMemory(nullptr),
      m_notifyFun(nullptr),
      m_userData(nullptr),
      m_sendMessage{},
      m_loopSendMessageQueue(false),
      m_sendThread(0),
      m_loopCheckCapture(false),
      m_checkThread(0) {
    pthread_mutex_init(&m_sendMutex, nullptr);
    pthread_cond_init(&m_sendCond, nullptr);
    pthread_mutex_init(&m_checkMutex, nullptr);
    pthread_cond_init(&m_checkCond, nullptr);
}

PictureCapture::~PictureCapture() {
    stop();
    pthread_cond_destroy(&m_checkCond);
    pthread_mutex_destroy(&m_checkMutex);
    pthread_cond_destroy(&m_sendCond);
    pthread_mutex_destroy(&m_sendMutex);
}

void PictureCapture::registerCallBack(NotifyFunction fn, void* userData) {
    storeCallBack(m_notifyFun, fn, m_userData, userData);
}

bool PictureCapture::initShareMemory() {
    LOG_ENTER();
    LOG_INFO("shmget key: %d, allocSize: %d.\n", video::CAPTURE_BLOCK_KEY,
             static_cast<int>(sizeof(CaptureBlock)));
    const int id = shmget(video::CAPTURE_BLOCK_KEY, sizeof(CaptureBlock),
                          IPC_CREAT | static_cast<int>(video::CAPTURE_PERMISSIONS));
    if (id == -1) {
        LOG_ERROR("shmget Error.\n");
        return false;
    }
    void* const address = shmat(id, nullptr, 0);
    CaptureBlock* const block = static_cast<CaptureBlock*>(address);
    // A failed address is stored, too: the next request then crashes instead of writing to an earlier
    // attachment.
    storeShared(m_pshareMemory, block);
    if (address == reinterpret_cast<void*>(-1)) {
        LOG_ERROR("shmat Error.\n");
        return false;
    }
    LOG_INFO("init share memory.\n");
    // The block is stored already: another thread's request may write these words at the same time.
    for (std::uint32_t* const word :
         {&block->totalSize, &block->state, &block->width, &block->height, &block->colorMode, &block->option})
        storeShared(*word, std::uint32_t{0});
    std::memset(block->pixels, 0, sizeof block->pixels);
    storeShared(block->totalSize, static_cast<std::uint32_t>(sizeof *block));
    return true;
}

void PictureCapture::start() {
    LOG_ENTER();
    if (loadShared(m_loopSendMessageQueue)) {
        LOG_INFO("m_loopSendMessageQueue is true, do not need to create thread again.\n");
        return;
    }
    initShareMemory();

    storeShared(m_loopSendMessageQueue, true);
    pthread_attr_t attributes;
    if (_cspOsalPOSIX_pthread_attr_init(&attributes) != 0 ||
        _cspOsalPOSIX_pthread_create_line(&m_sendThread, &attributes, threadSendMessageQueueForPicture, this,
                                          __FILE__, __LINE__) != 0) {
        storeShared(m_loopSendMessageQueue, false);
        LOG_ERROR("pthread_create() failed.\n");
        return;
    }
    LOG_INFO("create send message queue thread success.\n");

    if (loadShared(m_notifyFun) != nullptr) {
        storeShared(m_loopCheckCapture, true);
        m_checkThread = 0;
        _cspOsalPOSIX_pthread_create_line(&m_checkThread, &attributes, threadCheckCaptureProc, this, __FILE__,
                                          __LINE__);
        LOG_INFO("create check capture thread success.\n");
    }
    _cspOsalPOSIX_pthread_attr_destroy(&attributes);
    LOG_RETURN();
}

void PictureCapture::stop() {
    LOG_ENTER();
    LOG_INFO("m_loopSendMessageQueue: %d, m_loopCheckCapture: %d.\n", loadShared(m_loopSendMessageQueue),
             loadShared(m_loopCheckCapture));
    if (loadShared(m_loopSendMessageQueue)) {
        storeShared(m_loopSendMessageQueue, false);
        signalUnderLock(m_sendMutex, m_sendCond);
        pthread_join(m_sendThread, nullptr);
    }
    if (loadShared(m_loopCheckCapture)) {
        storeShared(m_loopCheckCapture, false);
        signalUnderLock(m_checkMutex, m_checkCond);
        // start() does not check whether creating this thread succeeded; if it failed, m_checkThread is 0.
        if (m_checkThread != 0) pthread_join(m_checkThread, nullptr);
    }
}

void PictureCapture::request(const PictureData& picture) {
    CaptureBlock& block = *loadShared(m_pshareMemory);
    storeShared(block.width, picture.width);
    storeShared(block.height, picture.height);
    storeShared(block.colorMode, static_cast<std::uint32_t>(picture.colorMode));
    storeShared(block.option, static_cast<std::uint32_t>(picture.option));

    const Lock lock(m_sendMutex);
    std::memset(m_sendMessage, 0, sizeof m_sendMessage);
    std::memcpy(m_sendMessage, video::REQUEST_TEXT, sizeof video::REQUEST_TEXT);
    pthread_cond_signal(&m_sendCond);
}

bool PictureCapture::getPicture(bool wait, PictureData* picture) {
    LOG_ENTER();
    storeShared(loadShared(m_pshareMemory)->state, video::FRAME_REQUESTED);

    if (picture != nullptr) {
        request(*picture);
    } else {
        request(PictureData{nullptr, 224, 224, korvale::ai::COLOR_MODE_RGB, 1});
    }

    bool result = true;
    if (picture != nullptr && wait) {
        result = picutreCaptureFinished(picture);
    } else {
        signalUnderLock(m_checkMutex, m_checkCond);
    }
    LOG_RETURN_VALUE(result);
    return result;
}

bool PictureCapture::picutreCaptureFinished(PictureData* picture) {
    if (picture == nullptr) {
        LOG_ERROR("pictureData is NULL.\n");
        return false;
    }
    CaptureBlock* const block = loadShared(m_pshareMemory);
    if (block == nullptr) {
        LOG_ERROR("m_pshareMemory is NULL.\n");
        return false;
    }
    for (int timeSum = 0;; timeSum += POLL_PERIOD_MS) {
        const std::uint32_t state = loadShared(block->state);
        LOG_INFO("state: %d, timeSum: %d.\n", static_cast<int>(state), timeSum);
        if (timeSum == POLL_LIMIT_MS) break;
        if (state == video::FRAME_READY) {
            picture->data = block->pixels;
            picture->width = loadShared(block->width);
            picture->height = loadShared(block->height);
            picture->colorMode = korvale::ai::COLOR_MODE_RGB;
            return true;
        }
        usleep(POLL_PERIOD_MS * 1000);
    }
    LOG_ERROR("time out.\n");
    return false;
}

void PictureCapture::handleSendMessageQueue() {
    LOG_ENTER();
    mq_attr attributes{};
    attributes.mq_maxmsg = video::REQUEST_QUEUE_DEPTH;
    attributes.mq_msgsize = static_cast<long>(video::REQUEST_SIZE);
    mqd_t queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_CREAT | O_EXCL, video::CAPTURE_PERMISSIONS,
                          &attributes);
    // errno is checked even after a success, when an earlier call may have set it. The queue is then opened
    // once more, and the first descriptor stays open.
    if (const int error = errno; error == EEXIST) {
        queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDWR);
        if (queue == -1) {
            const int secondError = errno;
            LOG_ERROR("mp_open failed, mq_open: %s(%d).\n", std::strerror(secondError), secondError);
            return;
        }
    } else if (queue == -1) {
        LOG_ERROR("mp_open failed, errno: %s(%d).\n", std::strerror(error), error);
        return;
    }

    while (loadShared(m_loopSendMessageQueue)) {
        const Lock lock(m_sendMutex);
        // Every wake-up sends, even a spurious one. If stop() signals between the loop's test and the lock,
        // this wait never ends.
        if (loadShared(m_loopSendMessageQueue)) pthread_cond_wait(&m_sendCond, &m_sendMutex);
        const int result = mq_send(queue, m_sendMessage, sizeof m_sendMessage, 0);
        const int error = errno;
        LOG_INFO("mq_send finished. m_sendMessage: %s\n", m_sendMessage);
        if (result != 0) LOG_ERROR("ERROR, mq_send(): %s(%d).\n", std::strerror(error), error);
        LOG_INFO("mq_send with res: %d.\n", result);
    }
    mq_close(queue);
    mq_unlink(video::REQUEST_QUEUE_NAME);
}

void PictureCapture::handleCheckCapture() {
    // The lock is released only during the wait. So an asynchronous request blocks until the previous
    // callback has returned, and the signal of stop() cannot fall between the loop's test and the wait.
    const Lock lock(m_checkMutex);
    while (loadShared(m_loopCheckCapture)) {
        pthread_cond_wait(&m_checkCond, &m_checkMutex);
        PictureData picture;
        initPictureData(picture);
        if (loadShared(m_notifyFun) == nullptr) {
            LOG_ERROR("m_notifyFun is NULL.\n");
            continue;
        }
        const bool result = picutreCaptureFinished(&picture);
        // Uses the current callback, which may have been replaced or removed during the wait.
        callBack(m_notifyFun, m_userData, result, &picture);
    }
}
