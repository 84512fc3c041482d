#include "request_server.h"

#include <fcntl.h>
#include <mqueue.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <string>
#include <utility>

#include "report.h"
#include "video/capture_block.h"

namespace pipeline {
namespace {

constexpr std::uint32_t DEFAULT_EDGE = 224;

// The positions of the channels in a pixel of this layout.
struct PixelLayout {
    std::size_t channels = 0;
    std::array<std::size_t, 4> order{};
};

constexpr PixelLayout RGBA{4, {0, 1, 2, 3}};
constexpr PixelLayout BGRA{4, {2, 1, 0, 3}};
constexpr PixelLayout BGR{3, {2, 1, 0, 0}};
constexpr PixelLayout RGB{3, {0, 1, 2, 0}};

PixelLayout layoutOf(std::uint32_t colorMode) {
    switch (colorMode) {
        case 1:
            return RGBA;
        case 2:
            return BGRA;
        case 3:
            return BGR;
        default:
            return RGB;
    }
}

// Returns the requested size; if it does not fit the block, the largest size of the same proportions that
// fits.
FrameSize fittingSize(FrameSize requested, std::size_t channels) {
    const std::uint64_t width = requested.width == 0 ? DEFAULT_EDGE : requested.width;
    const std::uint64_t height = requested.height == 0 ? DEFAULT_EDGE : requested.height;
    const std::uint64_t pixels = video::CAPTURE_PIXEL_BYTES / channels;
    // Both factors are below 2^32, so the product does not overflow.
    if (width * height <= pixels) {
        return {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
    }

    const double scale =
        std::sqrt(static_cast<double>(pixels) / (static_cast<double>(width) * static_cast<double>(height)));
    const auto scaled = [&](std::uint64_t edge) {
        const auto result = static_cast<std::uint64_t>(static_cast<double>(edge) * scale);
        return std::clamp<std::uint64_t>(result, 1, pixels);
    };
    // If the width was raised to one pixel, the height must still respect the limit.
    const std::uint64_t fittingWidth = scaled(width);
    const std::uint64_t fittingHeight = std::min(scaled(height), pixels / fittingWidth);
    return {static_cast<std::uint32_t>(fittingWidth), static_cast<std::uint32_t>(fittingHeight)};
}

void pack(const Image& image, const PixelLayout& layout, std::uint8_t* pixels) {
    for (std::size_t i = 0; i < image.rgba.size(); i += 4) {
        for (std::size_t c = 0; c < layout.channels; ++c) *pixels++ = image.rgba[i + layout.order[c]];
    }
}

std::uint32_t readOnce(std::uint32_t& word) {
    return std::atomic_ref<std::uint32_t>(word).load(std::memory_order_relaxed);
}

// Attached for one request only, so that no removed or replaced block is kept.
class AttachedBlock {
  public:
    explicit AttachedBlock(int id) : m_address(::shmat(id, nullptr, 0)) {}
    AttachedBlock(const AttachedBlock&) = delete;
    AttachedBlock& operator=(const AttachedBlock&) = delete;
    ~AttachedBlock() {
        if (valid()) ::shmdt(m_address);
    }

    bool valid() const { return reinterpret_cast<std::intptr_t>(m_address) != -1; }
    video::CaptureBlock* get() const { return static_cast<video::CaptureBlock*>(m_address); }

  private:
    void* m_address;
};

// Returns an empty text if the segment can be used as the block.
std::string problemWith(int id) {
    shmid_ds status{};
    if (::shmctl(id, IPC_STAT, &status) != 0) return withReason("cannot look at the capture block", errno);
    if (status.shm_segsz < sizeof(video::CaptureBlock)) {
        return "the capture block has " + std::to_string(status.shm_segsz) + " bytes instead of " +
               std::to_string(sizeof(video::CaptureBlock)) + ": requests are ignored";
    }
    return {};
}

std::optional<FrameSize> answer(video::CaptureBlock& block, const RequestServer::Render& render) {
    std::atomic_ref<std::uint32_t> state(block.state);
    if (state.load(std::memory_order_acquire) != video::FRAME_REQUESTED) return std::nullopt;

    // The requester can change these values at any time: each is read once, and only the copy is used.
    const PixelLayout layout = layoutOf(readOnce(block.colorMode));
    const FrameSize size = fittingSize({readOnce(block.width), readOnce(block.height)}, layout.channels);

    Image image(size.width, size.height);
    if (!render(image)) return std::nullopt;

    pack(image, layout, block.pixels);
    block.width = size.width;
    block.height = size.height;
    state.store(video::FRAME_READY, std::memory_order_release);
    return size;
}

}  // namespace

void RequestServer::refresh() {
    if (m_queue.valid()) {
        // A message queue is a file on Linux. Without a link, it has no name, and no process can open it.
        struct stat status {};
        if (::fstat(m_queue.get(), &status) == 0 && status.st_nlink > 0) return;
        m_queue.reset();
    }
    FileDescriptor queue(::mq_open(video::REQUEST_QUEUE_NAME, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    mq_attr attributes{};
    if (!queue.valid() || ::mq_getattr(queue.get(), &attributes) != 0) {
        if (errno != ENOENT && errno != m_queueError)
            report(withReason("cannot open the request queue", errno));
        m_queueError = errno;
        return;
    }
    m_queueError = 0;
    // The queue may belong to another program and have messages of another size. The buffer must fit the
    // largest message.
    m_message.resize(static_cast<std::size_t>(attributes.mq_msgsize));
    m_queue = std::move(queue);
}

bool RequestServer::receiveRequest() {
    const ssize_t size = ::mq_receive(m_queue.get(), m_message.data(), m_message.size(), nullptr);
    if (size != static_cast<ssize_t>(video::REQUEST_SIZE)) return false;
    std::array<char, video::REQUEST_SIZE> request{};
    std::copy(std::begin(video::REQUEST_TEXT), std::end(video::REQUEST_TEXT), request.begin());
    return std::equal(request.begin(), request.end(), m_message.begin());
}

std::optional<FrameSize> RequestServer::serve(const Render& render) {
    if (!receiveRequest()) return std::nullopt;
    const int id = ::shmget(video::CAPTURE_BLOCK_KEY, 0, 0);
    if (id < 0) return std::nullopt;

    std::string problem = problemWith(id);
    if (problem.empty()) {
        const AttachedBlock block(id);
        if (block.valid()) return answer(*block.get(), render);
        problem = withReason("cannot attach the capture block", errno);
    }
    if (id != m_refusedBlock) report(problem);
    m_refusedBlock = id;
    return std::nullopt;
}

void RequestServer::removeUnused() {
    const int id = ::shmget(video::CAPTURE_BLOCK_KEY, 0, 0);
    shmid_ds status{};
    const bool exists = id >= 0 && ::shmctl(id, IPC_STAT, &status) == 0;
    // A requester never opens another block or queue. If these stay, it can continue with the next pipeline.
    if (exists && status.shm_nattch > 0) return;
    if (::mq_unlink(video::REQUEST_QUEUE_NAME) != 0 && errno != ENOENT) {
        report(withReason("cannot remove the request queue", errno));
    }
    if (exists && ::shmctl(id, IPC_RMID, nullptr) != 0) {
        report(withReason("cannot remove the capture block", errno));
    }
}

}  // namespace pipeline
