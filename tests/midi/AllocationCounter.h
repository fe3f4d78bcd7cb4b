#pragma once

#include <cstddef>

namespace tessiva::test {

// Counts heap allocations made through operator new by the calling thread while alive, to hold
// allocation-free paths to their promise. The replacement operator new lives in
// AllocationCounter.cpp.
class AllocationCounter {
  public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;
    std::size_t count() const;
};

}  // namespace tessiva::test
