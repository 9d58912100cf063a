// How much memory a program has asked for since it began.
#ifndef SCHEMA_BENCH_PEERS_ALLOCATIONS_H_
#define SCHEMA_BENCH_PEERS_ALLOCATIONS_H_

#include <cstdint>

struct AllocationCount {
  // Calls of malloc, calloc, realloc and their aligned kin, operator new's
  // included.
  uint64_t calls;
  // Bytes asked for, in all, whether given back or not.
  uint64_t bytes;
};

#endif  // SCHEMA_BENCH_PEERS_ALLOCATIONS_H_
