#include "platform_adaptation/system_access/value_access_base.h"

#include <unistd.h>

#include <boost/shared_ptr.hpp>
#include <limits>
#include <map>
#include <utility>

#include "called_handler.h"
#include "frame/process.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/root_interface.h"
#include "platform_adaptation/system_access/system_access.h"
#include "shared_member.h"
#include "status.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

using namespace lomodelapi;

namespace {

template <typename T>
std::map<int, T> byPosition(const std::vector<T>& list) {
    std::map<int, T> map;
    int position = 0;
    for (const T& element : list) map.emplace_hint(map.end(), position++, element);
    return map;
}

}  // namespace

SystemAccess::SystemAccess() = default;
SystemAccess::~SystemAccess() = default;

ValueAccessBase::ValueAccessBase(const std::string& name)
    : m_value(nullptr), m_name(name), m_connectTimeout(1000) {}

ValueAccessBase::~ValueAccessBase() { handlers::replace(m_handler, nullptr); }

void ValueAccessBase::setNewValueHandler(std::shared_ptr<ValueHandler> handler) {
    LOG_ENTER();
    handlers::replace(m_handler, std::move(handler));
}

RARE_PATH void ValueAccessBase::printEnterOfOnNewValue() {
    logging::printEnter(logging::SOURCE, __LINE__, "onNewValue");
}

void ValueAccessBase::onNewValue(const ValueObject& value) {
    if (logging::isOn(logging::LEVEL_TRACE)) [[unlikely]]
        printEnterOfOnNewValue();
    handlers::call(m_handler, value);
}

bool ValueAccessBase::isConnected() const { return loadShared(m_value) != nullptr; }

bool ValueAccessBase::hasHandler() const {
    return handlers::current(m_handler, std::memory_order_relaxed) != nullptr;
}

RootInterface* ValueAccessBase::getRootInterface() {
    boost::shared_ptr<frame::Interface> reference;
    const int status = frame::Process::getInstance().getInterfaceReference(
        reference, "dovra.lm.interfaces.tvapi.RootInterface");
    if (status != 0) {
        LOG_ERROR("get interface Reference failed.\n\n");
        return nullptr;
    }
    if (!reference || reference->getRootInterface() == nullptr) return nullptr;
    return reference->getRootInterface();
}

int ValueAccessBase::tryConnectIfNeeded() {
    if (isConnected()) return STATUS_OK;
    const int status = connect(loadShared(m_connectTimeout));
    if (status != STATUS_OK) {
        LOG_ERROR("BizValue connect failed:'%s', ret: %d\n", getName().c_str(), status);
        return status;
    }
    LOG_INFO("BizValue connect successfully:'%s'.\n", getName().c_str());
    return STATUS_OK;
}

BizValue* ValueAccessBase::attach(RootInterface* root, Observer* observer, int timeoutMs, int& status) {
    constexpr int periodMs = 100;
    for (int remainingMs = timeoutMs;;) {
        BizValue* value = nullptr;
        status = root->connectValue(m_name, observer, value);
        if (status == STATUS_OK && value != nullptr) return value;
        if (remainingMs > 0) {
            remainingMs -= periodMs;
            usleep(periodMs * 1000);
        }
        if (remainingMs <= 0) return nullptr;
    }
}

void ValueAccessBase::detach(Observer* observer) {
    getRootInterface()->disconnectValue(m_name, observer, loadShared(m_value));
    storeShared<BizValue*>(m_value, nullptr);
}

const char* ValueAccessBase::accessTypeName(ObjectTypeSpec type) {
    switch (type) {
        case OBJECT_TYPE_NUMERIC_INTEGER:
            return "OBJECT_TYPE_NUMERIC_INTEGER";
        case OBJECT_TYPE_STRING:
            return "OBJECT_TYPE_STRING";
        case OBJECT_TYPE_VECTOR_NUMERIC_INTEGER:
            return "OBJECT_TYPE_VECTOR_NUMERIC_INTEGER";
        case OBJECT_TYPE_VECTOR_STRING:
            return "OBJECT_TYPE_VECTOR_STRING";
        case OBJECT_TYPE_ACTION:
            return "OBJECT_TYPE_ACTION";
        case OBJECT_TYPE_TABLE:
            return "OBJECT_TYPE_TABLE";
        case OBJECT_TYPE_VECTOR_INTEGER:
            return "OBJECT_TYPE_VECTOR_INTEGER";
        case OBJECT_TYPE_NUMERIC_INT64:
            return "OBJECT_TYPE_NUMERIC_INT64";
        case OBJECT_TYPE_NONE:
            break;
    }
    return "OBJECT_TYPE_NONE";
}

int ValueAccessBase::getType() {
    if (BizValue* const value = loadShared(m_value)) return value->getType();
    LOG_ERROR("Unknown Type since value is not connected  : %s.\n", m_name.c_str());
    return OBJECT_TYPE_NONE;
}

std::string ValueAccessBase::getName() { return m_name; }

