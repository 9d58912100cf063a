// Counts what a program takes from the heap. Linking heap.cc replaces the
// operators new and delete, which the runtime, its arenas and the standard
// library all allocate by. For one thread.
#ifndef BENCH_COST_HEAP_H_
#define BENCH_COST_HEAP_H_

#include <cstdint>

struct Heap {
  // Bytes that are allocated, with what the allocator adds to each piece.
  uint64_t live = 0;
  uint64_t peak = 0;  // the most that was live since ResetPeak()
};

const Heap& HeapNow();
void ResetPeak();

#endif  // BENCH_COST_HEAP_H_
