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

// Receives the answers to an action's invocations, on the model's thread; the next answer waits until this
// returns. No virtual destructor: hold an implementation in a std::shared_ptr made from its own type.
class PLATFORM_ADAPTATION_API ActionHandler {
  public:
    // `result` is a list of texts, valid during the call only.
    virtual void onActionResult(int actionId, const ValueObject& result) = 0;
    // `error` is the model's own number.
    virtual void onActionFailed(int actionId, int error) = 0;

  protected:
    ~ActionHandler() = default;
};

// An accessor to an action: connect it, invoke it any number of times, and hear each invocation's answer. The
// handler may be replaced at any time, from any thread; the one replaced lives until the call that it is in
// has ended.
class PLATFORM_ADAPTATION_API ActionAccess : public ValueAccessBase, public lomodelapi::ObserverAction {
  public:
    // Neither connects.
    ActionAccess(std::string name, std::shared_ptr<ActionHandler> handler);
    explicit ActionAccess(std::string name);
    // Disconnects if connected.
    ~ActionAccess() override;

    // 0; 5 if there is no such object within the time-out; 6 if it is no action.
    int connect(int timeoutMs) override;
    int disconnect() override;

    // Replaces the handler, empty for none; returns 0.
    virtual int setActionResultHandler(std::shared_ptr<ActionHandler> handler);

    // Starts the action on the caller's thread and tells the id under which it will be answered, which may
    // happen before this returns. 0, or the model's status; -1 if not connected, and `actionId` is as it was.
    // Does not connect by itself.
    virtual int invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& args);

    // Called by the model, on its threads. Without a handler an answer is logged and dropped. A result's
    // elements are put in the order of their positions; one whose position is not in the list is lost, one
    // that is missing is empty.
    void notifyExecutionError(unsigned int actionId, int error) override;
    void notifyResult(unsigned int actionId, const std::vector<lomodelapi::Argument>& args) override;

  private:
    int m_timeout;  // as last passed to connect()
    std::shared_ptr<ActionHandler> m_actionHandler;
};

#endif
