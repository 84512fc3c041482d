// The request queue and the capture block, which transfer frames from the video pipeline to this process.
//
// Both sides include this file; it is the whole interface between them. They may be built for different
// processors: every field has a fixed width and all of them are little-endian.
//
//   requester                                    pipeline (another process)
//   ---------                                    --------------------------
//   state = FRAME_REQUESTED
//   writes width, height, colorMode, option
//   sends REQUEST_TEXT on the queue      ---->   receives it
//                                                writes pixels, width, height
//   polls state (acquire)                <----   state = FRAME_READY (release)
//   reads the pixels in place
//
// The state word is the only synchronisation: a reader that reads FRAME_READY with acquire order sees the
// whole frame that was written before it with release order. While the state is FRAME_REQUESTED, the
// requester must not rely on any other content of the block.
#ifndef VIDEO_CAPTURE_BLOCK_H
#define VIDEO_CAPTURE_BLOCK_H

#include <cstddef>
#include <cstdint>

namespace video {

// The block: a System V segment of this key and exactly sizeof(CaptureBlock) bytes. The side that starts
// first creates it.
constexpr std::int32_t CAPTURE_BLOCK_KEY = 72314;
constexpr unsigned CAPTURE_PERMISSIONS = 0666;

// The queue: POSIX, created and finally removed by the requester.
constexpr char REQUEST_QUEUE_NAME[] = "/picture_capture_message_queue";
constexpr long REQUEST_QUEUE_DEPTH = 5;

// A request has exactly this many bytes: the text, terminated and filled with zero bytes. A message with any
// other text is not a request. When the requester stops, it sends its last message once more (20 zero bytes
// if it made no request), and then removes the queue.
constexpr std::size_t REQUEST_SIZE = 20;
constexpr char REQUEST_TEXT[] = "capture_video";

constexpr std::uint32_t FRAME_READY = 0;
constexpr std::uint32_t FRAME_REQUESTED = 1;

// The largest frame: 224 x 224 pixels of three channels.
constexpr std::size_t CAPTURE_PIXEL_BYTES = 224U * 224U * 3U;

struct CaptureBlock {
    std::uint32_t totalSize;  // size of the block in bytes; written by the requester when it attaches
    std::uint32_t state;      // FRAME_REQUESTED, set by the requester; FRAME_READY, set by the pipeline
    std::uint32_t width;      // pixels; requested, then the delivered width
    std::uint32_t height;     // pixels; likewise
    std::uint32_t colorMode;  // requested: 1 RGBA, 2 BGRA, 3 BGR, 4 RGB
    std::uint32_t option;     // the requester's own number, for the pipeline
    std::uint8_t pixels[CAPTURE_PIXEL_BYTES];  // rows from the top, without padding
};

static_assert(offsetof(CaptureBlock, totalSize) == 0, "wire format");
static_assert(offsetof(CaptureBlock, state) == 4, "wire format");
static_assert(offsetof(CaptureBlock, width) == 8, "wire format");
static_assert(offsetof(CaptureBlock, height) == 12, "wire format");
static_assert(offsetof(CaptureBlock, colorMode) == 16, "wire format");
static_assert(offsetof(CaptureBlock, option) == 20, "wire format");
static_assert(offsetof(CaptureBlock, pixels) == 24, "wire format");
static_assert(sizeof(CaptureBlock) == 150552, "wire format");
static_assert(sizeof(REQUEST_TEXT) <= REQUEST_SIZE, "wire format");
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the capture block is little-endian"
#endif

}  // namespace video

#endif
