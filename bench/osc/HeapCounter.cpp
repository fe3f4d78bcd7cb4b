// Counts heap allocations for the benchmarks: global operator new (C++ code) and malloc itself
// (C libraries such as liblo), both passed through to glibc.
#include "HeapCounter.h"

#include <cerrno>
#include <cstddef>
#include <new>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace {
std::atomic<std::uint64_t> gMallocs{0};
std::atomic<std::uint64_t> gNews{0};
}  // namespace

namespace tessiva::bench {
std::uint64_t heapAllocations() {
    return gMallocs.load(std::memory_order_relaxed);
}
std::uint64_t operatorNewCalls() {
    return gNews.load(std::memory_order_relaxed);
}
}  // namespace tessiva::bench

extern "C" {
void* malloc(std::size_t size) {
    gMallocs.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
    gMallocs.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
    gMallocs.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(memory, size);
}
void* memalign(std::size_t alignment, std::size_t size) {
    gMallocs.fetch_add(1, std::memory_order_relaxed);
    return __libc_memalign(alignment, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}
int posix_memalign(void** out, std::size_t alignment, std::size_t size) {
    void* memory = memalign(alignment, size);
    if (memory == nullptr)
        return ENOMEM;
    *out = memory;
    return 0;
}
void free(void* memory) {
    __libc_free(memory);
}
}

void* operator new(std::size_t size) {
    gNews.fetch_add(1, std::memory_order_relaxed);
    if (void* memory = malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void operator delete(void* memory) noexcept {
    free(memory);
}
void operator delete[](void* memory) noexcept {
    free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    free(memory);
}
