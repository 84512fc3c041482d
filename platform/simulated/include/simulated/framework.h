#ifndef SIMULATED_FRAMEWORK_H
#define SIMULATED_FRAMEWORK_H

#include <mutex>
#include <string>

namespace simulated {

// The process framework that clients ask for the model.
class Framework {
  public:
    // Refuses look-ups with `status`; 0 for no refusal.
    void failLookups(int status);
    // Lets look-ups succeed with an interface that has no root.
    void withholdRoot(bool withhold);
    int lookupStatus() const;
    bool withholdsRoot() const;
    // Since the last reset: look-ups of an interface, and questions for its root.
    unsigned lookups() const;
    unsigned rootQuestions() const;
    void reset();

    // For the platform's side.
    int lookUp(const std::string& name);
    bool givesRoot();

  private:
    mutable std::mutex m_mutex;
    int m_status = 0;
    bool m_withholdRoot = false;
    unsigned m_lookups = 0;
    unsigned m_rootQuestions = 0;
};

}  // namespace simulated

#endif
