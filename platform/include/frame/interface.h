// A named interface of the process framework. A television's own header must offer the class with an
// operation that returns the model's root.
#ifndef FRAME_INTERFACE_H
#define FRAME_INTERFACE_H

class RootInterface;

namespace frame {

class Interface {
  public:
    virtual ~Interface() = default;

    // Returns the model's root, or null if this interface has none. The framework keeps the root alive; the
    // caller does not own it.
    virtual RootInterface* getRootInterface() = 0;
};

}  // namespace frame

#endif
