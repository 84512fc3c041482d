// An action of the model.
#ifndef PLATFORM_ADAPTATION_SYSTEM_ACCESS_ACTION_ACCESS_H
#define PLATFORM_ADAPTATION_SYSTEM_ACCESS_ACTION_ACCESS_H

#include <memory>
#include <string>
#include <vector>

#include "lomodelapi/argument.h"
#include "lomodelapi/observer.h"
#include "platform_adaptation/export.h"
#include "platform_adaptation/system_access/value_access_base.h"

// Receives the answers to an action's invocations, on the model's thread; the next answer waits until the
// call returns. No virtual destructor: hold an implementation in a std::shared_ptr made from its own type.
class PLATFORM_ADAPTATION_API ActionHandler {
  public:
    // `result` is a list of texts, valid during the call only.
    virtual void onActionResult(int actionId, const ValueObject& result) = 0;
    // `error` is the model's own number.
    virtual void onActionFailed(int actionId, int error) = 0;

  protected:
    ~ActionHandler() = default;
};

// An accessor to an action: connect it, then invoke it any number of times. The handler receives the answer
// of each invocation. ValueAccessBase documents when a handler may be replaced.
class PLATFORM_ADAPTATION_API ActionAccess : public ValueAccessBase, public lomodelapi::ObserverAction {
  public:
    // The constructors do not connect.
    ActionAccess(std::string name, std::shared_ptr<ActionHandler> handler);
    explicit ActionAccess(std::string name);
    // Disconnects if connected.
    ~ActionAccess() override;

    // Returns 0; 5 if there is no such object within the timeout; 6 if the object is not an action.
    int connect(int timeoutMs) override;
    int disconnect() override;

    // Replaces the handler, empty for none; returns 0.
    virtual int setActionResultHandler(std::shared_ptr<ActionHandler> handler);

    // Starts the action on the caller's thread and sets `actionId`, the id of its answer. The answer may
    // arrive before this returns. Returns 0 or the model's status; -1 if not connected, and `actionId` is
    // unchanged. Does not connect.
    virtual int invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& args);

    // The model calls these, on its thread. Without a handler, an answer is logged and dropped. The elements
    // of a result are ordered by their positions. Only the low 8 bits of a position are used, as a signed
    // number. An element whose position is outside the list is dropped; a missing one is an empty text.
    void notifyExecutionError(unsigned int actionId, int error) override;
    void notifyResult(unsigned int actionId, const std::vector<lomodelapi::Argument>& args) override;

  private:
    int m_timeout;  // the last timeout passed to connect()
    std::shared_ptr<ActionHandler> m_actionHandler;
};

#endif
