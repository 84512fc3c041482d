#ifndef FRAME_INTERFACE_H
#define FRAME_INTERFACE_H

class RootInterface;

namespace frame {

class Interface {
  public:
    RootInterface* getRootInterface();
};

}  // namespace frame

#endif
