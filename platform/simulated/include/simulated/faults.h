// The names of the simulated television's faults, as scenarios, tools and pages use them.
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
    bool ofKey;           // each key has this fault separately
    long long lowest;     // 0 for a flag
    long long highest;    // 1 for a flag
    long long harmless;   // the value without the fault, the default
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

// Returns the current value of a fault. Throws like setFault().
long long fault(Television& television, const std::string& key, const std::string& name);

// Returns the faults whose values are not harmless now.
std::vector<SetFault> activeFaults(Television& television);

// Sets all faults of the keys and of the television to their harmless values. Releases held notifications.
void clearFaults(Television& television);

}  // namespace simulated

#endif
