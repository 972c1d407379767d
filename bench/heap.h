// Counts what this process takes from the heap, the loaded module included. On systems without
// glibc the counts stay 0.
#pragma once

#include <cstddef>

namespace heap {

struct Counts {
  size_t Calls = 0;  // calls of malloc, calloc and realloc
  size_t Live = 0;   // bytes that are allocated
  size_t Peak = 0;   // the most that Live was since ResetPeak
};

Counts Now();
void ResetPeak();

}  // namespace heap
