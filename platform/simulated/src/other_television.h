// The platform of a process whose television is another process.
#ifndef SIMULATED_OTHER_TELEVISION_H
#define SIMULATED_OTHER_TELEVISION_H

#include <string>

class RootInterface;

namespace zt {
namespace apmclient {
class AppManagerClient;
}
}  // namespace zt

namespace simulated {

// When the television goes away, what waits for it fails, every operation fails until it is back, and then
// all subscriptions, iterators and registrations are there again. Any thread.
class OtherTelevision {
  public:
    // The process framework.
    virtual int lookUp(const std::string& interface) = 0;
    virtual bool givesRoot() = 0;

    virtual RootInterface* root() = 0;
    // Null if the application manager cannot be reached.
    virtual zt::apmclient::AppManagerClient* applications() = 0;

  protected:
    ~OtherTelevision() = default;
};

// The one of this process; null if its television is embedded. Decided by AIPQ_TV on the first call: a
// television that it names is used whether or not it is there yet; if it names none, the one of the default
// name is used if it is there. Never destroyed.
OtherTelevision* otherTelevision();

}  // namespace simulated

#endif
