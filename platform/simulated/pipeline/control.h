// The line that the television holds to its pipeline: commands in, events and answers out.
//
//   in   set NAME VALUES       a picture setting: brightness contrast saturation sharpness nr tuner
//                              tuner.luma tuner.sat tuner.hue pq
//        clip PATH             play a film
//        scenes | scene NAME   all generated scenes in turn, or one of them
//        input NAME            the card of an input
//        pause | play
//        preview WIDTHxHEIGHT  leave what is on, as the settings make it, in the preview memory
//   out  ready                 the first frame is there; or "error TEXT", and the process ends
//        ok | error TEXT       the answer to each command, in order
//        film FORMAT HDR       a film is on, or has changed: "1920x1080p@50", "-" while it is at its end;
//                              "sdr", "hdr_10" or "hdr_hlg"
//        film off              no film is on any more
//        delivered N WxH       after each frame, N since the start
//        trouble TEXT          what went wrong meanwhile
//
// The end of the line switches the television off.
#ifndef PIPELINE_CONTROL_H
#define PIPELINE_CONTROL_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "file_descriptor.h"

namespace pipeline {

class Control {
  public:
    // The longest line that is kept whole; of a longer one, one character more is kept.
    static constexpr std::size_t LINE_MAX_LENGTH = 8192;

    // Without a descriptor nothing comes in, and what goes out is dropped.
    Control() = default;

    // Takes over the descriptor. If that is not possible, the answer says why.
    std::string open(int fd);

    bool present() const { return m_fd.valid(); }
    int fd() const { return m_fd.get(); }

    // What to wait for with poll(). Commands are read only as fast as they are worked off, so that neither
    // side can fill up this process.
    short events(bool acceptCommands) const;

    // To be called with what poll() has reported.
    void handle(short revents, bool acceptCommands);

    // The other side has closed: the television is off.
    bool ended() const { return m_ended; }

    std::optional<std::string> nextLine();

    void send(std::string_view line);

    // Like send(), but dropped if the other side does not read what it is sent.
    void sendIfHeard(std::string_view line);

  private:
    bool wantsInput(bool acceptCommands) const;
    void receive();
    void flush();

    FileDescriptor m_fd;
    bool m_answers = false;
    bool m_ended = false;
    std::string m_input;
    std::size_t m_lineLength = 0;
    std::string m_output;
};

}  // namespace pipeline

#endif
