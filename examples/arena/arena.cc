// Builds a big network on an arena and parses it onto another arena. All nodes
// lie in a few blocks of memory, which the arena frees when it is destroyed.
#include <google/protobuf/arena.h>
#include <tarn/Network.pb.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using google::protobuf::Arena;
using google::protobuf::ArenaOptions;

size_t allocations = 0;

constexpr int kClients = 20;
constexpr int kDisplays = 5;
constexpr int kModules = 8;

void BuildDisplay(int number, tarn::Display* display) {
  display->set_name("Line " + std::to_string(number));
  display->set_status(tarn::ok);
  for (int place = 1; place <= kModules; ++place) {
    tarn::Module* module = display->add_children()->mutable_module();
    module->set_hwid("D16-24");
    module->set_status(tarn::ok);
    module->set_assyaddr(place);
    module->mutable_extstatus()->set_tempkelvin(295 + place);
  }
}

void BuildClient(int number, tarn::Client* client) {
  client->set_name("Client " + std::to_string(number));
  client->set_status(tarn::ok);
  for (int i = 1; i <= kDisplays; ++i) {
    BuildDisplay(i, client->add_children()->mutable_display());
  }
}

int CountNodes(
    const google::protobuf::RepeatedPtrField<tarn::ChildTypes>& children) {
  int count = 0;
  for (const tarn::ChildTypes& child : children) {
    count += 1 + CountNodes(child.server().children()) +
             CountNodes(child.client().children()) +
             CountNodes(child.direct().children()) +
             CountNodes(child.display().children());
  }
  return count;
}

}  // namespace

// Counts the allocations on the heap, for the comparison below.
void* operator new(size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) return memory;
  std::fputs("arena: out of memory\n", stderr);
  std::_Exit(5);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }

int main() {
  ArenaOptions options;
  options.start_block_size = 64 * 1024;
  options.max_block_size = 64 * 1024;

  // A message on an arena makes all messages in it on the same arena. The
  // program never deletes any of them.
  Arena sender(options);
  auto* network = Arena::CreateMessage<tarn::ModsConfigured>(&sender);
  tarn::Server* server = network->add_modsconfigured()->mutable_server();
  server->set_name("Server");
  for (int i = 1; i <= kClients; ++i) {
    BuildClient(i, server->add_children()->mutable_client());
  }
  tarn::Direct* direct = network->add_modsconfigured()->mutable_direct();
  direct->set_name("Counter board");
  BuildDisplay(1, direct->add_children()->mutable_display());
  const std::string bytes = network->SerializeAsString();
  const int nodes = CountNodes(network->modsconfigured());
  std::printf("built %d nodes, %zu bytes\n", nodes, bytes.size());

  Arena receiver(options);
  auto* parsed = Arena::CreateMessage<tarn::ModsConfigured>(&receiver);
  allocations = 0;
  if (!parsed->ParseFromString(bytes)) return 1;
  const size_t on_arena = allocations;
  std::printf("parsed %d nodes onto an arena\n",
              CountNodes(parsed->modsconfigured()));

  tarn::ModsConfigured on_heap;
  allocations = 0;
  if (!on_heap.ParseFromString(bytes)) return 1;
  std::printf(
      "a tenth of the allocations of a parse onto the heap, or less: "
      "%s\n",
      on_arena * 10 <= allocations ? "yes" : "no");
  return std::fflush(stdout) == 0 ? 0 : 5;
}
