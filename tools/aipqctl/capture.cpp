#include <fcntl.h>
#include <mqueue.h>
#include <sys/shm.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "bell.h"
#include "command.h"
#include "event_stream.h"
#include "failure.h"
#include "frame_file.h"
#include "output_file.h"
#include "platform_adaptation/picture_capture.h"
#include "television_presence.h"
#include "validators.h"
#include "video/capture_block.h"

using korvale::ai::PictureData;

namespace aipqctl {

namespace {

struct CaptureRequest {
    std::string format = "png";
    std::string file;
    std::string size = "224x224";
    std::optional<unsigned> count;
    double every = 0;
    bool async = false;
};

// The number of requests for one frame: the library loses a request while its thread is not waiting for one.
constexpr int TRIES = 3;
constexpr std::chrono::milliseconds THREAD_START{100};
// The library calls back within 2 s.
constexpr std::chrono::seconds CALLBACK_LIMIT{10};

// The position of the frame's number in a file name: "%d", or "%03d" for three digits.
struct NumberPlace {
    std::size_t begin;
    std::size_t length;
    std::size_t digits;
};

std::optional<NumberPlace> findNumberPlace(const std::string& name) {
    for (std::size_t begin = name.find('%'); begin != std::string::npos; begin = name.find('%', begin + 1)) {
        if (name.compare(begin, 2, "%d") == 0) return NumberPlace{begin, 2, 1};
        const bool isWide =
            name.compare(begin, 2, "%0") == 0 && begin + 3 < name.size() && name[begin + 3] == 'd';
        if (isWide && name[begin + 2] >= '1' && name[begin + 2] <= '9')
            return NumberPlace{begin, 4, static_cast<std::size_t>(name[begin + 2] - '0')};
    }
    return {};
}

std::string fileName(std::string name, unsigned number) {
    const std::optional<NumberPlace> place = findNumberPlace(name);
    if (!place) return name;
    std::string digits = std::to_string(number);
    if (digits.size() < place->digits) digits.insert(0, place->digits - digits.size(), '0');
    return name.replace(place->begin, place->length, digits);
}

PictureData parseSize(const std::string& text) {
    PictureData picture;
    initPictureData(picture);
    const char* const end = text.data() + text.size();
    const auto [middle, error] = std::from_chars(text.data(), end, picture.width);
    const auto fail = [&](int code, const std::string& why) {
        throw Failure(code, "--size " + text + ' ' + why + ": for example 160x90, and at most " +
                                std::to_string(video::CAPTURE_PIXEL_BYTES / 3) + " pixels");
    };
    if (error == std::errc::invalid_argument || middle == end || *middle != 'x')
        fail(EXIT_WRONG_TYPE, "is not a size");
    const auto [stop, secondError] = std::from_chars(middle + 1, end, picture.height);
    if (secondError == std::errc::invalid_argument || stop != end) fail(EXIT_WRONG_TYPE, "is not a size");
    constexpr std::uint64_t most = video::CAPTURE_PIXEL_BYTES;
    const bool fits = error == std::errc() && secondError == std::errc() && picture.width > 0 &&
                      picture.height > 0 && picture.width <= most && picture.height <= most &&
                      std::uint64_t{picture.width} * picture.height * 3 <= most;
    if (!fits) fail(EXIT_OUT_OF_RANGE, "does not fit");
    return picture;
}

[[noreturn]] void failAccess(const std::string& what, int error) {
    if (error == EACCES || error == EPERM)
        throw Failure(EXIT_NO_RIGHTS,
                      what + " cannot be opened, no permission: run as root, or as the pipeline's user");
    throw Failure(EXIT_REFUSED, what + " cannot be opened: " + std::strerror(error));
}

// The state of the request queue. A missing queue is no error: a capture creates it.
class RequestQueue {
  public:
    explicit RequestQueue(int flags) : m_queue(mq_open(video::REQUEST_QUEUE_NAME, flags)) {
        if (m_queue == -1 && errno != ENOENT)
            failAccess(std::string("the request queue ") + video::REQUEST_QUEUE_NAME, errno);
    }
    ~RequestQueue() {
        if (m_queue != -1) mq_close(m_queue);
    }
    RequestQueue(const RequestQueue&) = delete;
    RequestQueue& operator=(const RequestQueue&) = delete;

