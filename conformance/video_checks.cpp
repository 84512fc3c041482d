// The delivery of frames: the request queue, the capture block, and the frames.
#include <fcntl.h>
#include <mqueue.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>

#include "platform_adaptation/picture_capture.h"
#include "video/capture_block.h"
#include "visit.h"

using korvale::ai::PictureData;

namespace conformance {

namespace {

constexpr std::size_t FRAMES = 5;
// A request is lost while the library's thread is not waiting for one. The queue must hold these requests and
// the one that ends the capture, even if no pipeline takes them.
constexpr int SPARE_REQUESTS = 2;
// The library's limit for a frame, and a margin for its thread.
constexpr milliseconds FRAME_LIMIT{2500};

std::string octal(unsigned mode) {
    char text[16];
    std::snprintf(text, sizeof text, "%04o", mode & 0777U);
    return text;
}

// Closes a queue's descriptor.
class Queue {
  public:
    explicit Queue(mqd_t descriptor) : m_descriptor(descriptor) {}
    ~Queue() {
        if (exists()) mq_close(m_descriptor);
    }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    bool exists() const { return m_descriptor != -1; }
    mqd_t get() const { return m_descriptor; }

  private:
    const mqd_t m_descriptor;
};

bool queueExists() {
    return Queue(mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY | O_CLOEXEC)).exists() || errno != ENOENT;
}

std::string queueOwner() {
    struct stat status {};
    const std::string path = std::string("/dev/mqueue") + video::REQUEST_QUEUE_NAME;
    if (stat(path.c_str(), &status) != 0) return "";
    return "; it belongs to user " + std::to_string(status.st_uid) + " with the rights " +
           octal(status.st_mode);
}

Passed checkQueue(Visit&) {
    const Queue queue(mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!queue.exists() && errno == ENOENT) {
        // The same attributes as in the library. An existing queue is not changed.
        mq_attr attributes{};
        attributes.mq_maxmsg = video::REQUEST_QUEUE_DEPTH;
        attributes.mq_msgsize = static_cast<long>(video::REQUEST_SIZE);
        const Queue made(mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC,
                                 video::CAPTURE_PERMISSIONS, &attributes));
        if (!made.exists())
            throw Failure{"cannot be created: " + errorText(errno),
                          "Build the kernel with POSIX message queues, and look at the limits in "
                          "/proc/sys/fs/mqueue and RLIMIT_MSGQUEUE."};
        mq_unlink(video::REQUEST_QUEUE_NAME);
        return {"can be created"};
    }
    if (!queue.exists()) {
        const std::string error = errorText(errno);
        throw Failure{"cannot be opened: " + error + queueOwner(),
                      "Run as its owner, or let the owner create it with the permissions " +
                          octal(video::CAPTURE_PERMISSIONS) + "."};
    }
    mq_attr attributes{};
    mq_getattr(queue.get(), &attributes);
    if (attributes.mq_msgsize != static_cast<long>(video::REQUEST_SIZE))
        throw Failure{"exists with messages of " + std::to_string(attributes.mq_msgsize) +
                          " bytes instead of " + std::to_string(video::REQUEST_SIZE),
                      "End the program that created it, and remove the queue."};
    const std::string waiting = std::to_string(attributes.mq_curmsgs) + " of " +
                                std::to_string(attributes.mq_maxmsg) + " requests waiting";
    if (attributes.mq_curmsgs >= attributes.mq_maxmsg)
        throw Failure{"is full, " + waiting, "Start the video pipeline, or see why it takes no requests."};
    return {"exists, can be opened, " + waiting};
}

// The owner and permissions of the segment, which /proc shows even without access to it; empty if unknown.
std::string segmentOwner() {
    std::ifstream list("/proc/sysvipc/shm");
    std::string line;
    std::getline(list, line);
    while (std::getline(list, line)) {
        std::istringstream columns(line);
        long key = 0;
        long id = 0;
        std::string rights;
        unsigned long long size = 0;
        long creator = 0;
        long last = 0;
        long attached = 0;
        long user = 0;
        if (columns >> key >> id >> rights >> size >> creator >> last >> attached >> user &&
            key == video::CAPTURE_BLOCK_KEY)
            return "; it belongs to user " + std::to_string(user) + " with the rights " + rights;
    }
    return "";
}

