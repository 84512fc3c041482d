// The faults of the simulated television by name: the one vocabulary of scenarios, tools and pages.
#ifndef SIMULATED_FAULTS_H
#define SIMULATED_FAULTS_H

#include <string>
#include <vector>

#include "simulated/television.h"

namespace simulated {

enum class FaultKind { FLAG, NUMBER, MILLISECONDS };

struct FaultDefinition {
    std::string name;
    FaultKind kind;
    bool ofKey;           // every key has its own
    long long lowest;     // 0 of a flag
    long long highest;    // 1 of a flag
    long long harmless;   // what it is when the television is switched on
    std::string meaning;  // for people
};

const std::vector<FaultDefinition>& faultDefinitions();

// Null for an unknown name.
const FaultDefinition* findFault(const std::string& name);

// Sets a fault; `key` is empty for a fault that is not of a key. Throws
//   std::out_of_range      for an unknown fault or key,
//   std::invalid_argument  for a key where there is none, or none where there must be one,
//   std::domain_error      for a value beyond its lowest or highest,
//   std::runtime_error     if the video pipeline does not run, or cannot be started again.
void setFault(Television& television, const std::string& key, const std::string& name, long long value);

// What it is now. Throws like setFault().
long long fault(Television& television, const std::string& key, const std::string& name);

// Those that are not harmless now.
std::vector<SetFault> activeFaults(Television& television);

// Every fault is harmless again, of all keys and of the television. Held notifications are released.
void clearFaults(Television& television);

}  // namespace simulated

#endif
