// Counts the blocks on the heap, so that a test can tell whether something was
// freed. Replaces the global new and delete: include it in one file of a
// program only. Kept out of line, or the compiler warns that new meets free.
#ifndef TESTS_REFERENCE_LIVE_BLOCKS_H_
#define TESTS_REFERENCE_LIVE_BLOCKS_H_

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace tests {

inline std::atomic<int64_t> live_blocks{0};

}  // namespace tests

// NOLINTBEGIN(misc-definitions-in-headers): only one file may include them
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* block = std::malloc(size > 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  ++tests::live_blocks;
  return block;
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
  if (block == nullptr) return;
  --tests::live_blocks;
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  operator delete(block);
}
// NOLINTEND(misc-definitions-in-headers)

#endif  // TESTS_REFERENCE_LIVE_BLOCKS_H_
