// Frames of the running video, one at a time.
#ifndef PLATFORM_ADAPTATION_PICTURE_CAPTURE_H
#define PLATFORM_ADAPTATION_PICTURE_CAPTURE_H

#include <pthread.h>

#include "platform_adaptation/ai_common.h"
#include "platform_adaptation/export.h"

namespace video {
struct CaptureBlock;
}

// Asks the video pipeline, another process, for a frame and hands it over: to the caller of a synchronous
// request, or through the registered callback. There is one capture block on a television: use one object,
// and one request at a time; a new request overwrites the frame of the one before.
//
//              start()                       getPicture()
//   stopped ------------> running, idle ------------------> waiting for the frame
//      ^                    |      ^                           |
//      +--------------------+      +---------------------------+
//          stop(), ~                  frame there, or 2 s over
//
// All operations may be called from any thread but the checking thread (the one that runs the callback),
// where stop and a request without waiting would block for ever; start and stop one at a time.
class PLATFORM_ADAPTATION_API PictureCapture {
  public:
    // `success` tells whether `picture` was filled. The picture is valid during the call only, and its pixels
    // only until the next request. Runs on the checking thread, which does nothing else meanwhile.
    using NotifyFunction = void (*)(bool success, korvale::ai::PictureData* picture, void* userData);

    PictureCapture();

    // Calls stop(). The capture block stays attached: pixels handed out earlier can still be read.
    ~PictureCapture();

    PictureCapture(const PictureCapture&) = delete;
    PictureCapture& operator=(const PictureCapture&) = delete;

    // Replaces the callback; `userData` is handed back with each call. To be called before start(), which
    // prepares for callbacks only if there is one.
    void registerCallBack(NotifyFunction fn, void* userData);

    // Attaches the capture block, clears it, and starts the threads. Failures are logged only; on a running
    // object it does nothing. A request made before the sender thread waits for requests is not sent.
    void start();

    // Ends the threads and removes the request queue. Blocks until they have ended: up to about 2 s with a
    // callback, which is called one last time.
    void stop();

    // Requests a frame of the size, colour mode and option of `*picture`; with null, of 224 x 224 pixels,
    // COLOR_MODE_RGB, option 1. To be called only after start() has attached the block: this is not checked.
    //
    // With `wait` and a picture: blocks for up to 2 s, returns what picutreCaptureFinished() returns.
    // Otherwise: returns true; the callback is called when the frame is there or the 2 s are over. Blocks
    // while an earlier callback is being waited for or runs.
    bool getPicture(bool wait, korvale::ai::PictureData* picture);

    // Waits for the requested frame, for up to 2 s in steps of 50 ms. Any thread.
    // True: `*picture` has the pixels (in the capture block, not copied; valid until the next request), their
    // width and height as the pipeline tells them, and COLOR_MODE_RGB, whatever was requested. A pipeline may
    // tell any size; the block holds 150528 bytes of pixels.
    // False: time is up, `picture` is null, or no block is attached; `*picture` is as it was.
    bool picutreCaptureFinished(korvale::ai::PictureData* picture);

    // Creates or opens the capture block, attaches it and clears it; start() calls this.
    // False: the segment could not be had, and the object is as it was; or it could not be attached, and then
    // no request may follow.
    bool initShareMemory();

    // The bodies of the sender thread and of the checking thread; they return once stop() asks for it.
    void handleSendMessageQueue();
    void handleCheckCapture();

  private:
    PLATFORM_ADAPTATION_LOCAL void request(const korvale::ai::PictureData& picture);

    // Shared between threads without a lock, by design, but for what the mutexes guard: m_sendMessage.
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