    // Returns whether the queue has room for two requests: the next one, and the one that the library sends
    // when it stops. Both would block for ever on a full queue.
    bool hasRoom() const {
        mq_attr attributes{};
        return m_queue == -1 || mq_getattr(m_queue, &attributes) != 0 ||
               attributes.mq_curmsgs + 2 <= attributes.mq_maxmsg;
    }

  private:
    const mqd_t m_queue;
};

[[noreturn]] void failNoFrame() {
    requireSameTelevision();
    throw Failure(EXIT_REFUSED, "no frame arrives: " + whyNoFrame());
}

// The frames of one run, in order.
class Frames {
  public:
    Frames(const PictureData& wanted, bool async) : m_async(async), m_wanted(wanted) {
        const RequestQueue checked(O_RDWR);
        if (!m_capture.initShareMemory()) {
            // The library logs the reason but does not return it.
            const int id = shmget(video::CAPTURE_BLOCK_KEY, sizeof(video::CaptureBlock), 0600);
            failAccess("the capture block", id == -1 ? errno : EACCES);
        }
        if (m_async) m_capture.registerCallBack(onFrame, this);
        m_capture.start();
        // There is no notification when the library's threads begin to wait for requests.
        std::this_thread::sleep_for(THREAD_START);
    }

    ~Frames() { m_capture.stop(); }
    Frames(const Frames&) = delete;
    Frames& operator=(const Frames&) = delete;

    // The pixels are valid until the next call. Returns nothing after Ctrl-C.
    std::optional<PictureData> next() {
        for (int i = 0; i < TRIES && !m_bell.interrupted(); ++i) {
            if (!RequestQueue(O_RDONLY).hasRoom()) failNoFrame();
            PictureData picture = m_wanted;
            if (m_async ? callBack(picture) : m_capture.getPicture(true, &picture)) return picture;
            requireTelevision();
        }
        if (!m_bell.interrupted()) failNoFrame();
        return {};
    }

    // Returns false after Ctrl-C.
    bool waitUntil(Clock::time_point time) {
        while (!m_bell.interrupted())
            if (!m_bell.waitUntil(time)) return true;
        return false;
    }

  private:
    struct Answer {
        bool success;
        PictureData picture;
        std::vector<unsigned char> pixels;
    };

    static void onFrame(bool success, PictureData* picture, void* userData) {  // on the checking thread
        Frames& frames = *static_cast<Frames*>(userData);
        Answer answer{success, *picture, {}};
        const std::uint64_t size = std::uint64_t{picture->width} * picture->height * 3;
        if (success && size <= video::CAPTURE_PIXEL_BYTES)
            answer.pixels.assign(picture->data, picture->data + size);
        {
            const std::lock_guard lock(frames.m_mutex);
            frames.m_answer = std::move(answer);
        }
        Bell::ring();
    }

    bool callBack(PictureData& picture) {
        {
            const std::lock_guard lock(m_mutex);
            m_answer.reset();
        }
        m_capture.getPicture(false, &picture);
        const auto limit = Clock::now() + CALLBACK_LIMIT;
        for (bool inTime = true; inTime && !m_bell.interrupted(); inTime = m_bell.waitUntil(limit)) {
            const std::lock_guard lock(m_mutex);
            if (!m_answer) continue;
            m_pixels = std::move(m_answer->pixels);
            picture = m_answer->picture;
            picture.data = m_pixels.empty() ? nullptr : m_pixels.data();
            return m_answer->success;
        }
        return false;
    }

    const bool m_async;
    const PictureData m_wanted;
    Bell m_bell;
    std::mutex m_mutex;
    std::optional<Answer> m_answer;
    std::vector<unsigned char> m_pixels;
    PictureCapture m_capture;
};

// The output files of one run: one file per frame, or one file for all frames.
class Files {
  public:
    Files(const CaptureRequest& request, bool several)
        : m_isRaw(request.format == "rgb"),
          m_name(request.file.empty() ? "capture-%d." + request.format : request.file) {
        if (!m_isRaw && request.format != "png")
            throw Failure(EXIT_UNKNOWN, "no format '" + request.format + "': png or rgb");
        const bool isStream = m_isRaw || isStandardOutput();
        if (several && !isStream && !findNumberPlace(m_name))
            throw Failure(EXIT_WRONG_USE,
                          "several frames need several files: put %d into the name, as in frame-%d.png");
        if (isStream && !findNumberPlace(m_name)) attempt([&] { m_all.emplace(m_name); });
    }

