// Fuzzes the simulated television's pipeline with any message on the request queue, a queue with another
// message size, a capture block of another size, and a block that changes while the frame is rendered.
#include <fcntl.h>
#include <mqueue.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <map>
#include <optional>
#include <vector>

#include "fuzzing.h"
#include "request_server.h"
#include "video/capture_block.h"

namespace {

using fuzzing::Input;
using video::CaptureBlock;

constexpr std::size_t GUARD = 4096;
constexpr std::uint8_t GUARD_BYTE = 0xA5;

void removeBlock() {
    const int id = shmget(video::CAPTURE_BLOCK_KEY, 0, 0);
    if (id != -1) shmctl(id, IPC_RMID, nullptr);
}

class Client {
  public:
    Client(long messageSize, std::size_t blockSize) {
        mq_unlink(video::REQUEST_QUEUE_NAME);
        mq_attr attributes{};
        attributes.mq_maxmsg = video::REQUEST_QUEUE_DEPTH;
        attributes.mq_msgsize = messageSize;
        m_queue = mq_open(video::REQUEST_QUEUE_NAME, O_RDWR | O_CREAT | O_EXCL, 0600, &attributes);
        FUZZ_CHECK(m_queue != -1);
        removeBlock();
        if (blockSize == 0) return;
        const int id = shmget(video::CAPTURE_BLOCK_KEY, blockSize, IPC_CREAT | IPC_EXCL | 0600);
        FUZZ_CHECK(id != -1);
        m_address = shmat(id, nullptr, 0);
        FUZZ_CHECK(reinterpret_cast<std::intptr_t>(m_address) != -1);
    }
    ~Client() {
        if (m_address != nullptr) shmdt(m_address);
        removeBlock();
        mq_close(m_queue);
        mq_unlink(video::REQUEST_QUEUE_NAME);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void send(const std::string& message) {
        FUZZ_CHECK(mq_send(m_queue, message.data(), message.size(), 0) == 0);
    }
    std::uint8_t* bytes() const { return static_cast<std::uint8_t*>(m_address); }
    CaptureBlock* block() const { return static_cast<CaptureBlock*>(m_address); }

  private:
    mqd_t m_queue;
    void* m_address = nullptr;
};

std::string request() {
    std::string message(video::REQUEST_TEXT);
    message.resize(video::REQUEST_SIZE);
    return message;
}

std::string takeMessage(Input& input, std::size_t longest) {
    std::string message = request();
    switch (input.choice(4)) {
        case 0:  // one byte is changed
            message[input.choice(video::REQUEST_SIZE)] = input.number<char>();
            break;
        case 1:  // the length is changed
            message.resize(input.byte());
            break;
        case 2:
            message = input.text();
            break;
        default:
            break;
    }
    message.resize(std::min(message.size(), longest));
    return message;
}

// The indices of the RGBA channels in the order of a colour mode.
std::vector<std::size_t> channelsOf(std::uint32_t colorMode) {
    switch (colorMode) {
        case 1:
            return {0, 1, 2, 3};
        case 2:
            return {2, 1, 0, 3};
        case 3:
            return {2, 1, 0};
        default:
            return {0, 1, 2};
    }
}

using Bytes = std::vector<std::uint8_t>;

// The beginning of every rendered frame, as RGBA and in a colour mode. Both are large and computed only once.
const Bytes& pattern() {
    static const Bytes bytes = [] {
        Bytes made(video::CAPTURE_PIXEL_BYTES / 3 * 4);
        for (std::size_t i = 0; i < made.size(); ++i) made[i] = static_cast<std::uint8_t>(i % 251);
        return made;
    }();
    return bytes;
}

const Bytes& packedPattern(std::uint32_t colorMode) {
    static std::map<std::uint32_t, Bytes> all;
    Bytes& packed = all[colorMode >= 1 && colorMode <= 3 ? colorMode : 0];
    if (packed.empty())
        for (std::size_t pixel = 0; pixel < pattern().size(); pixel += 4)
            for (const std::size_t channel : channelsOf(colorMode))
                packed.push_back(pattern()[pixel + channel]);
    return packed;
}

bool isGuard(const std::uint8_t* bytes, std::size_t size) {
    static const Bytes guard(sizeof(CaptureBlock), GUARD_BYTE);
    return std::memcmp(bytes, guard.data(), size) == 0;
}

void serveOne(pipeline::RequestServer& server, Client& client, std::size_t blockSize,
              const std::string& message, Input& input) {
    CaptureBlock* const block = client.block();
    const bool usable = blockSize >= sizeof(CaptureBlock);
    if (usable) {
        block->state = input.choice(8) == 0 ? input.number<std::uint32_t>() : video::FRAME_REQUESTED;
        // Sizes that fit into the block, and sizes that may not fit.
        const bool small = input.flag();
        block->width = small ? input.byte() : input.number<std::uint32_t>();
        block->height = small ? input.byte() : input.number<std::uint32_t>();
        block->colorMode = input.flag() ? input.choice(6) : input.number<std::uint32_t>();
        std::memset(block->pixels, GUARD_BYTE, sizeof block->pixels);
    }
    struct {
        std::uint32_t state, width, height, colorMode;
    } before{};
    if (usable) before = {block->state, block->width, block->height, block->colorMode};
    const bool hasFrame = input.choice(8) != 0;
    const bool changes = input.flag();
    const std::string changed = changes ? input.text(offsetof(CaptureBlock, pixels)) : std::string();

    client.send(message);
    unsigned rendered = 0;
    const auto render = [&](pipeline::Image& image) {
        ++rendered;
        FUZZ_CHECK(image.rgba.size() <= pattern().size());
        std::memcpy(image.rgba.data(), pattern().data(), image.rgba.size());
        std::memcpy(block, changed.data(), changed.size());
        return hasFrame;
    };
    const std::optional<pipeline::FrameSize> size = server.serve(render);

    const bool asked = message == request() && usable && before.state == video::FRAME_REQUESTED;
    FUZZ_CHECK(rendered == (asked ? 1U : 0U));
    FUZZ_CHECK(size.has_value() == (asked && hasFrame));
    if (!usable) return;
    FUZZ_CHECK(isGuard(client.bytes() + sizeof(CaptureBlock), blockSize - sizeof(CaptureBlock)));
    if (!size) {
        FUZZ_CHECK(isGuard(block->pixels, sizeof block->pixels));
        return;
    }
    const std::size_t channels = channelsOf(before.colorMode).size();
    const std::uint64_t capacity = video::CAPTURE_PIXEL_BYTES / channels;
    const std::uint64_t width = before.width == 0 ? 224 : before.width;
    const std::uint64_t height = before.height == 0 ? 224 : before.height;
    if (width * height <= capacity) {
        FUZZ_CHECK(size->width == width && size->height == height);
    } else {
        FUZZ_CHECK(size->width >= 1 && size->width <= width && size->height >= 1 && size->height <= height);
    }
    const std::uint64_t pixels = std::uint64_t{size->width} * size->height;
    FUZZ_CHECK(pixels <= capacity);
    FUZZ_CHECK(block->width == size->width && block->height == size->height);
    FUZZ_CHECK(block->state == video::FRAME_READY);
    const std::size_t bytes = static_cast<std::size_t>(pixels) * channels;
    FUZZ_CHECK(std::memcmp(block->pixels, packedPattern(before.colorMode).data(), bytes) == 0);
    FUZZ_CHECK(isGuard(block->pixels + bytes, sizeof block->pixels - bytes));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const bool otherQueue = input.choice(4) == 0;
    const long messageSize = otherQueue ? 1 + input.byte() : static_cast<long>(video::REQUEST_SIZE);
    std::size_t blockSize = sizeof(CaptureBlock) + GUARD;
    switch (input.choice(8)) {
        case 0:
            blockSize = 0;
            break;
        case 1:
            blockSize = 1 + input.number<std::uint32_t>() % (sizeof(CaptureBlock) + GUARD);
            break;
        default:
            break;
    }
    Client client(messageSize, blockSize);
    if (client.block() != nullptr) std::memset(client.bytes(), GUARD_BYTE, blockSize);
    pipeline::RequestServer server;
    server.refresh();
    FUZZ_CHECK(server.fd() != -1);
    do {
        serveOne(server, client, blockSize, takeMessage(input, static_cast<std::size_t>(messageSize)), input);
    } while (!input.empty());
    // No message is left on the queue.
    FUZZ_CHECK(!server.serve([](pipeline::Image&) { return true; }));
    return 0;
}
