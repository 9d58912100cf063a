// Loads a library of the message classes into a process that has the runtime,
// and says how long it took.
//
// Usage: load LIBRARY
// Prints nanoseconds since the call of dlopen: `dlopen` when it returned,
// `descriptor` when a message's descriptor was there, `message` when a message
// had been parsed. Each process can measure one library, once.
#include <dlfcn.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

namespace {

using google::protobuf::Descriptor;
using google::protobuf::Message;
using Clock = std::chrono::steady_clock;

// The default instance of Server.
constexpr char kPrototype[] = "_ZN4tarn25_Server_default_instance_E";
// name: "a"
constexpr char kBytes[] =
    "\x0a\x01"
    "a";

int64_t Since(Clock::time_point begin) {
  return std::chrono::nanoseconds(Clock::now() - begin).count();
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 2) return 2;
  // The runtime is ready: it builds the descriptors of its own files here.
  google::protobuf::DescriptorPool::generated_pool()->FindFileByName(
      "google/protobuf/descriptor.proto");
  const std::string bytes(kBytes, 3);

  const auto begin = Clock::now();
  void* library = dlopen(argv[1], RTLD_NOW);
  const int64_t loaded = Since(begin);
  const auto* prototype =
      library == nullptr
          ? nullptr
          : static_cast<const Message*>(dlsym(library, kPrototype));
  if (prototype == nullptr) {
    std::fprintf(stderr, "load: %s\n", dlerror());
    return 1;
  }
  const std::unique_ptr<Message> message(prototype->New());
  const bool parsed = message->ParseFromString(bytes);
  const int64_t message_there = Since(begin);
  const Descriptor* descriptor = message->GetDescriptor();
  const int64_t descriptor_there = Since(begin);
  if (!parsed || descriptor->full_name() != "tarn.Server" ||
      message->SerializeAsString() != bytes) {
    std::fprintf(stderr, "load: %s is another library\n", argv[1]);
    return 1;
  }
  std::cout << "{\"dlopen\": " << loaded << ", \"message\": " << message_there
            << ", \"descriptor\": " << descriptor_there << "}\n";
}