FAST_PATH inline int ValueAccessBase::connectedValue(BizValue*& value) {
    value = loadShared(m_value);
    if (value != nullptr) [[likely]]
        return STATUS_OK;
    if (const int status = tryConnectIfNeeded(); status != STATUS_OK) return status;
    value = loadShared(m_value);
    // Another thread may have disconnected in between.
    return value != nullptr ? STATUS_OK : STATUS_NOT_CONNECTED;
}

// For the operations that accept one type only; `function` is the operation that the client called.
FAST_PATH inline int ValueAccessBase::connectedValue(BizValue*& value, ObjectTypeSpec wanted,
                                                     const char* function) {
    if (const int status = connectedValue(value); status != STATUS_OK) return status;
    return value->getType() == wanted ? STATUS_OK : refuseType(function);
}

RARE_PATH int ValueAccessBase::refuseType(const char* function) {
    LOG_AT(logging::LEVEL_ERROR, function, "Object Type mismatch:  %s\n",
           accessTypeName(static_cast<ObjectTypeSpec>(getType())));
    return STATUS_TYPE_MISMATCH;
}

int ValueAccessBase::getValue(std::string& out) {
    BizValue* value = nullptr;
    const int status = connectedValue(value, OBJECT_TYPE_STRING, __func__);
    return status == STATUS_OK ? value->getString(out) : status;
}

int ValueAccessBase::getValue(int& out) {
    BizValue* value = nullptr;
    const int status = connectedValue(value, OBJECT_TYPE_NUMERIC_INTEGER, __func__);
    if (status == STATUS_OK) out = value->getInteger();
    return status;
}

int ValueAccessBase::getValue(long long& out) {
    BizValue* value = nullptr;
    const int status = connectedValue(value, OBJECT_TYPE_NUMERIC_INT64, __func__);
    if (status == STATUS_OK) out = value->getInt64();
    return status;
}

int ValueAccessBase::getValue(std::vector<std::string>& out) {
    BizValue* value = nullptr;
    const int status = connectedValue(value, OBJECT_TYPE_VECTOR_STRING, __func__);
    return status == STATUS_OK ? value->getStringVector(out) : status;
}

int ValueAccessBase::getValue(std::vector<int>& out) {
    BizValue* value = nullptr;
    const int status = connectedValue(value, OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, __func__);
    return status == STATUS_OK ? value->getIntegerVector(out) : status;
}

// Whether the model accepts a written value shows in its notifications only: what the writes return is not
// looked at.
int ValueAccessBase::setValue(const std::string& newValue) {
    LOG_ENTER();
    BizValue* value = nullptr;
    const int status = connectedValue(value, OBJECT_TYPE_STRING, __func__);
    if (status == STATUS_OK) value->setString(newValue);
    return status;
}

int ValueAccessBase::setValue(int newValue) {
    LOG_ENTER();
    BizValue* value = nullptr;
    if (const int status = connectedValue(value); status != STATUS_OK) return status;
    switch (value->getType()) {
        case OBJECT_TYPE_NUMERIC_INTEGER:
            value->setInteger(newValue);
            return STATUS_OK;
        case OBJECT_TYPE_NUMERIC_INT64:
            value->setInt64(newValue);
            return STATUS_OK;
        default:
            LOG_ERROR("STATUS_ERR_VALUE_TYPE_MISMATCH\n");
            return STATUS_TYPE_MISMATCH;
    }
}

int ValueAccessBase::setValue(long long newValue) {
    LOG_ENTER();
    BizValue* value = nullptr;
    if (const int status = connectedValue(value); status != STATUS_OK) return status;
    switch (value->getType()) {
        case OBJECT_TYPE_NUMERIC_INTEGER:
            if (newValue < std::numeric_limits<int>::min() || newValue > std::numeric_limits<int>::max()) {
                LOG_ERROR("Value is too large for int32 value:  [%lld] \n", newValue);
                return STATUS_TYPE_MISMATCH;
            }
            value->setInteger(static_cast<int>(newValue));
            return STATUS_OK;
        case OBJECT_TYPE_NUMERIC_INT64:
            value->setInt64(newValue);
            return STATUS_OK;
        default:
            LOG_ERROR("STATUS_ERR_VALUE_TYPE_MISMATCH\n");
            return STATUS_TYPE_MISMATCH;
    }
}

int ValueAccessBase::setValue(const std::vector<std::string>& newValue) {
    LOG_ENTER();
    BizValue* value = nullptr;
    const int status = connectedValue(value, OBJECT_TYPE_VECTOR_STRING, __func__);
    if (status == STATUS_OK) value->setStringVector(byPosition(newValue));
    return status;
}

int ValueAccessBase::setValue(const std::vector<int>& newValue) {
    LOG_ENTER();
    BizValue* value = nullptr;
    const int status = connectedValue(value, OBJECT_TYPE_VECTOR_NUMERIC_INTEGER, __func__);
    if (status == STATUS_OK) value->setIntegerVector(byPosition(newValue));
    return status;
}