    bool isStandardOutput() const { return m_name == OutputFile::STANDARD_OUTPUT; }

    // Returns the file name.
    std::string add(unsigned number, const PictureData& picture) {
        const std::string content = m_isRaw ? encodeRgb(picture) : encodePng(picture);
        if (m_all) {
            attempt([&] { m_all->write(content); });
            return m_name;
        }
        std::string name = fileName(m_name, number);
        save(name, content);
        return name;
    }

    void finish() {
        if (m_all) attempt([&] { m_all->commit(); });
    }

  private:
    template <typename Operation>
    static void attempt(const Operation& operation) {
        try {
            operation();
        } catch (const CannotWrite& problem) {
            failWriting(problem);
        }
    }

    const bool m_isRaw;
    const std::string m_name;
    std::optional<OutputFile> m_all;
};

void report(const PictureData& picture, unsigned number, const std::string& file, double milliseconds,
            bool json) {
    if (json)
        return printJson({{"time", utcTime(happened({}))},
                          {"number", number},
                          {"file", file},
                          {"width", picture.width},
                          {"height", picture.height},
                          {"milliseconds", milliseconds}});
    std::array<char, 32> taken{};
    std::snprintf(taken.data(), taken.size(), "%.0f ms", milliseconds);
    printLine(file + ": " + std::to_string(picture.width) + " x " + std::to_string(picture.height) + ", " +
              taken.data());
}

void capture(const CaptureRequest& request, bool json) {
    const bool endless = request.count ? *request.count == 0 : request.every > 0;
    const unsigned count = request.count.value_or(1);
    const PictureData wanted = parseSize(request.size);
    Files files(request, endless || count > 1);

    requireTelevision();
    Frames frames(wanted, request.async);
    const auto begin = Clock::now();
    for (unsigned number = 1; endless || number <= count; ++number) {
        const auto due = begin + std::chrono::ceil<Clock::duration>(
                                     std::chrono::duration<double>(request.every * (number - 1)));
        std::optional<PictureData> picture;
        const auto asked = std::max(due, Clock::now());
        try {
            if (frames.waitUntil(due)) picture = frames.next();
        } catch (const Failure&) {
            // The frames so far are complete.
            files.finish();
            throw;
        }
        if (!picture) {
            files.finish();
            if (endless) return;
            throw Failure(EXIT_CUT_SHORT, "stopped after " + std::to_string(number - 1) + " of " +
                                              std::to_string(count) + " frames");
        }
        const std::chrono::duration<double, std::milli> taken = Clock::now() - asked;
        const std::string file = files.add(number, *picture);
        // Standard output carries only the frames.
        if (!files.isStandardOutput()) report(*picture, number, file, taken.count(), json);
    }
    files.finish();
}

}  // namespace

void addCaptureCommand(CLI::App& app, Context& context) {
    CLI::App& command = *app.add_subcommand("capture", "Save frames of the running video");
    const auto request = std::make_shared<CaptureRequest>();
    command
        .add_option("-o,--output", request->file,
                    "the file; %d or %03d in it is the frame's number; - for standard output; capture-%d.png "
                    "by default")
        ->type_name("FILE");
    command
        .add_option("-n,--count", request->count,
                    "the number of frames, 0 until Ctrl-C; 1 by default, but with --every 0")
        ->type_name("COUNT")
        ->check(isNumber(0U, 1000000000U));
    command
        .add_option("--format", request->format,
                    "png, the default, or rgb: 3 bytes per pixel, all frames in one file")
        ->type_name("FORMAT");
    command
        .add_option("--every", request->every, "save one frame per this time; as fast as possible by default")
        ->type_name("SECONDS")
        ->check(isDuration());
    command.add_option("--size", request->size, "the frames' size; 224x224 by default")->type_name("WxH");
    command.add_flag("--async", request->async, "let the library call back with each frame");
    command.callback([request, &context] { capture(*request, context.json); });
}

}  // namespace aipqctl
