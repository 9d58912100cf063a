// Hands the inputs of libFuzzer to a target, and watches how time and memory
// grow: an input that takes more than a hundred times what its size is worth,
// by the average of all inputs before it, is a finding.
#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "target.h"

namespace {

constexpr double kMost = 100;
// Inputs from which the average is learned, and what no input is refused for:
// the process was put aside, a table was built, or a message is compared at
// each of a hundred levels.
constexpr uint64_t kLearned = 10000;
constexpr double kLeastSeconds = 0.25;
constexpr double kLeastBytes = 8 << 20;
// What a run takes beside its input, as bytes of one.
constexpr double kBeside = 64;

double allocated;  // bytes, in all; blocks that were freed count, too

// What the runtime sets aside, and does not touch, for a text that is longer
// than its message, in a message that is longer than the input: known, and
// said in docs/security.md.
constexpr size_t kSetAside = 50000001;

void Count(const volatile void*, size_t size) {
  if (size == kSetAside) return;
  allocated += static_cast<double>(size);
}
void Ignore(const volatile void*) {}

double Seconds(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) +
         static_cast<double>(now.tv_nsec) * 1e-9;
}

struct Average {
  double taken = 0;
  double size = 0;
  // Whether an input takes no more than a hundred times its share.
  bool Allows(double amount, double least, double input) const {
    return amount <= std::max(least, kMost * taken / size * input);
  }
  void Add(double amount, double input) {
    taken += amount;
    size += input;
  }
};

uint64_t inputs;
Average time_share, memory_share;

[[noreturn]] void Refuse(const char* what, double amount, size_t size) {
  std::fprintf(stderr, "broken: %s grows only as the input: %g for %zu bytes\n",
               what, amount, size);
  std::abort();
}

// The least of some runs, by the time that the process itself has.
double LeastTime(std::string_view input) {
  double least = 1e9;
  for (int i = 0; i < 3; ++i) {
    const double began = Seconds(CLOCK_PROCESS_CPUTIME_ID);
    fuzz::Try(input);
    least = std::min(least, Seconds(CLOCK_PROCESS_CPUTIME_ID) - began);
  }
  return least;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  __sanitizer_install_malloc_and_free_hooks(Count, Ignore);
  fuzz::Types();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const double worth = kBeside + static_cast<double>(size);
  const double before = allocated;
  const double began = Seconds(CLOCK_MONOTONIC);
  fuzz::Try(input);
  const double seconds = Seconds(CLOCK_MONOTONIC) - began;
  const double bytes = allocated - before;
  if (++inputs > kLearned) {
    if (!memory_share.Allows(bytes, kLeastBytes, worth)) {
      Refuse("memory", bytes, size);
    }
    if (!time_share.Allows(seconds, kLeastSeconds, worth)) {
      const double least = LeastTime(input);
      if (!time_share.Allows(least, kLeastSeconds, worth)) {
        Refuse("time", least, size);
      }
    }
  }
  time_share.Add(seconds, worth);
  memory_share.Add(bytes, worth);
  return 0;
}
