// A separate shared library, like the library that is measured.
#include "floor.h"

#include <utility>

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

namespace benchmarks {

namespace {

class FloorBase {
  public:
    virtual ~FloorBase() = default;
    virtual void onNewValue(int value) {
        LOG_ENTER();
        if (const auto handler = m_handler) handler->onNewValue(value);
    }

  protected:
    std::shared_ptr<FloorHandler> m_handler;
};

class FloorAccess : public FloorBase, public FloorObserver {
  public:
    explicit FloorAccess(std::shared_ptr<FloorHandler> handler) { m_handler = std::move(handler); }
    void notifyNewValue(int value) override {
        LOG_ENTER();
        onNewValue(value);
    }
};

}  // namespace

std::unique_ptr<FloorObserver> makeFloor(std::shared_ptr<FloorHandler> handler) {
    return std::make_unique<FloorAccess>(std::move(handler));
}

}  // namespace benchmarks
