// A library to preload, which counts what a program allocates with glibc.
#include "allocations.h"

#include <cstddef>

// The names are glibc's and the C library's own.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
AllocationCount allocations;

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

static void Add(size_t size) {
  ++allocations.calls;
  allocations.bytes += size;
}

void* malloc(size_t size) {
  Add(size);
  return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
  Add(count * size);
  return __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) {
  Add(size);
  return __libc_realloc(memory, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
  Add(size);
  return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, size_t alignment, size_t size) {
  Add(size);
  *memory = __libc_memalign(alignment, size);
  return *memory == nullptr ? 12 : 0;
}
}
// NOLINTEND(bugprone-reserved-identifier)
