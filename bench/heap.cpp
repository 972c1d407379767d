#include "heap.h"

#include <algorithm>
#include <cstdlib>

namespace {
heap::Counts g_counts;
}  // namespace

namespace heap {
Counts Now() { return g_counts; }
void ResetPeak() { g_counts.Peak = g_counts.Live; }
}  // namespace heap

#ifdef __GLIBC__
#include <malloc.h>

// glibc keeps its own functions reachable under these names, so that a program can put itself
// before them.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);

static void* Count(void* block) {
  ++g_counts.Calls;
  g_counts.Live += malloc_usable_size(block);
  g_counts.Peak = std::max(g_counts.Peak, g_counts.Live);
  return block;
}
static void Uncount(void* block) {
  g_counts.Live -= std::min(g_counts.Live, malloc_usable_size(block));
}

void* malloc(size_t size) { return Count(__libc_malloc(size)); }
void* aligned_alloc(size_t alignment, size_t size) {
  return Count(__libc_memalign(alignment, size));
}
void* calloc(size_t count, size_t size) { return Count(__libc_calloc(count, size)); }
void* realloc(void* block, size_t size) {
  Uncount(block);
  return Count(__libc_realloc(block, size));
}
void free(void* block) {
  Uncount(block);
  __libc_free(block);
}
}
#endif
