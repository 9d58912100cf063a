// Preloaded into a program, makes a call of the system fail: FAIL_CALL is its
// name, FAIL_AT says which of them, and FAIL_WITH has the number of the error,
// or 0 for one that does a single byte of what is asked. Without FAIL_CALL,
// says at the end how many there were. What goes to standard error is not
// counted.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

enum Call { kRead, kWrite, kOpen, kClose, kMmap, kFsync, kRename, kCalls };
constexpr const char* kNames[] = {"read", "write", "open",  "close",
                                  "mmap", "fsync", "rename"};
std::atomic<int> counts[kCalls];

// Whether this call fails, with the error that is set then. Of one that is
// short, shortens the size.
bool Fails(Call call, size_t* size = nullptr) {
  const int number = ++counts[call];
  const char* name = std::getenv("FAIL_CALL");
  const char* at = std::getenv("FAIL_AT");
  const char* error = std::getenv("FAIL_WITH");
  if (name == nullptr || at == nullptr || error == nullptr ||
      std::strcmp(name, kNames[call]) != 0 || number != std::atoi(at)) {
    return false;
  }
  errno = std::atoi(error);
  if (errno == 0 && size != nullptr && *size > 1) *size = 1;
  return errno != 0;
}

// The function of this name that the program would have called.
template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int Open(const char* name, const char* path, int flags, mode_t mode) {
  if (Fails(kOpen)) return -1;
  return Real<int(const char*, int, ...)>(name)(path, flags, mode);
}

FILE* OpenFile(const char* name, const char* path, const char* mode) {
  if (Fails(kOpen)) return nullptr;
  return Real<FILE*(const char*, const char*)>(name)(path, mode);
}

void* Map(const char* name, void* address, size_t size, int access, int flags,
          int file, off64_t offset) {
  if (Fails(kMmap)) return MAP_FAILED;
  return Real<decltype(mmap64)>(name)(address, size, access, flags, file,
                                      offset);
}

ssize_t ReadAt(const char* name, int file, void* to, size_t size,
               off64_t offset) {
  if (Fails(kRead, &size)) return -1;
  return Real<decltype(pread64)>(name)(file, to, size, offset);
}

ssize_t WriteAt(const char* name, int file, const void* from, size_t size,
                off64_t offset) {
  if (Fails(kWrite, &size)) return -1;
  return Real<decltype(pwrite64)>(name)(file, from, size, offset);
}

[[gnu::destructor]] void Report() {
  if (std::getenv("FAIL_CALL") != nullptr) return;
  for (int call = 0; call < kCalls; ++call) {
    std::fprintf(stderr, "%s %d\n", kNames[call], counts[call].load());
  }
}

}  // namespace

extern "C" {

ssize_t read(int file, void* to, size_t size) {
  if (Fails(kRead, &size)) return -1;
  return Real<decltype(read)>("read")(file, to, size);
}
ssize_t pread(int file, void* to, size_t size, off_t offset) {
  return ReadAt("pread", file, to, size, offset);
}
ssize_t pread64(int file, void* to, size_t size, off64_t offset) {
  return ReadAt("pread64", file, to, size, offset);
}

ssize_t write(int file, const void* from, size_t size) {
  if (file != STDERR_FILENO && Fails(kWrite, &size)) return -1;
  return Real<decltype(write)>("write")(file, from, size);
}
ssize_t writev(int file, const iovec* pieces, int count) {
  if (Fails(kWrite)) return -1;
  return Real<decltype(writev)>("writev")(file, pieces, count);
}
ssize_t pwrite(int file, const void* from, size_t size, off_t offset) {
  return WriteAt("pwrite", file, from, size, offset);
}
ssize_t pwrite64(int file, const void* from, size_t size, off64_t offset) {
  return WriteAt("pwrite64", file, from, size, offset);
}

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = va_arg(rest, mode_t);
  va_end(rest);
  return Open("open", path, flags, mode);
}
int open64(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = va_arg(rest, mode_t);
  va_end(rest);
  return Open("open64", path, flags, mode);
}
FILE* fopen(const char* path, const char* mode) {
  return OpenFile("fopen", path, mode);
}
FILE* fopen64(const char* path, const char* mode) {
  return OpenFile("fopen64", path, mode);
}

// The file is closed in any case.
int close(int file) {
  const int result = Real<decltype(close)>("close")(file);
  return Fails(kClose) ? -1 : result;
}
int fclose(FILE* file) {
  const int result = Real<decltype(fclose)>("fclose")(file);
  return Fails(kClose) ? EOF : result;
}

void* mmap(void* address, size_t size, int access, int flags, int file,
           off_t offset) noexcept {
  return Map("mmap", address, size, access, flags, file, offset);
}
void* mmap64(void* address, size_t size, int access, int flags, int file,
             off64_t offset) noexcept {
  return Map("mmap64", address, size, access, flags, file, offset);
}

int fsync(int file) {
  return Fails(kFsync) ? -1 : Real<decltype(fsync)>("fsync")(file);
}
int fdatasync(int file) {
  return Fails(kFsync) ? -1 : Real<decltype(fdatasync)>("fdatasync")(file);
}

int rename(const char* from, const char* to) noexcept {
  return Fails(kRename) ? -1 : Real<decltype(rename)>("rename")(from, to);
}
}
