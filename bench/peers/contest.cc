// Checks, counts or times a contestant.
// usage: bench_peers_NAME --check | --count | GOOGLE-BENCHMARK-OPTION...
//   --check  only checks that it holds the values that it should hold
//   --count  prints sizes, and the allocations of each operation when it is
//            done a second time; needs the library allocations.cc in LD_PRELOAD
#include "contest.h"

#include <dlfcn.h>

#include <iostream>
#include <string_view>

#include "allocations.h"

void Contest::Fail(const std::string& payload, const char* what) {
  std::cerr << "not equal: the " << what << " of " << payload << '\n';
  failed_ = true;
}

int Contest::Count() const {
  const auto* const count =
      static_cast<const AllocationCount*>(dlsym(RTLD_DEFAULT, "allocations"));
  if (count == nullptr) {
    std::cerr << "--count: the counting library is not preloaded\n";
    return 2;
  }
  const char* separator = "{";
  for (const auto& [payload, operations] : operations_) {
    std::cout << separator << "\n\"" << payload
              << "\": {\"size\": " << sizes_.at(payload)
              << ", \"allocations\": {";
    separator = ",";
    const char* inner = "";
    for (const auto& [name, operation] : operations) {
      operation();
      const AllocationCount before = *count;
      operation();
      const AllocationCount after = *count;
      std::cout << inner << '"' << name << "\": [" << after.calls - before.calls
                << ", " << after.bytes - before.bytes << ']';
      inner = ", ";
    }
    std::cout << "}}";
  }
  std::cout << "\n}\n";
  return 0;
}

int Contest::Run(int argc, char** argv) {
  if (failed_) return 1;
  const std::string_view option = argc == 2 ? argv[1] : "";
  if (option == "--check") return 0;
  if (option == "--count") return Count();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
