// The platform of a process that uses a television in another process.
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

// When the television goes away, waiting requests fail, and every operation fails until it is back. Then all
// subscriptions, iterators and registrations are restored. Any thread.
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

// The other television that this process uses; null if its television is embedded. AIPQ_TV decides this on
// the first call. A television that it names is used even if it is not there yet. If it names none, the
// television of the default name is used if it is there. Never destroyed.
OtherTelevision* otherTelevision();

}  // namespace simulated

#endif
