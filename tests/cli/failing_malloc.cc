// Preloaded into a program, makes the allocation of number FAIL_AT fail, and
// with FAIL_ON all after it. Without FAIL_AT, says at the end how many there
// were. With FAIL_IN_MAIN, counts from the beginning of main().
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the names that the C library gives
// its own allocator.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

using Main = int(int, char**, char**);

std::atomic<int64_t> allocations{0};
Main* main_of_program;
bool in_main = false;

int CountInMain(int argc, char** argv, char** environment) {
  in_main = true;
  return main_of_program(argc, argv, environment);
}

// The loader allocates before there is an environment; that is not counted.
bool Fails() {
  static int64_t fail_at = -1;  // 0: none
  if (environ == nullptr) return false;
  if (fail_at < 0) {
    const char* number = std::getenv("FAIL_AT");
    fail_at = number == nullptr ? 0 : std::atoll(number);
  }
  if (!in_main && std::getenv("FAIL_IN_MAIN") != nullptr) return false;
  const int64_t number = ++allocations;
  if (fail_at == 0 || number < fail_at) return false;
  if (number > fail_at && std::getenv("FAIL_ON") == nullptr) return false;
  errno = ENOMEM;
  return true;
}

[[gnu::destructor]] void Report() {
  if (std::getenv("FAIL_AT") != nullptr) return;
  char line[64];
  const int size = std::snprintf(line, sizeof line, "%" PRId64 " allocations\n",
                                 allocations.load());
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line, size);
}

}  // namespace

extern "C" {
// The C library calls main() from here.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
int __libc_start_main(Main* main, int argc, char** argv, void (*begin)(),
                      void (*end)(), void (*finish)(), void* stack) {
  main_of_program = main;
  using Start =
      int(Main*, int, char**, void (*)(), void (*)(), void (*)(), void*);
  return reinterpret_cast<Start*>(dlsym(RTLD_NEXT, "__libc_start_main"))(
      CountInMain, argc, argv, begin, end, finish, stack);
}

void* malloc(size_t size) { return Fails() ? nullptr : __libc_malloc(size); }
void* calloc(size_t count, size_t size) {
  return Fails() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
  return Fails() ? nullptr : __libc_realloc(block, size);
}
}
