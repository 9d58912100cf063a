// Walks over a stream of network trees with protozero, and stores nothing: the
// floor that the inspector's own walk is measured against.
//
// Usage: protozero_walk < FILE
// Each ModsConfigured has a varint of its size in front. Prints how many
// messages there were, and a sum over all values.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <protozero/pbf_reader.hpp>

#include "values.h"

namespace {
#include <walk_protozero.h>
}  // namespace

int main() {
  struct stat file = {};
  if (fstat(STDIN_FILENO, &file) != 0) return 1;
  void* const memory =
      mmap(nullptr, file.st_size, PROT_READ, MAP_PRIVATE, STDIN_FILENO, 0);
  if (memory == MAP_FAILED) return 1;
  const char* p = static_cast<const char*>(memory);
  const char* const end = p + file.st_size;
  unsigned long long messages = 0;
  unsigned long long sum = 0;
  try {
    for (; p < end; ++messages) {
      const uint64_t size = protozero::decode_varint(&p, end);
      if (size > static_cast<uint64_t>(end - p)) return 1;
      sum += WalkModsConfigured(protozero::pbf_reader(p, size));
      p += size;
    }
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "protozero_walk: %s\n", exception.what());
    return 1;
  }
  std::printf("{\"messages\": %llu, \"sum\": %llu}\n", messages, sum);
}
