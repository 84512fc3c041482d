#include "allocations.h"

#include <malloc.h>

#include <cerrno>
#include <cstddef>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {

thread_local unsigned long count = 0;
thread_local long held = 0;

void* counted(void* block) {
    ++count;
    if (block != nullptr) held += static_cast<long>(malloc_usable_size(block));
    return block;
}

void forget(void* block) {
    if (block != nullptr) held -= static_cast<long>(malloc_usable_size(block));
}

}  // namespace

namespace benchmarks {
unsigned long allocations() { return count; }
const long* heldBytesMeter() { return &held; }
}  // namespace benchmarks

// These functions replace those of the C library.
extern "C" {
void* malloc(std::size_t size) { return counted(__libc_malloc(size)); }
void* calloc(std::size_t number, std::size_t size) { return counted(__libc_calloc(number, size)); }
void* realloc(void* block, std::size_t size) {
    forget(block);
    return counted(__libc_realloc(block, size));
}
void* memalign(std::size_t alignment, std::size_t size) { return counted(__libc_memalign(alignment, size)); }
void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }
int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    *block = memalign(alignment, size);
    return *block != nullptr ? 0 : ENOMEM;
}
void free(void* block) {
    forget(block);
    __libc_free(block);
}
}
