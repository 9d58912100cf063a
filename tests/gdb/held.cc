// Holds every message of the files that are named, for a debugger to look at:
// half of them on an arena. Then maps in the states that no file brings about.
// Usage: held FILE...    the folder of a file is the name of its type
#include <google/protobuf/arena.h>
#include <google/protobuf/descriptor.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

// A debugger that knows no types finds these by name.
extern "C" {
const google::protobuf::Message** held = nullptr;
__attribute__((noinline)) void Stop(const tarn::Server& server,
                                    const google::protobuf::Message& message) {
  __asm__ volatile("" : : "r"(&server), "r"(&message));
}
}

namespace {

using google::protobuf::Arena;
using google::protobuf::Message;
using tarn::NetworkStatusReport;

const Message* Parsed(const std::string& path, Arena* arena) {
  const std::string folder = path.substr(0, path.rfind('/'));
  const std::string name = folder.substr(folder.rfind('/') + 1);
  const auto* type =
      google::protobuf::DescriptorPool::generated_pool()->FindMessageTypeByName(
          "tarn." + name);
  Message* message = google::protobuf::MessageFactory::generated_factory()
                         ->GetPrototype(type)
                         ->New(arena);
  std::ifstream file(path, std::ios::binary);
  if (message->ParsePartialFromIstream(&file)) return message;
  std::cerr << path << ": cannot be parsed\n";
  std::exit(1);
}

// Keys that the seed of this map brings into one place of its table. They are
// so many that the runtime makes a tree of them.
const Message* WithTree() {
  auto* report = new NetworkStatusReport;
  auto& map = *report->mutable_status_packet();
  map["first"] = tarn::ok;
  const size_t seed = reinterpret_cast<const size_t*>(&map)[2];
  for (int i = 0; map.size() < 11; ++i) {
    const std::string key = "key" + std::to_string(i);
    const uint64_t hash = std::hash<std::string>()(key) ^ seed;
    if (((0x9e3779b97f4a7c15 * hash) >> 32) % 16 == 0)
      map[key] = tarn::retry_mode;
  }
  return report;
}

const Message* WithList() {
  auto* report = new NetworkStatusReport;
  const auto* field = report->GetDescriptor()->field(0);
  int number = tarn::unused;
  for (const char* key : {"b", "a", "b"}) {
    Message* entry = report->GetReflection()->AddMessage(report, field);
    const auto* type = entry->GetDescriptor();
    entry->GetReflection()->SetString(entry, type->field(0), key);
    entry->GetReflection()->SetEnumValue(entry, type->field(1), ++number);
  }
  return report;
}

}  // namespace

int main(int count, char** paths) {
  Arena arena;
  std::vector<const Message*> messages;
  for (int i = 1; i < count; ++i) {
    messages.push_back(Parsed(paths[i], i % 2 == 0 ? &arena : nullptr));
  }
  messages.push_back(WithTree());
  messages.push_back(WithList());
  tarn::Server server;
  server.set_name("North sign");
  server.set_status(tarn::comm_error);
  server.add_children()->mutable_client()->set_name("Roof");
  server.add_children()->mutable_getstatusmodule();
  tarn::Wifi wifi;
  wifi.set_ssid("office");
  wifi.set_pass("secret");
  messages.push_back(&server);
  messages.push_back(&wifi);
  tarn::Price odd;
  odd.set_product_id("caf\xC3\xA9 \xE2\x80\xAE\n");
  messages.push_back(&odd);
  held = messages.data();
  Stop(server, wifi);
}
