// The connection between the television and its pipeline: commands in, events and answers out.
//
//   in   set NAME VALUES       a picture setting: brightness contrast saturation sharpness nr tuner
//                              tuner.luma tuner.sat tuner.hue pq
//        clip PATH             play a film
//        scenes | scene NAME   all generated scenes in turn, or one of them
//        input NAME            the card of an input
//        pause | play
//        preview WIDTHxHEIGHT  write the current picture, with its settings, to the preview memory
//   out  ready                 the first frame is on the screen; or "error TEXT", and the process ends
//        ok | error TEXT       the answer to each command, in order
//        film FORMAT HDR       a film is shown, or has changed: "1920x1080p@50", "-" while it is at its end;
//                              "sdr", "hdr_10" or "hdr_hlg"
//        film off              no film is shown any more
//        delivered N WxH       sent after each delivered frame; N counts frames since the start
//        trouble TEXT          an error outside a command
//
// When the connection closes, the television is off.
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
    // The longest line that is kept whole. Of a longer line, LINE_MAX_LENGTH + 1 characters are kept.
    static constexpr std::size_t LINE_MAX_LENGTH = 8192;

    // Without a descriptor, no command arrives, and sent lines are dropped.
    Control() = default;

    // Takes ownership of the descriptor. Returns an empty text, or the error.
    std::string open(int fd);

    bool present() const { return m_fd.valid(); }
    int fd() const { return m_fd.get(); }

    // The events for poll(). Commands are read only as fast as they are handled, so that the peer cannot fill
    // this process's memory.
    short events(bool acceptCommands) const;

    // Call it with the events that poll() has reported.
    void handle(short revents, bool acceptCommands);

    // Whether the peer has closed the connection: the television is off.
    bool ended() const { return m_ended; }

    std::optional<std::string> nextLine();

    void send(std::string_view line);

    // Like send(), but drops the line if the peer does not read.
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
