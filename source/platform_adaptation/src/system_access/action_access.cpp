#include "platform_adaptation/system_access/action_access.h"

#include <utility>

#include "lomodelapi/biz_value.h"
#include "lomodelapi/root_interface.h"
#include "shared_member.h"
#include "status.h"
#include "to_value_object.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

using lomodelapi::Argument;

ActionAccess::ActionAccess(std::string name, std::shared_ptr<ActionHandler> handler)
    : ValueAccessBase(name), m_timeout(m_connectTimeout), m_actionHandler(std::move(handler)) {}

ActionAccess::ActionAccess(std::string name) : ActionAccess(std::move(name), nullptr) {}

ActionAccess::~ActionAccess() {
    if (isConnected()) detach(this);
}

int ActionAccess::connect(int timeoutMs) {
    storeShared(m_connectTimeout, timeoutMs);
    storeShared(m_timeout, timeoutMs);
    if (isConnected()) return STATUS_OK;

    RootInterface* const root = getRootInterface();
    int status = STATUS_OK;
    BizValue* const action = attach(root, this, timeoutMs, status);
    if (action == nullptr) {
        LOG_ERROR("Failed %d\n", status);
        return STATUS_NOT_CONNECTED;
    }
    if (const auto type = action->getType(); type != lomodelapi::OBJECT_TYPE_ACTION) {
        LOG_ERROR("Observer Type not match for %s,( %d ) vs %s \n", m_name.c_str(), type, "ObserverAction");
        root->disconnectValue(m_name, this, action);
        return STATUS_TYPE_MISMATCH;
    }
    storeShared(m_value, action);
    return STATUS_OK;
}

int ActionAccess::disconnect() {
    detach(this);
    return STATUS_OK;
}

int ActionAccess::setActionResultHandler(std::shared_ptr<ActionHandler> handler) {
    m_actionHandler = std::move(handler);
    return STATUS_OK;
}

int ActionAccess::invoke(unsigned int& actionId, const std::vector<Argument>& args) {
    if (BizValue* const action = loadShared(m_value)) return action->invoke(actionId, args);
    LOG_ERROR("No Access yet.\n");
    return STATUS_NO_ACCESS;
}

void ActionAccess::notifyExecutionError(unsigned int actionId, int error) {
    LOG_ENTER();
    LOG_ERROR("Action Failed : %s,  %d,  %d\n", m_name.c_str(), static_cast<int>(actionId), error);
    if (const auto handler = m_actionHandler) handler->onActionFailed(static_cast<int>(actionId), error);
}

void ActionAccess::notifyResult(unsigned int actionId, const std::vector<Argument>& args) {
    LOG_ENTER();
    LOG_INFO("Action Result: %s,  %d,  %d\n", m_name.c_str(), static_cast<int>(actionId),
             static_cast<int>(args.size()));
    const auto handler = m_actionHandler;
    if (handler == nullptr) return;

    // The low 8 bits of a position are a signed index. One outside the list is dropped.
    std::vector<std::string> values(args.size());
    for (const Argument& argument : args) {
        const auto index = static_cast<signed char>(argument.position & 0xFFU);
        if (index >= 0 && static_cast<std::size_t>(index) < values.size())
            values[static_cast<std::size_t>(index)] = argument.value;
    }
    handler->onActionResult(static_cast<int>(actionId), toValueObject(values));
}
