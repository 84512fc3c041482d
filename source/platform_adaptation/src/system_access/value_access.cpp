#include "platform_adaptation/system_access/value_access.h"

#include <utility>

#include "status.h"

#define LOG_TAG "[Platform Adaptation]"
#include "log.h"

using namespace lomodelapi;

namespace {

// The type of object that a kind of observer follows, and the kind's name in the log.
struct Kind {
    ObjectTypeSpec type;
    const char* name;
};

template <typename Observer>
constexpr Kind KIND{};
template <>
constexpr Kind KIND<ObserverNumericInteger>{OBJECT_TYPE_NUMERIC_INTEGER, "ObserverNumericInteger"};
template <>
constexpr Kind KIND<ObserverNumericInt64>{OBJECT_TYPE_NUMERIC_INT64, "ObserverNumericInt64"};
template <>
constexpr Kind KIND<ObserverString>{OBJECT_TYPE_STRING, "ObserverString"};
template <>
constexpr Kind KIND<ObserverVectorNumericInteger>{OBJECT_TYPE_VECTOR_NUMERIC_INTEGER,
                                                  "ObserverVectorNumericInteger"};
template <>
constexpr Kind KIND<ObserverVectorString>{OBJECT_TYPE_VECTOR_STRING, "ObserverVectorString"};

}  // namespace

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

template <typename Observer>
int ValueAccessT<Observer>::connect(int timeoutMs) {
    return connectAs(this, KIND<Observer>.type, KIND<Observer>.name, timeoutMs);
}

template <typename Observer>
int ValueAccessT<Observer>::disconnect() {
    detach(this);
    return STATUS_OK;
}

template <typename Observer>
void ValueAccessT<Observer>::notifyNewValue(int value) {
    LOG_ENTER();
    deliver(value);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyNewValue(long long value) {
    LOG_ENTER();
    deliver(value);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyNewValue(const std::string& value) {
    LOG_ENTER();
    deliver(value);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyIntegerVector(const std::vector<int>& value) {
    LOG_ENTER();
    deliver(value);
}

template <typename Observer>
void ValueAccessT<Observer>::notifyStringVector(const std::vector<std::string>& value) {
    LOG_ENTER();
    deliver(value);
}

template class ValueAccessT<ObserverNumericInteger>;
template class ValueAccessT<ObserverNumericInt64>;
template class ValueAccessT<ObserverString>;
template class ValueAccessT<ObserverVectorNumericInteger>;
template class ValueAccessT<ObserverVectorString>;
