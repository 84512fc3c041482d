// Members that threads share without a lock are plain members in a fixed order. Every access that another
// thread may make at the same time goes through these functions: atomic, stores release, loads acquire.
#ifndef PLATFORM_ADAPTATION_SHARED_MEMBER_H
#define PLATFORM_ADAPTATION_SHARED_MEMBER_H

#include <atomic>

template <typename T>
T loadShared(const T& member) {
    return std::atomic_ref<T>(const_cast<T&>(member)).load(std::memory_order_acquire);
}

template <typename T>
void storeShared(T& member, T value) {
    std::atomic_ref<T>(member).store(value, std::memory_order_release);
}

// A client's callback: a function and its user data, registered on one thread and called on another. The user
// data is stored first and loaded last: a call of a new function gets the user data of that function.
template <typename Function>
void storeCallBack(Function& function, Function newFunction, void*& userData, void* newUserData) {
    storeShared(userData, newUserData);
    storeShared(function, newFunction);
}

// Calls the callback. Returns false if there is none.
template <typename Function, typename... Arguments>
bool callBack(const Function& function, void* const& userData, Arguments... arguments) {
    const Function current = loadShared(function);
    if (current == nullptr) return false;
    current(arguments..., loadShared(userData));
    return true;
}

#endif
