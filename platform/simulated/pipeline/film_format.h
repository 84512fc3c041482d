// What the television says about the film on its screen.
#ifndef PIPELINE_FILM_FORMAT_H
#define PIPELINE_FILM_FORMAT_H

#include <string>

#include "gst_owned.h"

namespace pipeline {

// "sdr", "hdr_10" or "hdr_hlg".
std::string hdrTypeOf(const GstCaps* film);

// Size, p or i, and rate, like "1920x1080p@50"; without "@50" if the film has no rate. The rate of interlaced
// film is that of its fields.
std::string formatOf(const GstCaps* film);

}  // namespace pipeline

#endif
