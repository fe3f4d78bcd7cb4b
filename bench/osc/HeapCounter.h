#pragma once

#include <atomic>
#include <cstdint>

namespace tessiva::bench {

// Heap allocations so far in this process (malloc level, so C libraries count too), and the
// share of them that came through global operator new.
std::uint64_t heapAllocations();
std::uint64_t operatorNewCalls();

}  // namespace tessiva::bench
