#ifndef PIPELINE_ONLY_PIPELINE_H
#define PIPELINE_ONLY_PIPELINE_H

#include <string>

#include "file_descriptor.h"

namespace pipeline {

// Makes this process the only pipeline of its IPC namespace, which has one request queue and one capture
// block, for as long as the descriptor stays open. If there is another one, the descriptor is invalid and
// problem says so.
FileDescriptor becomeOnlyPipeline(std::string& problem);

}  // namespace pipeline

#endif
