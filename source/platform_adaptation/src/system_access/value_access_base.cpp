#include "platform_adaptation/system_access/value_access_base.h"

#include <unistd.h>

#include <array>
#include <boost/shared_ptr.hpp>
#include <map>
#include <utility>

#include "frame/process.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/root_interface.h"
#include "shared_member.h"
#include "status.h"
#include "to_value_object.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

using namespace lomodelapi;

namespace {

// The timeout for connecting on demand, if connect() was never called.
constexpr int ON_DEMAND_TIMEOUT_MS = 1000;

// The placeholder of a key that is never connected.
constexpr char MISSING[] = "missing";

// Not built for each lookup: destroying a connected accessor must not allocate memory.
const std::string ROOT_INTERFACE = "dovra.lm.interfaces.tvapi.RootInterface";

template <typename T>
std::map<int, T> byPosition(const std::vector<T>& list) {
    std::map<int, T> map;
    int position = 0;
    for (const T& element : list) map.emplace_hint(map.end(), position++, element);
    return map;
}

}  // namespace

ValueAccessBase::ValueAccessBase(const std::string& name)
    : m_value(nullptr), m_name(name), m_connectTimeout(ON_DEMAND_TIMEOUT_MS) {}

ValueAccessBase::~ValueAccessBase() = default;

void ValueAccessBase::setNewValueHandler(std::shared_ptr<ValueHandler> handler) {
    LOG_ENTER();
    m_handler = std::move(handler);
}

template <typename T>
void ValueAccessBase::deliver(const T& value) {
    if (m_handler != nullptr) onNewValue(toValueObject(value));
}

template void ValueAccessBase::deliver(const int&);
template void ValueAccessBase::deliver(const long long&);
template void ValueAccessBase::deliver(const std::string&);
template void ValueAccessBase::deliver(const std::vector<int>&);
template void ValueAccessBase::deliver(const std::vector<std::string>&);

void ValueAccessBase::onNewValue(const ValueObject& value) {
    LOG_ENTER();
    // The copy keeps the handler alive if the call replaces it or destroys this accessor.
    if (const auto handler = m_handler) handler->onNewValue(value);
}

bool ValueAccessBase::isConnected() const { return loadShared(m_value) != nullptr; }

RootInterface* ValueAccessBase::getRootInterface() {
    boost::shared_ptr<frame::Interface> reference;
    if (frame::Process::getInstance().getInterfaceReference(reference, ROOT_INTERFACE) != 0) {
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
    int remainingMs = timeoutMs;
    do {
        BizValue* value = nullptr;
        status = root->connectValue(m_name, observer, value);
        if (status == STATUS_OK && value != nullptr) return value;
        if (remainingMs > 0) {
            remainingMs -= periodMs;
            usleep(periodMs * 1000);
        }
    } while (remainingMs > 0);
    return nullptr;
}

int ValueAccessBase::connectAs(Observer* observer, ObjectTypeSpec wanted, const char* kind, int timeoutMs) {
    constexpr const char* function = "connect";
    if (m_name == MISSING) {
        LOG_ERROR_AS(function, "Value is '%s\n", MISSING);
        return STATUS_MISSING;
    }
    storeShared(m_connectTimeout, timeoutMs);
    if (isConnected()) return STATUS_OK;

    RootInterface* const root = getRootInterface();
    int status = STATUS_OK;
    BizValue* const value = attach(root, observer, timeoutMs, status);
    if (value == nullptr) {
        LOG_ERROR_AS(function, "Failed %d\n", status);
        return STATUS_NOT_CONNECTED;
    }
    if (const ObjectTypeSpec type = value->getType(); type != wanted) {
        LOG_ERROR_AS(function, "Observer Type not match for %s,( %d ) vs %s.\n", m_name.c_str(), type, kind);
        root->disconnectValue(getName(), observer, value);
        return STATUS_TYPE_MISMATCH;
    }
    storeShared(m_value, value);
    return STATUS_OK;
}

void ValueAccessBase::detach(Observer* observer) {
    getRootInterface()->disconnectValue(m_name, observer, loadShared(m_value));
    storeShared<BizValue*>(m_value, nullptr);
}

const char* ValueAccessBase::accessTypeName(ObjectTypeSpec type) {
    // Indexed by type.
    constexpr std::array<const char*, 9> names{
        "OBJECT_TYPE_NONE",          "OBJECT_TYPE_NUMERIC_INTEGER",
        "OBJECT_TYPE_STRING",        "OBJECT_TYPE_VECTOR_NUMERIC_INTEGER",
        "OBJECT_TYPE_VECTOR_STRING", "OBJECT_TYPE_ACTION",
        "OBJECT_TYPE_TABLE",         "OBJECT_TYPE_VECTOR_INTEGER",
        "OBJECT_TYPE_NUMERIC_INT64"};
    const auto number = static_cast<unsigned>(type);
    return number < names.size() ? names[number] : names[0];
}

int ValueAccessBase::getType() {
    if (BizValue* const value = loadShared(m_value)) return value->getType();
    LOG_ERROR("Unknown Type since value is not connected  : %s.\n", m_name.c_str());
    return OBJECT_TYPE_NONE;
}

std::string ValueAccessBase::getName() { return m_name; }

inline int ValueAccessBase::connectedValue(BizValue*& value) {
    value = loadShared(m_value);
    if (value != nullptr) return STATUS_OK;
    if (const int status = tryConnectIfNeeded(); status != STATUS_OK) return status;
    value = loadShared(m_value);
    // Another thread may have disconnected in the meantime.
    return value != nullptr ? STATUS_OK : STATUS_NOT_CONNECTED;
}

// Used by the operations that accept one type only; `function` is the operation that the client called.
inline int ValueAccessBase::connectedValue(BizValue*& value, ObjectTypeSpec wanted, const char* function) {
    if (const int status = connectedValue(value); status != STATUS_OK) return status;
    if (value->getType() == wanted) return STATUS_OK;
    LOG_ERROR_AS(function, "Object Type mismatch:  %s\n",
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

// The model reports the acceptance of a value only in its notifications: the return values of the writes are
// ignored.
int ValueAccessBase::setValue(const std::string& newValue) {
    LOG_ENTER();
    BizValue* value = nullptr;
    const int status = connectedValue(value, OBJECT_TYPE_STRING, __func__);
    if (status == STATUS_OK) value->setString(newValue);
    return status;
}

int ValueAccessBase::setValue(int newValue) { return writeInteger(newValue); }
int ValueAccessBase::setValue(long long newValue) { return writeInteger(newValue); }

int ValueAccessBase::writeInteger(long long newValue) {
    constexpr const char* function = "setValue";
    LOG_ENTER_AS(function);
    BizValue* value = nullptr;
    if (const int status = connectedValue(value); status != STATUS_OK) return status;
    switch (value->getType()) {
        case OBJECT_TYPE_NUMERIC_INTEGER:
            if (!std::in_range<int>(newValue)) {
                LOG_ERROR_AS(function, "Value is too large for int32 value:  [%lld] \n", newValue);
                return STATUS_TYPE_MISMATCH;
            }
            value->setInteger(static_cast<int>(newValue));
            return STATUS_OK;
        case OBJECT_TYPE_NUMERIC_INT64:
            value->setInt64(newValue);
            return STATUS_OK;
        default:
            LOG_ERROR_AS(function, "STATUS_ERR_VALUE_TYPE_MISMATCH\n");
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
