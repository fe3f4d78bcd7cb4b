#include "AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {
thread_local bool counting = false;
thread_local std::size_t allocations = 0;
}  // namespace

void* operator new(std::size_t size) {
    if (counting)
        ++allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return ::operator new(size);
}
// The nothrow forms too (std::stable_sort's buffer uses them): every new must pair with the
// delete below, which frees with std::free.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (counting)
        ++allocations;
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return ::operator new(size, tag);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace tessiva::test {

AllocationCounter::AllocationCounter() {
    allocations = 0;
    counting = true;
}
AllocationCounter::~AllocationCounter() {
    counting = false;
}
std::size_t AllocationCounter::count() const {
    return allocations;
}

}  // namespace tessiva::test
