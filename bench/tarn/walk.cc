// Walks over a network tree with protozero, and stores nothing: the floor that
// the inspector's own walk is measured against.
//
// Usage: protozero_walk < FILE
// Reads a ModsConfigured, and prints a sum over all values.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iostream>
#include <protozero/pbf_reader.hpp>

#include "values.h"

namespace {
#include <walk_protozero.h>
}  // namespace

int main() {
  struct stat file = {};
  if (fstat(STDIN_FILENO, &file) != 0) return 1;
  const size_t size = file.st_size;
  void* memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, STDIN_FILENO, 0);
  if (memory == MAP_FAILED) return 1;
  std::cout << WalkModsConfigured(
                   protozero::pbf_reader(static_cast<char*>(memory), size))
            << '\n';
}
