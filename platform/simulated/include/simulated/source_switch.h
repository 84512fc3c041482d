#ifndef SIMULATED_SOURCE_SWITCH_H
#define SIMULATED_SOURCE_SWITCH_H

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "simulated/events.h"
#include "simulated/model.h"

namespace simulated {

class VideoPipeline;

// The source-switch action. It changes channel and source, and lends resources to clients. The channels are
// the rows of the channel list.
class SourceSwitch {
  public:
    // The errors of its answers.
    static constexpr int ERROR_UNKNOWN_COMMAND = 22;
    static constexpr int ERROR_UNKNOWN_CHANNEL = 44;

    SourceSwitch(Model& model, VideoPipeline& video, Events& events);

    // Selects a channel like the remote control: by its number, or the next ("+1") or previous ("-1") one.
    // Returns false if there is no such channel.
    bool selectChannel(const std::string& number);
    // Stops or continues digital television.
    void setPlaying(bool playing);

    // The row of the selected channel in the channel list.
    std::size_t channel() const;
    // The number of the selected channel; empty if the list no longer has it.
    std::string channelNumber() const;
    // The resources that clients hold, as a set of bits: video 1, audio 2, PSI 4.
    int takenResources() const;
    // Whether digital television is playing.
    bool playing() const;
    // Sets the keys of the video's format and HDR type to those of the film on the screen; without a film, to
    // those of the channel. The format is empty if nothing plays.
    void describeVideo();
    // The format that describeVideo() sets.
    std::string format() const;
    void reset();

  private:
    Answer perform(const std::vector<lomodelapi::Argument>& arguments);
    Answer changeChannel(const std::vector<lomodelapi::Argument>& arguments);
    void tune(const Rows& rows, std::size_t channel, bool forceShowAV);
    void show(const std::vector<std::string>& row, bool forceShowAV);
    void play(bool playing);
    std::string currentFormat() const;
    void setHdrType();

    Model& m_model;
    VideoPipeline& m_video;
    Events& m_events;
    mutable std::mutex m_mutex;
    std::size_t m_channel = 0;
    int m_takenResources = 0;
    bool m_playing = true;
};

}  // namespace simulated

#endif
