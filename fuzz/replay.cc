// Runs a fuzz target on the files of its regressions and on its seeds, in
// builds without a fuzzer. Usage: replay REGRESSIONS CORPUS TARGET
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "seeds.h"
#include "target.h"

int main(int, char* argv[]) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string input{std::istreambuf_iterator<char>(file), {}};
    std::fprintf(stderr, "%s\n", entry.path().c_str());
    fuzz::Try(input);
    ++count;
  }
  fuzz::ForEachSeed(argv[3], argv[2],
                    [&](const std::string& name, const std::string& input) {
                      std::fprintf(stderr, "%s\n", name.c_str());
                      fuzz::Try(input);
                      ++count;
                    });
  std::fprintf(stderr, "%d inputs\n", count);
  return count > 0 ? 0 : 1;
}
