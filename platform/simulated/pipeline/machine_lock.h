#ifndef PIPELINE_MACHINE_LOCK_H
#define PIPELINE_MACHINE_LOCK_H

#include <string>

#include "file_descriptor.h"

namespace pipeline {

// Makes this process the machine's only pipeline for as long as the descriptor stays open. If there is
// another one, the descriptor is invalid and problem says so.
FileDescriptor lockMachine(std::string& problem);

}  // namespace pipeline

#endif
