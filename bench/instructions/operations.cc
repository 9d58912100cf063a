// Parses, walks and serializes one message, each in a function of its own whose
// instructions count.py counts.
//
// Usage: operations FILE    a tarn.ModsConfigured in bytes
#include <tarn/Network.pb.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace {

using tarn::ChildTypes;

int WalkModule(const tarn::Module& module) {
  return static_cast<int>(module.uuid().size()) + module.status() +
         module.nodeaddr() + module.fw_rev();
}

// Reads some fields of each node.
int WalkNode(const ChildTypes& node) {
  int sum = 0;
  const auto add = [&sum](const auto& parent) {
    sum += static_cast<int>(parent.uuid().size()) + parent.status();
    for (const ChildTypes& child : parent.children()) sum += WalkNode(child);
  };
  switch (node.types_case()) {
    case ChildTypes::kServer:
      add(node.server());
      break;
    case ChildTypes::kClient:
      add(node.client());
      break;
    case ChildTypes::kDisplay:
      add(node.display());
      break;
    case ChildTypes::kDirect:
      add(node.direct());
      break;
    case ChildTypes::kModule:
      return WalkModule(node.module());
    default:
      break;
  }
  return sum;
}

}  // namespace

// Found by these names, and so not made part of main().
extern "C" {

[[gnu::noinline]] bool Parse(const std::string& bytes,
                             tarn::ModsConfigured* message) {
  return message->ParseFromString(bytes);
}

[[gnu::noinline]] int Walk(const tarn::ModsConfigured& message) {
  int sum = 0;
  for (const ChildTypes& node : message.modsconfigured()) sum += WalkNode(node);
  return sum;
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
