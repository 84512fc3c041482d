#ifndef PIPELINE_ONLY_PIPELINE_H
#define PIPELINE_ONLY_PIPELINE_H

#include <string>

#include "file_descriptor.h"

namespace pipeline {

// Makes this process the only pipeline of its IPC namespace while the descriptor stays open. A namespace has
// one request queue and one capture block. If another pipeline exists, the descriptor is invalid and
// `problem` has the reason.
FileDescriptor becomeOnlyPipeline(std::string& problem);

}  // namespace pipeline

#endif
