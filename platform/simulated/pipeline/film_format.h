// The format and HDR type of the film on the screen.
#ifndef PIPELINE_FILM_FORMAT_H
#define PIPELINE_FILM_FORMAT_H

#include <string>

#include "gst_owned.h"

namespace pipeline {

// "sdr", "hdr_10" or "hdr_hlg".
std::string hdrTypeOf(const GstCaps* film);

// Size, p or i, and rate, for example "1920x1080p@50"; without "@50" if the film has no rate. For interlaced
// film, this is the rate of the fields.
std::string formatOf(const GstCaps* film);

}  // namespace pipeline

#endif
