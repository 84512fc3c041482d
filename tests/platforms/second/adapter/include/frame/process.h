#ifndef FRAME_PROCESS_H
#define FRAME_PROCESS_H

#include <boost/shared_ptr.hpp>
#include <string>

#include "frame/interface.h"

namespace frame {

class Process {
  public:
    static Process getInstance() { return Process(); }
    int getInterfaceReference(boost::shared_ptr<Interface>& reference, const std::string& name);
};

}  // namespace frame

#endif
