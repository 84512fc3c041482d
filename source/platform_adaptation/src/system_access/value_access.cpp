#include "platform_adaptation/system_access/value_access.h"

#include <typeinfo>
#include <utility>

#include "called_handler.h"
#include "lomodelapi/biz_value.h"
#include "lomodelapi/root_interface.h"
#include "shared_member.h"
#include "status.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

using namespace lomodelapi;

namespace {

constexpr char MISSING[] = "missing";

// The type of object that a kind of observer follows, and the kind's name in the log.
template <typename Observer>
struct Kind;

template <>
struct Kind<ObserverNumericInteger> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_NUMERIC_INTEGER;
    static constexpr char NAME[] = "ObserverNumericInteger";
};

template <>
struct Kind<ObserverNumericInt64> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_NUMERIC_INT64;
    static constexpr char NAME[] = "ObserverNumericInt64";
};

template <>
struct Kind<ObserverString> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_STRING;
    static constexpr char NAME[] = "ObserverString";
};

template <>
struct Kind<ObserverVectorNumericInteger> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_VECTOR_NUMERIC_INTEGER;
    static constexpr char NAME[] = "ObserverVectorNumericInteger";
};

template <>
struct Kind<ObserverVectorString> {
    static constexpr ObjectTypeSpec TYPE = OBJECT_TYPE_VECTOR_STRING;
    static constexpr char NAME[] = "ObserverVectorString";
};

template <typename T>
void assign(ValueObject& object, const T& value) {
    object = value;
}

template <typename T>
void assign(ValueObject& object, const std::vector<T>& list) {
    object.kind = ValueObject::TYPE_VECTOR;
    object.items.reserve(list.size());
    for (const T& element : list) object.items.emplace_back(element);
}

}  // namespace

void ValueHandler::logNoObserver(const void* handler, const void* owner, const void* callback) {
    LOG_AT(logging::LEVEL_ERROR, "onNewValue", "No Observer for %p,  %p, %p\n", handler, owner, callback);
}

template <typename Observer>
ValueAccessT<Observer>::ValueAccessT(std::string name) : ValueAccessBase(name) {}

template <typename Observer>
ValueAccessT<Observer>::ValueAccessT(std::string name, std::shared_ptr<ValueHandler> handler)
    : ValueAccessBase(name) {
    m_handler = std::move(handler);
}

template <typename Observer>
ValueAccessT<Observer>::~ValueAccessT() {
    if (isConnected()) detach(this);
}

int ValueAccessBase::connectAs(Observer* observer, ObjectTypeSpec wanted, const char* kind, int timeoutMs,
                               const char* function) {
    if (m_name == MISSING) {
        LOG_AT(logging::LEVEL_ERROR, function, "Value is '%s\n", MISSING);
        return STATUS_MISSING;
    }
    storeShared(m_connectTimeout, timeoutMs);
    if (isConnected()) return STATUS_OK;

    RootInterface* const root = getRootInterface();
    int status = STATUS_OK;
    BizValue* const value = attach(root, observer, timeoutMs, status);
    if (value == nullptr) {
        LOG_AT(logging::LEVEL_ERROR, function, "Failed %d\n", status);
        return STATUS_NOT_CONNECTED;
    }
    if (const ObjectTypeSpec type = value->getType(); type != wanted) {
        LOG_AT(logging::LEVEL_ERROR, function, "Observer Type not match for %s,( %d ) vs %s.\n",
               m_name.c_str(), type, kind);
        root->disconnectValue(getName(), observer, value);
        return STATUS_TYPE_MISMATCH;
    }
    storeShared(m_value, value);
    return STATUS_OK;
}

template <typename Observer>
int ValueAccessT<Observer>::connect(int timeoutMs) {
    return connectAs(this, Kind<Observer>::TYPE, Kind<Observer>::NAME, timeoutMs, __func__);
}

template <typename Observer>
int ValueAccessT<Observer>::disconnect() {
    detach(this);
    return STATUS_OK;
}

// The notifications, each under the name by which the model called it.
template <typename T>
void ValueAccessBase::deliver(const T& value, const char* function) {
    LOG_ENTER_AS(function);
    if (!hasHandler()) return;
    ValueObject object;
    assign(object, value);
    onNewValue(object);
}

RARE_PATH void ValueAccessBase::handOnRare(int value) {
    if (hasHandler()) onNewValue(ValueObject(value));
}

// A member, so that who calls it need not keep the place of m_handler.
RARE_PATH void ValueAccessBase::callAnother(ValueHandler* announced, const ValueObject& value) {
    handlers::callAnother(m_handler, announced, value);
}

// Integers are what comes most: for an accessor of the library's own class, what onNewValue() does, with a
// ValueObject that the thread keeps. Derived classes, nested calls, a thread's first call and systems without
// the barrier go the other way.
FAST_PATH inline void ValueAccessBase::deliverInteger(int value, const std::type_info& own) {
    if (logging::isOn(logging::LEVEL_TRACE)) [[unlikely]]
        logging::printEnter(logging::SOURCE, __LINE__, "notifyNewValue");
    if (&typeid(*this) != &own || !handlers::FirstCall::isPossible()) [[unlikely]]
        return handOnRare(value);
    ValueObject& object = handlers::FirstCall::integer();
    object = value;
    ValueHandler* const handler = handlers::current(m_handler, std::memory_order_relaxed);
    if (handler == nullptr) return;
    const handlers::FirstCall call(handler);
    if (logging::isOn(logging::LEVEL_TRACE)) [[unlikely]]
        printEnterOfOnNewValue();
    if (call.mayCall(m_handler)) [[likely]]
        handler->onNewValue(object);
    else
        callAnother(handler, object);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyNewValue(int value) {
    deliverInteger(value, typeid(ValueAccessT));
}

template <typename Observer>
void ValueAccessT<Observer>::notifyNewValue(long long value) {
    deliver(value, __func__);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyNewValue(const std::string& value) {
    deliver(value, __func__);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyIntegerVector(const std::vector<int>& value) {
    deliver(value, __func__);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyStringVector(const std::vector<std::string>& value) {
    deliver(value, __func__);
}

template class ValueAccessT<ObserverNumericInteger>;
template class ValueAccessT<ObserverNumericInt64>;
template class ValueAccessT<ObserverString>;
template class ValueAccessT<ObserverVectorNumericInteger>;
template class ValueAccessT<ObserverVectorString>;
