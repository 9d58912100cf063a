// Opens, calls and closes the plug-in named on the command line, twice.
#include <dlfcn.h>

#include <cstdio>

int main(int, char** argv) {
  for (int round = 0; round < 2; ++round) {
    void* plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) return std::puts(dlerror()), 1;
    using Function = int (*)(int);
    const Function size =
        reinterpret_cast<Function>(dlsym(plugin, "PriceSize"));
    if (size == nullptr || size(0) != 0 || size(7) != 2 || size(-1) != 11) {
      return std::puts("wrong size"), 1;
    }
    if (dlclose(plugin) != 0) return std::puts(dlerror()), 1;
  }
  return 0;
}
