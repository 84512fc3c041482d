// Fuzzes the capture block: a video pipeline writes anything into the block while the library waits for a
// frame, and may leave a segment of another size. The pipeline writes at fixed points: when the library
// sleeps between two reads of the state, and after it has read the state but not yet the frame's size.
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

// The pipeline's attachment of the segment, at another address than the library's attachment.
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

// Performs one write of the pipeline.
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

// The address of the library's attachment, which the library never detaches.
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
    const PictureData request = picture;

    int looks = 0;
    bool ready = false;
    onSleep = [&] { act(input, block); };
    simulated::DebugOutput& output = fuzzing::switchedOn().debugOutput();
    output.setSink([&](unsigned, const std::string& line) {
        if (line.find("state: ") == std::string::npos) return;
        if (looks == 0) {
            FUZZ_CHECK(block.state == video::FRAME_REQUESTED);
            FUZZ_CHECK(block.width == request.width && block.height == request.height);
            FUZZ_CHECK(block.colorMode == static_cast<std::uint32_t>(request.colorMode));
            FUZZ_CHECK(block.option == static_cast<std::uint32_t>(request.option));
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
    FUZZ_CHECK(picture.option == request.option);
    if (done) {
        FUZZ_CHECK(picture.data ==
                   static_cast<const std::uint8_t*>(attachment) + offsetof(CaptureBlock, pixels));
        FUZZ_CHECK(picture.width == block.width && picture.height == block.height);
        FUZZ_CHECK(picture.colorMode == korvale::ai::COLOR_MODE_RGB);
        // All pixels can be read, even if the pipeline reports another size.
        FUZZ_CHECK(std::memcmp(picture.data, block.pixels, video::CAPTURE_PIXEL_BYTES) == 0);
    } else {
        FUZZ_CHECK(picture.data == nullptr && picture.width == request.width &&
                   picture.height == request.height);
        FUZZ_CHECK(picture.colorMode == request.colorMode);
    }
}

}  // namespace

// Replaces usleep() of the C library, so that the library reads the state again without a pause.
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
    // A segment of another size may already exist. The library refuses a smaller one, and uses the beginning
    // of a larger one.
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
