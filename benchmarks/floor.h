// The minimal cost of a notification: its virtual calls, its level checks and a copy of a std::shared_ptr,
// with the number in a register.
#ifndef BENCHMARKS_FLOOR_H
#define BENCHMARKS_FLOOR_H

#include <memory>

namespace benchmarks {

class FloorObserver {
  public:
    virtual ~FloorObserver() = default;
    virtual void notifyAvailability(bool) {}
    virtual void notifyNewValue(int value) = 0;
};

// Implemented by the client.
class FloorHandler {
  public:
    virtual ~FloorHandler() = default;
    virtual void onNewValue(int value) = 0;
};

__attribute__((visibility("default"))) std::unique_ptr<FloorObserver> makeFloor(
    std::shared_ptr<FloorHandler> handler);

}  // namespace benchmarks

#endif
