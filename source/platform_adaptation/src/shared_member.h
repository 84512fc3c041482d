// Access to members that threads share without a lock. They are plain members in a fixed order; every access
// that may meet another thread's goes through here, so that it is whole and ordered: what was written before
// a store is seen by whoever loads the stored value.
#ifndef PLATFORM_ADAPTATION_SHARED_MEMBER_H
#define PLATFORM_ADAPTATION_SHARED_MEMBER_H

#include <atomic>
#include <memory>
#include <utility>

template <typename T>
T loadShared(const T& member) {
    return std::atomic_ref<T>(const_cast<T&>(member)).load(std::memory_order_acquire);
}

template <typename T>
void storeShared(T& member, T value) {
    std::atomic_ref<T>(member).store(value, std::memory_order_release);
}

// Stores `value` and returns what was there: of several threads at once, one gets each value.
template <typename T>
T exchangeShared(T& member, T value) {
    return std::atomic_ref<T>(member).exchange(value, std::memory_order_acq_rel);
}

// The copy keeps the object alive while another thread replaces it.
template <typename T>
std::shared_ptr<T> loadShared(const std::shared_ptr<T>& member) {
    return std::atomic_load_explicit(&member, std::memory_order_acquire);
}

template <typename T>
void storeShared(std::shared_ptr<T>& member, std::shared_ptr<T> value) {
    std::atomic_store_explicit(&member, std::move(value), std::memory_order_release);
}

// A client's callback: a function and its datum, registered on one thread and called on another. The datum is
// stored first and loaded last, so that whoever finds a new function finds its datum too.
template <typename Function>
void storeCallBack(Function& function, Function newFunction, void*& userData, void* newUserData) {
    storeShared(userData, newUserData);
    storeShared(function, newFunction);
}

// Calls it; false if there is none.
template <typename Function, typename... Arguments>
bool callBack(const Function& function, void* const& userData, Arguments... arguments) {
    const Function current = loadShared(function);
    if (current == nullptr) return false;
    current(arguments..., loadShared(userData));
    return true;
}

#endif