Passed checkSegment(Visit&) {
    const int rights = static_cast<int>(video::CAPTURE_PERMISSIONS);
    const std::size_t size = sizeof(video::CaptureBlock);
    const int id = shmget(video::CAPTURE_BLOCK_KEY, 0, rights);
    if (id == -1 && errno == ENOENT) {
        // The same size and permissions as in the library. An existing segment is not changed.
        const int made = shmget(video::CAPTURE_BLOCK_KEY, size, IPC_CREAT | IPC_EXCL | rights);
        if (made == -1)
            throw Failure{"cannot be created: " + errorText(errno),
                          "Build the kernel with System V shared memory, and look at the limits in "
                          "/proc/sys/kernel/shmmax and shmall."};
        shmctl(made, IPC_RMID, nullptr);
        return {"can be created, " + std::to_string(size) + " bytes"};
    }
    shmid_ds status{};
    if (id == -1 || shmctl(id, IPC_STAT, &status) != 0) {
        const std::string error = errorText(errno);
        throw Failure{"cannot be opened: " + error + segmentOwner(),
                      "Run as its owner, or let the owner create it with the permissions " +
                          octal(video::CAPTURE_PERMISSIONS) + "."};
    }
    if (status.shm_segsz != size)
        throw Failure{"exists with " + std::to_string(status.shm_segsz) + " bytes instead of " +
                          std::to_string(size) + segmentOwner(),
                      "End the program that created it, and remove it: ipcrm -m " + std::to_string(id) + "."};
    const void* const address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<const void*>(-1))
        throw Failure{"cannot be attached: " + errorText(errno),
                      "See why this process may open, but not attach the segment."};
    shmdt(address);
    return {"exists, can be attached, " + std::to_string(size) + " bytes"};
}

// Starts a capture and waits until it accepts requests.
void start(Visit& visit, PictureCapture& capture) {
    if (queueExists())
        throw Failure{"the request queue exists already: another program captures, or has not removed it",
                      std::string("End that program, or remove /dev/mqueue") + video::REQUEST_QUEUE_NAME +
                          ", and run again."};
    // A request without an attached block crashes.
    if (!capture.initShareMemory())
        throw Failure{"the capture block cannot be attached", "See the check 'segment'."};
    capture.start();
    if (!visit.waitUntil(IN_TIME, queueExists))
        throw Failure{"the library did not create the request queue within " + seconds(IN_TIME),
                      "See the check 'queue', and whether the platform creates threads."};
    visit.pause(milliseconds(50));
}

void requireSize(const PictureData& picture, const PictureData& request) {
    if (picture.width == request.width && picture.height == request.height) return;
    throw Failure{std::to_string(request.width) + " x " + std::to_string(request.height) +
                      " was requested, " + std::to_string(picture.width) + " x " +
                      std::to_string(picture.height) + " came",
                  "Let the video pipeline scale to the size in the capture block."};
}

[[noreturn]] void failWithoutFrame(int requests) {
    throw Failure{
        "no frame arrived, " + std::to_string(requests) + " requests waited " + seconds(IN_TIME) + " each",
        std::string("Start the video pipeline; let it take requests from ") + video::REQUEST_QUEUE_NAME +
            " and answer in the segment " + std::to_string(video::CAPTURE_BLOCK_KEY) + "."};
}

std::string lostText(int lost) {
    return lost == 0 ? "" : std::to_string(lost) + " requests were not answered and had to be repeated.";
}

bool hasOneColour(const PictureData& picture) {
    constexpr std::size_t channels = 3;
    const unsigned char* const end = picture.data + std::size_t(picture.width) * picture.height * channels;
    for (const unsigned char* pixel = picture.data; pixel != end; pixel += channels)
        if (!std::equal(pixel, pixel + channels, picture.data)) return false;
    return true;
}

