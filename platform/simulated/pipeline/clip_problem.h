// The reason why a film cannot be played, in words that help its user.
#ifndef PIPELINE_CLIP_PROBLEM_H
#define PIPELINE_CLIP_PROBLEM_H

#include <string>

#include "gst_owned.h"

namespace pipeline {

// Checks the file without opening it as a film. Returns the problem; empty if the file may be a film.
std::string problemWithFile(const std::string& path);

// Collects GStreamer's messages about a file.
class ClipProblem {
  public:
    // Notes the missing element that a message names.
    void note(GstMessage* message);
    bool hasMissing() const { return !m_missing.empty(); }

    // Returns why the file cannot be played; `error` is the error that ended it.
    std::string reason(GstMessage* error) const;

  private:
    std::string m_missing;  // the missing element; empty if nothing is missing
};

}  // namespace pipeline

#endif
