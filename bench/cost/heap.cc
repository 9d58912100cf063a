// Operators new and delete that count.
#include "heap.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

Heap heap;

// What glibc keeps in front of each piece.
constexpr uint64_t kHeader = sizeof(size_t);

}  // namespace

const Heap& HeapNow() { return heap; }

void ResetPeak() { heap.peak = heap.live; }

void* operator new(size_t size) {
  void* piece = std::malloc(size);
  if (piece == nullptr) throw std::bad_alloc();
  heap.live += malloc_usable_size(piece) + kHeader;
  heap.peak = std::max(heap.peak, heap.live);
  return piece;
}

void operator delete(void* piece) noexcept {
  if (piece == nullptr) return;
  heap.live -= malloc_usable_size(piece) + kHeader;
  std::free(piece);
}

// The library of a sanitizer has a heap of its own for these.
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void* operator new[](size_t size) { return operator new(size); }
void operator delete(void* piece, size_t) noexcept { operator delete(piece); }
void operator delete[](void* piece) noexcept { operator delete(piece); }
void operator delete[](void* piece, size_t) noexcept { operator delete(piece); }
