// Why a film cannot be played, in words that a person can do something with.
#ifndef PIPELINE_CLIP_PROBLEM_H
#define PIPELINE_CLIP_PROBLEM_H

#include <string>

#include "gst_owned.h"

namespace pipeline {

// What can be said without opening it; empty if it may be a film.
std::string problemWithFile(const std::string& path);

// Collects GStreamer's messages about a file.
class ClipProblem {
  public:
    // Notes what a message says is missing.
    void note(GstMessage* message);

    // Why the file cannot be played, by the error that ended it.
    std::string reason(GstMessage* error) const;

  private:
    std::string m_missing;  // what it takes to play the video; empty if nothing is missing
};

}  // namespace pipeline

#endif