Passed checkFrame(Visit& visit) {
    PictureData request;
    initPictureData(request);
    PictureCapture capture;
    start(visit, capture);
    std::vector<milliseconds> times;
    bool oneColour = true;
    int lost = 0;
    while (times.size() < FRAMES) {
        visit.goOn();
        PictureData picture = request;
        const Clock::time_point begin = Clock::now();
        if (!capture.getPicture(true, &picture)) {
            if (++lost > SPARE_REQUESTS) failWithoutFrame(lost);
            continue;
        }
        times.push_back(std::chrono::duration_cast<milliseconds>(Clock::now() - begin));
        requireSize(picture, request);
        oneColour = oneColour && hasOneColour(picture);
    }
    std::sort(times.begin(), times.end());
    std::string warning = lostText(lost);
    if (oneColour)
        warning += std::string(warning.empty() ? "" : " ") +
                   "All frames have one colour: see whether the television shows more.";
    return {std::to_string(FRAMES) + " frames of " + std::to_string(request.width) + " x " +
                std::to_string(request.height) + " in " + std::to_string(times.front().count()) + " ms / " +
                std::to_string(times[FRAMES / 2].count()) + " ms / " + std::to_string(times.back().count()) +
                " ms (least, median, most)",
            warning};
}

struct Delivery {
    bool success;
    std::uint32_t width;
    std::uint32_t height;
};

Passed checkCallback(Visit& visit) {
    PictureData request;
    initPictureData(request);
    Record<Delivery> deliveries;  // outlives the capture, whose stop calls the callback once more
    PictureCapture capture;
    capture.registerCallBack(
        [](bool success, PictureData* picture, void* record) {
            static_cast<Record<Delivery>*>(record)->add({success, picture->width, picture->height});
        },
        &deliveries);
    start(visit, capture);
    for (int requests = 1;; ++requests) {
        const std::size_t before = deliveries.size();
        capture.getPicture(false, &request);
        visit.waitUntil(FRAME_LIMIT, [&] { return deliveries.size() > before; });
        const auto all = deliveries.entries();
        if (all.size() > before && all.back().value.success) {
            const auto& delivery = all.back();
            requireSize({nullptr, delivery.value.width, delivery.value.height, request.colorMode, 0},
                        request);
            if (delivery.thread == std::this_thread::get_id())
                throw Failure{
                    "the callback was called on the requesting thread",
                    "See why the platform's thread creation runs the routine on its caller's thread."};
            return {"a frame arrived by the callback", lostText(requests - 1)};
        }
        if (requests > SPARE_REQUESTS) failWithoutFrame(requests);
    }
}

Passed checkStream(Visit& visit, milliseconds duration) {
    PictureData request;
    initPictureData(request);
    PictureCapture capture;
    start(visit, capture);
    std::vector<milliseconds> times;
    int lost = 0;
    int lostInARow = 0;
    const Clock::time_point end = Clock::now() + duration;
    while (Clock::now() < end) {
        visit.goOn();
        PictureData picture = request;
        const Clock::time_point begin = Clock::now();
        if (!capture.getPicture(true, &picture)) {
            ++lost;
            if (++lostInARow > SPARE_REQUESTS) failWithoutFrame(lostInARow);
            continue;
        }
        lostInARow = 0;
        times.push_back(std::chrono::duration_cast<milliseconds>(Clock::now() - begin));
        requireSize(picture, request);
    }
    if (times.empty()) failWithoutFrame(lost);
    std::sort(times.begin(), times.end());
    const auto at = [&](std::size_t percent) {
        return std::to_string(times[(times.size() - 1) * percent / 100].count()) + " ms";
    };
    return {std::to_string(times.size()) + " frames in " + seconds(duration) + ", " + at(50) + " / " +
                at(99) + " / " + at(100) + " (median, 99 of 100, most)",
            lostText(lost)};
}

}  // namespace

Check streamCheck(milliseconds duration) {
    return {"stream",
            "",
            "whether frames keep coming",
            {"framework", "frame"},
            [duration](Visit& visit) { return checkStream(visit, duration); },
            false,
            true};
}

std::vector<Check> videoChecks() {
    const std::string queue = video::REQUEST_QUEUE_NAME;
    const std::string segment = std::to_string(video::CAPTURE_BLOCK_KEY);
    Check checks[] = {
        {"queue", queue, "whether the request queue can be opened or created", {"framework"}, checkQueue},
        {"segment",
         segment,
         "whether the capture block can be attached or created",
         {"framework"},
         checkSegment},
        {"frame",
         "",
         "whether frames arrive, how fast, and in the requested size",
         {"framework", nameOf("queue", queue), nameOf("segment", segment)},
         checkFrame},
        {"callback",
         "",
         "whether a frame arrives through the callback",
         {"framework", "frame"},
         checkCallback},
    };
    for (Check& check : checks) check.isVideo = true;
    return {std::begin(checks), std::end(checks)};
}

}  // namespace conformance
