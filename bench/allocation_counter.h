#pragma once
// Heap allocations made by this program since the start, counted by replacing the global
// operator new and, through the linker, the C library's malloc family.
#include <cstdint>

struct AllocationCount {
  uint64_t operatorNew = 0;
  uint64_t cHeap = 0;
};

AllocationCount allocationsSoFar();
