// Where a class's virtual operations stand in its virtual table.
#ifndef TESTS_SLOT_H
#define TESTS_SLOT_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tests {

// The position of a virtual operation in the virtual table of the class that it is taken from. A virtual
// destructor takes two.
template <typename Function, typename Class>
std::size_t slotOf(Function Class::*operation) {
    std::uintptr_t words[2];
    static_assert(sizeof operation == sizeof words);
    std::memcpy(words, &operation, sizeof words);
#if defined(__arm__) || defined(__aarch64__)
    const bool isVirtual = (words[1] & 1U) != 0;
    const std::uintptr_t offset = words[0];
#else
    const bool isVirtual = (words[0] & 1U) != 0;
    const std::uintptr_t offset = words[0] - 1;
#endif
    EXPECT_TRUE(isVirtual);
    return offset / sizeof(void*);
}

}  // namespace tests

#endif
