#ifndef SIMULATED_FRAMEWORK_H
#define SIMULATED_FRAMEWORK_H

#include <mutex>
#include <string>

namespace simulated {

// The process framework, from which clients obtain the model.
class Framework {
  public:
    // Refuses lookups with `status`; 0 accepts them.
    void failLookups(int status);
    // With true, lookups succeed, but return an interface without a root.
    void withholdRoot(bool withhold);
    int lookupStatus() const;
    bool withholdsRoot() const;
    // Counts since the last reset: lookups of an interface, and requests for its root.
    unsigned lookups() const;
    unsigned rootQuestions() const;
    void reset();

    // Called by the platform's functions.
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
