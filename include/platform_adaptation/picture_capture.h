// Frames of the running video, one at a time.
#ifndef PLATFORM_ADAPTATION_PICTURE_CAPTURE_H
#define PLATFORM_ADAPTATION_PICTURE_CAPTURE_H

#include <pthread.h>

#include "platform_adaptation/ai_common.h"
#include "platform_adaptation/export.h"

namespace video {
struct CaptureBlock;
}

// Requests a frame from the video pipeline, another process, and delivers it to the caller of a synchronous
// request or to the registered callback. A television has one capture block and one queue: use one object in
// one process, and one request at a time. A new request overwrites the previous frame.
//
//              start()                       getPicture()
//   stopped ------------> running, idle ------------------> waiting for the frame
//      ^                    |      ^                           |
//      +--------------------+      +---------------------------+
//          stop(), ~                  frame there, or 2 s over
//
// Any thread. Inside the callback, stop(), the destructor and a request without waiting block for ever. Do
// not call start() and stop() at the same time.
//
// The pipeline's queue holds five messages, and stop() sends one. With five messages untaken, stop() and the
// destructor block until the pipeline takes one. A sixth request blocks the sender thread, and the next
// request then blocks, too: no limit of 2 s holds while the queue is full.
class PLATFORM_ADAPTATION_API PictureCapture {
  public:
    // `success` says whether `picture` was filled; otherwise it has no pixels. The picture is valid during
    // the call only, its pixels until the next request. Runs on the checking thread; the next frame waits
    // until it returns.
    using NotifyFunction = void (*)(bool success, korvale::ai::PictureData* picture, void* userData);

    PictureCapture();

    // Calls stop(). The capture block stays attached: pixels delivered earlier can still be read.
    ~PictureCapture();

    PictureCapture(const PictureCapture&) = delete;
    PictureCapture& operator=(const PictureCapture&) = delete;

    // Replaces the callback; `userData` is passed to each call. Call it before start(): if there is no
    // callback at start(), no callback is ever called. Does not wait for a call that is running.
    void registerCallBack(NotifyFunction fn, void* userData);

    // Attaches the capture block, clears it, and starts the threads. Failures are logged only; on a running
    // object it does nothing. The threads need a moment until they wait for requests. A request before that
    // may be lost: it times out, or its callback is never called. Repeat the first request. To detect a
    // failed attach, call initShareMemory() before start().
    void start();

    // Ends the threads and removes the request queue, even if another process uses it, too. Blocks until the
    // threads have ended: up to about 2 s with a callback, which is called one last time. That call reports
    // the frame in the block: success with 0 x 0 pixels if none was ever requested.
    void stop();

    // Requests a frame of the size, colour mode and option of `*picture`; with null, of 224 x 224 pixels,
    // COLOR_MODE_RGB, option 1. Call it only after start() has attached the block: this is not checked.
    //
    // With `wait` and a picture: blocks for up to 2 s and returns the result of picutreCaptureFinished().
    // Otherwise: returns true, and the callback is called when the frame is there or the 2 s are over. Such a
    // request blocks while the callback of an earlier request is pending or runs.
    bool getPicture(bool wait, korvale::ai::PictureData* picture);

    // Waits for the requested frame, for up to 2 s in steps of 50 ms. Any thread.
    // True: `*picture` has the pixels (in the capture block, not copied; valid until the next request), the
    // width and height that the pipeline reported, and COLOR_MODE_RGB, whatever was requested. A pipeline may
    // report any size; the block holds 150528 bytes of pixels.
    // False: timeout, `picture` is null, or no block is attached; `*picture` is unchanged.
    bool picutreCaptureFinished(korvale::ai::PictureData* picture);

    // Creates or opens the capture block, attaches it and clears it; start() calls this.
    // False: the segment cannot be created, and the object is unchanged; or it cannot be attached. Then no
    // request or picutreCaptureFinished() may follow, nor, with a callback, stop() or the destructor: all
    // read the block.
    bool initShareMemory();

    // The bodies of the sender thread and of the checking thread; they return after stop() requests it.
    void handleSendMessageQueue();
    void handleCheckCapture();

  private:
    PLATFORM_ADAPTATION_LOCAL void request(const korvale::ai::PictureData& picture);

    // Shared between threads without a lock, by design, except for m_sendMessage, which m_sendMutex guards.
    video::CaptureBlock* m_pshareMemory;
    NotifyFunction m_notifyFun;
    void* m_userData;
    char m_sendMessage[20];
    bool m_loopSendMessageQueue;
    pthread_t m_sendThread;
    pthread_mutex_t m_sendMutex;
    pthread_cond_t m_sendCond;
    bool m_loopCheckCapture;
    pthread_t m_checkThread;
    pthread_mutex_t m_checkMutex;
    pthread_cond_t m_checkCond;
};

#endif
