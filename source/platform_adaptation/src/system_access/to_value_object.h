#ifndef PLATFORM_ADAPTATION_TO_VALUE_OBJECT_H
#define PLATFORM_ADAPTATION_TO_VALUE_OBJECT_H

#include <vector>

#include "platform_adaptation/system_access/value_object.h"

// A value of the model as a ValueObject; a list becomes a TYPE_VECTOR with one item per element.
template <typename T>
ValueObject toValueObject(const T& value) {
    return value;
}

template <typename T>
ValueObject toValueObject(const std::vector<T>& list) {
    ValueObject object;
    object.kind = ValueObject::TYPE_VECTOR;
    object.items = std::vector<ValueObject>(list.begin(), list.end());
    return object;
}

#endif
