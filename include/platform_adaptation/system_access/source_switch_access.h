// The television's sources and channels, and the resources behind the picture.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_SOURCE_SWITCH_ACCESS_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_SOURCE_SWITCH_ACCESS_H

#include <string>

#include "platform_adaptation/export.h"

// Every request blocks its caller until the television has answered this very request, without a time-out,
// and returns true if the answer was success. False: the television could not be reached (after about a
// second), refused the request, or failed. Any thread, any number of requests at once, once the first has
// been made.
class PLATFORM_ADAPTATION_API SourceSwitchAccess {
  public:
    // A set of bits: video 1, audio 2 (never alone), PSI, programme-specific information, 4.
    enum _ResourceType : int {
        RESOURCE_VIDEO = 1,
        RESOURCE_AUDIO = 2,
        RESOURCE_AV = 3,
        RESOURCE_PSI = 4,
        RESOURCE_VIDEO_PSI = 5,
        RESOURCE_PSI_AV = 7,
    };

    virtual ~SourceSwitchAccess() = default;

    // Takes resources from the television's own playback, and gives them back.
    virtual bool requestResourceFromSystem(_ResourceType type) = 0;
    virtual bool releaseResourceToSystem(_ResourceType type) = 0;

    // Stop and restart what the television plays. The two video operations are one and the same request to
    // the television, about the resources believed to be running: it knows which of the two is meant.
    // pausePSIAV() asks nothing and returns true.
    virtual bool pauseVideo() = 0;
    virtual bool pausePSI() = 0;
    virtual bool pauseAV() = 0;
    virtual bool pausePSIAV() = 0;
    virtual bool resumeVideo() = 0;
    virtual bool resumePSI() = 0;
    virtual bool resumeAV() = 0;
    virtual bool resumePSIAV() = 0;

    // Whether the television's banner stays hidden during a switch. A status as of
    // ValueAccessBase::setValue().
    virtual int setQuietFlag(int flag) = 0;

    // Tune; the texts are handed on as they are. `forceShowAV` asks for picture and sound even where the
    // television would hold them back.
    virtual bool setChannelByUUIDs(std::string channelUUID, std::string folderUUID, bool forceShowAV) = 0;
    virtual bool setChannelByURI(std::string uri, bool forceShowAV) = 0;
    virtual bool setChannelNext() = 0;
    virtual bool setChannelPrev() = 0;
};

#endif
