// protobuf-c: structs of pointers, each to memory of its own.
#include <Network.pb-c.h>

#include "contest.h"

namespace {

using Message = Tarn__ModsConfigured;

struct Free {
  void operator()(Message* message) const {
    tarn__mods_configured__free_unpacked(message, nullptr);
  }
};
using Owner = std::unique_ptr<Message, Free>;

Owner Parse(const std::string& bytes) {
  return Owner(tarn__mods_configured__unpack(
      nullptr, bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data())));
}

// A program has to ask for the size before it has an array.
size_t Write(const Owner& message, std::string* array) {
  const size_t size = tarn__mods_configured__get_packed_size(message.get());
  if (array->size() < size) array->resize(size);
  return tarn__mods_configured__pack(message.get(),
                                     reinterpret_cast<uint8_t*>(array->data()));
}

}  // namespace

int main(int argc, char** argv) {
  EnterTrees(Parse, Write);
  return RunContest(argc, argv);
}
