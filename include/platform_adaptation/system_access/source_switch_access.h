// The television's sources and channels, and the resources behind the picture.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_SOURCE_SWITCH_ACCESS_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_SOURCE_SWITCH_ACCESS_H

#include <string>

#include "platform_adaptation/export.h"

// Every request blocks its caller, without a timeout, until the television answers this request. Returns true
// if the answer was success. Returns false if the television could not be reached (after about a second),
// refused the request, or failed. Call it on any thread except the model's thread, which delivers the
// answers. After a first request has returned, any number of requests may run at the same time.
class PLATFORM_ADAPTATION_API SourceSwitchAccess {
  public:
    // A set of bits: 1 video, 2 audio (never alone), 4 PSI, programme-specific information.
    enum _ResourceType : int {
        RESOURCE_VIDEO = 1,
        RESOURCE_AUDIO = 2,
        RESOURCE_AV = 3,
        RESOURCE_PSI = 4,
        RESOURCE_VIDEO_PSI = 5,
        RESOURCE_PSI_AV = 7,
    };

    virtual ~SourceSwitchAccess() = default;

    // Takes resources from the television's own playback, and returns them to it.
    virtual bool requestResourceFromSystem(_ResourceType type) = 0;
    virtual bool releaseResourceToSystem(_ResourceType type) = 0;

    // Stop and restart playback. pauseVideo() and resumeVideo() send the same request, with the resources
    // that this object believes to be running; the television decides whether to stop or restart.
    // pausePSIAV() sends no request and returns true.
    virtual bool pauseVideo() = 0;
    virtual bool pausePSI() = 0;
    virtual bool pauseAV() = 0;
    virtual bool pausePSIAV() = 0;
    virtual bool resumeVideo() = 0;
    virtual bool resumePSI() = 0;
    virtual bool resumeAV() = 0;
    virtual bool resumePSIAV() = 0;

    // 1 hides the television's banner during a switch, 0 shows it. Connects on first use, in up to 1 s.
    // Returns a status, like ValueAccessBase::setValue().
    virtual int setQuietFlag(int flag) = 0;

    // Select a channel. The texts are passed unchanged and unchecked. `forceShowAV` requests picture and
    // sound even if the television would withhold them.
    virtual bool setChannelByUUIDs(std::string channelUUID, std::string folderUUID, bool forceShowAV) = 0;
    virtual bool setChannelByURI(std::string uri, bool forceShowAV) = 0;
    virtual bool setChannelNext() = 0;
    virtual bool setChannelPrev() = 0;
};

#endif
