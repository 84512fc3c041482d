// A video pipeline that writes whatever it likes into the capture block while the library waits for a frame,
// and leaves a segment of another size behind. It acts at fixed moments: where the library sleeps between two
// looks at the state, and where it has looked and not read the frame's size yet.
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <functional>

#include "embedded_television.h"
#include "fuzzing.h"
#include "platform_adaptation/picture_capture.h"
#include "video/capture_block.h"

namespace {

using fuzzing::Input;
using korvale::ai::PictureData;
using video::CaptureBlock;

constexpr std::size_t PAGE = 4096;
constexpr int LOOKS = 41;

std::function<void()> onSleep;

// The segment as the pipeline sees it: attached where the library's own attachment is not.
class Segment {
  public:
    explicit Segment(std::size_t size) {
        remove();
        m_id = shmget(video::CAPTURE_BLOCK_KEY, size, IPC_CREAT | IPC_EXCL | 0666);
        FUZZ_CHECK(m_id != -1);
        m_address = shmat(m_id, nullptr, 0);
        FUZZ_CHECK(reinterpret_cast<std::intptr_t>(m_address) != -1);
    }
    ~Segment() {
        shmdt(m_address);
        remove();
    }
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    std::uint8_t* bytes() const { return static_cast<std::uint8_t*>(m_address); }
    CaptureBlock& block() const { return *static_cast<CaptureBlock*>(m_address); }

  private:
    static void remove() {
        const int id = shmget(video::CAPTURE_BLOCK_KEY, 0, 0);
        if (id != -1) shmctl(id, IPC_RMID, nullptr);
    }

    int m_id;
    void* m_address;
};

// What the pipeline does at one of its moments.
void act(Input& input, CaptureBlock& block) {
    switch (input.choice(8)) {
        case 0:
            block.state = video::FRAME_READY;
            break;
        case 1:
            block.state = input.number<std::uint32_t>();
            break;
        case 2:
            block.width = input.number<std::uint32_t>();
            break;
        case 3:
            block.height = input.number<std::uint32_t>();
            break;
        case 4: {
            const std::size_t offset = input.number<std::uint32_t>() % video::CAPTURE_PIXEL_BYTES;
            const std::size_t length =
                std::min<std::size_t>(input.byte(), video::CAPTURE_PIXEL_BYTES - offset);
            std::memset(block.pixels + offset, input.byte(), length);
            break;
        }
        case 5: {
            const std::string header = input.text(offsetof(CaptureBlock, pixels));
            std::memcpy(&block, header.data(), header.size());
            break;
        }
        case 6:
            std::memset(&block, input.byte(), sizeof block);
            break;
        default:
            break;
    }
}

// The library's own attachment, which it never gives back.
void* attachmentOf(PictureCapture& capture, CaptureBlock& block) {
    onSleep = [&block] { block.state = video::FRAME_READY; };
    PictureData picture{};
    FUZZ_CHECK(capture.getPicture(true, &picture));
    FUZZ_CHECK(picture.data != nullptr && picture.data != block.pixels);
    return picture.data - offsetof(CaptureBlock, pixels);
}

void requestFrame(PictureCapture& capture, CaptureBlock& block, const void* attachment, Input& input) {
    PictureData picture{};
    initPictureData(picture);
    picture.width = input.number<std::uint32_t>();
    picture.height = input.number<std::uint32_t>();
    picture.colorMode = static_cast<korvale::ai::ColorMode>(input.number<std::int32_t>());
    picture.option = input.number<std::int32_t>();
    const PictureData wish = picture;

    int looks = 0;
    bool ready = false;
    onSleep = [&] { act(input, block); };
    simulated::DebugOutput& output = fuzzing::switchedOn().debugOutput();
    output.setSink([&](unsigned, const std::string& line) {
        if (line.find("state: ") == std::string::npos) return;
        if (looks == 0) {
            FUZZ_CHECK(block.state == video::FRAME_REQUESTED);
            FUZZ_CHECK(block.width == wish.width && block.height == wish.height);
            FUZZ_CHECK(block.colorMode == static_cast<std::uint32_t>(wish.colorMode));
            FUZZ_CHECK(block.option == static_cast<std::uint32_t>(wish.option));
        }
        ++looks;
        FUZZ_CHECK(!ready);
        ready = block.state == video::FRAME_READY && looks < LOOKS;
        act(input, block);
    });
    const bool done = capture.getPicture(true, &picture);
    output.setSink([](unsigned, const std::string&) {});

    FUZZ_CHECK(done == ready);
    FUZZ_CHECK(done || looks == LOOKS);
    FUZZ_CHECK(picture.option == wish.option);
    if (done) {
        FUZZ_CHECK(picture.data ==
                   static_cast<const std::uint8_t*>(attachment) + offsetof(CaptureBlock, pixels));
        FUZZ_CHECK(picture.width == block.width && picture.height == block.height);
        FUZZ_CHECK(picture.colorMode == korvale::ai::COLOR_MODE_RGB);
        // All of the pixels can be read, whatever size the pipeline tells.
        FUZZ_CHECK(std::memcmp(picture.data, block.pixels, video::CAPTURE_PIXEL_BYTES) == 0);
    } else {
        FUZZ_CHECK(picture.data == nullptr && picture.width == wish.width && picture.height == wish.height);
        FUZZ_CHECK(picture.colorMode == wish.colorMode);
    }
}

}  // namespace

// Stands before the C library's: the library's looks follow each other at once.
extern "C" int usleep(useconds_t) {
    if (onSleep) onSleep();
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    simulated::DebugOutput& output = fuzzing::switchedOn().debugOutput();
    output.setSink([](unsigned, const std::string&) {});
    output.setVerbosity(simulated::DebugOutput::Verbosity::TRACE);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    // A segment of another size may be there already: a smaller one is refused, of a larger one the library
    // uses what it needs.
    std::size_t bytes = sizeof(CaptureBlock);
    if (input.choice(4) == 0) bytes = 1 + input.number<std::uint32_t>() % (sizeof(CaptureBlock) + 2 * PAGE);
    const Segment segment(bytes);
    std::memset(segment.bytes(), 0xA5, bytes);

    PictureCapture capture;
    const bool attached = capture.initShareMemory();
    FUZZ_CHECK(attached == (bytes >= sizeof(CaptureBlock)));
    PictureData unanswered{};
    if (!attached) {
        FUZZ_CHECK(!capture.picutreCaptureFinished(&unanswered));
        return 0;
    }
    CaptureBlock& block = segment.block();
    FUZZ_CHECK(block.totalSize == sizeof(CaptureBlock));
    FUZZ_CHECK(block.state == 0 && block.pixels[video::CAPTURE_PIXEL_BYTES - 1] == 0);
    void* const attachment = attachmentOf(capture, block);
    do {
        requestFrame(capture, block, attachment, input);
    } while (!input.empty());
    for (std::size_t i = sizeof(CaptureBlock); i < bytes; ++i) FUZZ_CHECK(segment.bytes()[i] == 0xA5);
    onSleep = nullptr;
    shmdt(attachment);
    return 0;
}
