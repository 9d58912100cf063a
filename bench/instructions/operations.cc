// Parses, walks and serializes one message, each in a function of its own whose
// instructions count.py counts.
//
// Usage: operations FILE    a tarn.ModsConfigured in bytes
#include <tarn/Network.pb.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "values.h"

namespace {
#include <read_generated.h>
}  // namespace

// Found by these names, and so not made part of main().
extern "C" {

[[gnu::noinline]] bool Parse(const std::string& bytes,
                             tarn::ModsConfigured* message) {
  return message->ParseFromString(bytes);
}

[[gnu::noinline]] uint64_t Walk(const tarn::ModsConfigured& message) {
  return Read(message);
}

[[gnu::noinline]] bool Serialize(const tarn::ModsConfigured& message,
                                 std::string* bytes) {
  return message.SerializeToString(bytes);
}

}  // extern "C"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::ifstream file(argv[1], std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), {});
  tarn::ModsConfigured message;
  std::string written;
  if (!file || !Parse(bytes, &message) || !Serialize(message, &written)) {
    return 1;
  }
  std::cout << message.modsconfigured_size() << " " << Walk(message) << "\n";
  return written.size() == bytes.size() ? 0 : 1;
}
