#include "allocation_faults.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace tests {

constinit thread_local long allocationsUntilFailure = -1;
constinit thread_local long blocksInUse = 0;

}  // namespace tests

// noinline: otherwise the compiler warns that std::free does not match operator new.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (tests::allocationsUntilFailure >= 0 && tests::allocationsUntilFailure-- == 0) throw std::bad_alloc();
    void* const block = std::malloc(size > 0 ? size : 1);
    if (block == nullptr) throw std::bad_alloc();
    ++tests::blocksInUse;
    return block;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
    if (block != nullptr) --tests::blocksInUse;
    std::free(block);
}

[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { ::operator delete(block); }
