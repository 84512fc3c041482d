#include "subjects.h"

#include "csp/debug.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

namespace benchmarks {

void logLine(int value) { LOG_INFO("a line with two numbers: %d, %d\n", value, value + 1); }

namespace {

void checkLevel(const char* function) {
    if (cspDebugCheckLevelGetFrameAndChunk(logging::LEVEL_TRACE) != 0)
        cspDebugOutput0(logging::LEVEL_TRACE, "%s\n", function);
}

struct FloorOwner {
    void onChanged(int value) { *last = value; }
    int* last;
};

class FloorHandler {
  public:
    virtual ~FloorHandler() = default;
    virtual void onNewValue(int value) = 0;
};

class FloorHandlerOfOwner final : public FloorHandler {
  public:
    FloorHandlerOfOwner(FloorOwner owner, void (FloorOwner::*callback)(int))
        : m_owner(owner), m_callback(callback) {}
    void onNewValue(int value) override { (m_owner.*m_callback)(value); }

  private:
    FloorOwner m_owner;
    void (FloorOwner::*m_callback)(int);
};

class FloorBase {
  public:
    virtual ~FloorBase() = default;
    virtual void onNewValue(int value) {
        checkLevel(__func__);
        m_handler->onNewValue(value);
    }

  protected:
    std::unique_ptr<FloorHandler> m_handler;
};

class FloorAccess : public FloorBase, public FloorObserver {
  public:
    explicit FloorAccess(int& last) {
        m_handler = std::make_unique<FloorHandlerOfOwner>(FloorOwner{&last}, &FloorOwner::onChanged);
    }
    void notifyNewValue(int value) override {
        checkLevel(__func__);
        onNewValue(value);
    }
};

void setLast(int value, int& last) { last = value; }

}  // namespace

std::unique_ptr<FloorObserver> makeFloor(int& last) { return std::make_unique<FloorAccess>(last); }

std::unique_ptr<StillValue> makeStillValue() {
    return std::make_unique<StillValue>(lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER);
}

BizValue& asModelValue(StillValue& value) { return value; }

DirectFunction directFunction() { return setLast; }

}  // namespace benchmarks
