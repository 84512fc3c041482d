// The process framework, through which a process finds the platform's named interfaces. A television's own
// header must offer the two operations. The name of the model's root is
// "dovra.lm.interfaces.tvapi.RootInterface".
#ifndef FRAME_PROCESS_H
#define FRAME_PROCESS_H

#include <boost/shared_ptr.hpp>
#include <string>

#include "frame/interface.h"

namespace frame {

class Process {
  public:
    // Returns this process by value: a light handle, destroyed after use. Any thread.
    static Process getInstance();

    // Looks up `name`. Returns 0 on success, with `reference` filled; otherwise non-zero, with `reference`
    // unchanged.
    int getInterfaceReference(boost::shared_ptr<Interface>& reference, const std::string& name);
};

}  // namespace frame

#endif
