// Opens and closes the library, and ends. Status 0 when the destructor of a
// default instance ran once main had ended and not before, and the instance
// could be read even after that.
//
// usage: destroyed_at_exit LIBSCHEMA
#include <dlfcn.h>
#include <google/protobuf/message.h>
#include <unistd.h>

#include <cstdlib>

namespace {

using Destructor = void (*)(void*);

// What is registered to run when the process ends or a library goes.
struct Registered {
  Destructor destructor;
  void* object;
  enum { kNotYet, kInMain, kAtExit } ran;
};

Registered registered[1000];
int count = 0;
bool main_has_ended = false;

void Run(void* entry) {
  auto* now = static_cast<Registered*>(entry);
  now->ran = main_has_ended ? Registered::kAtExit : Registered::kInMain;
  now->destructor(now->object);
}

google::protobuf::Message* instance = nullptr;

void Judge() {
  if (!main_has_ended) _exit(2);
  for (int i = 0; i < count; ++i) {
    if (registered[i].object != instance) continue;
    if (registered[i].ran != Registered::kAtExit) _exit(1);
    _exit(instance->GetTypeName() == "tarn.Price" ? 0 : 1);
  }
  _exit(2);
}

}  // namespace

// In the place of the C library's, for the library as well.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that it has there
extern "C" int __cxa_atexit(Destructor destructor, void* object, void* owner) {
  static const auto next = reinterpret_cast<int (*)(Destructor, void*, void*)>(
      dlsym(RTLD_NEXT, "__cxa_atexit"));
  if (count == 1000) std::abort();
  registered[count] = {destructor, object, Registered::kNotYet};
  return next(Run, &registered[count++], owner);
}

int main(int, char** arguments) {
  // The runtime is here first, so that it holds on to nothing in the library.
  GOOGLE_PROTOBUF_VERIFY_VERSION;
  // Registered before the library is there, so it runs after the library's own.
  std::atexit(Judge);
  void* library = dlopen(arguments[1], RTLD_NOW);
  if (library == nullptr) return 3;
  instance = static_cast<google::protobuf::Message*>(
      dlsym(library, "_ZN4tarn24_Price_default_instance_E"));
  if (instance == nullptr || dlclose(library) != 0) return 3;
  main_has_ended = true;
}
