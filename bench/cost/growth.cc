// Measures time and memory of a message of a given size.
//
// Usage: growth tree|map heap|arena SIZE [MESSAGES]
//        growth chase BYTES
// A tree has SIZE nodes, a map SIZE keys. With MESSAGES, so many messages of
// that size are there at the same time, each step goes over all of them, and
// numbers are for all of them. Prints one JSON object: nanoseconds of each step
// and bytes. Chase follows pointers at random through that much memory, and
// prints nanoseconds for each: what a read costs that no cache could foresee.
#include <google/protobuf/arena.h>
#include <sys/resource.h>
#include <tarn/Network.pb.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "heap.h"

namespace {

using google::protobuf::Arena;
using Clock = std::chrono::steady_clock;

constexpr int kDisplaysOfClient = 4;
constexpr int kModulesOfDisplay = 12;
// What is quick is repeated so long.
constexpr std::chrono::milliseconds kEnough(50);

// Believable, and without an order that anything could profit from.
std::string Uuid(uint64_t number) {
  const uint64_t a = (number + 1) * 0x9E3779B97F4A7C15;
  const uint64_t b = (a ^ a >> 29) * 0xBF58476D1CE4E5B9;
  char text[40];
  std::snprintf(
      text, sizeof text, "%08x-%04x-%04x-%04x-%012llx",
      static_cast<unsigned>(a >> 32), static_cast<unsigned>(a & 0xFFFF),
      static_cast<unsigned>(a >> 16 & 0xFFFF), static_cast<unsigned>(b >> 48),
      static_cast<unsigned long long>(b & 0xFFFFFFFFFFFF));
  return text;
}

// A server, below it clients with displays with modules, of `size` nodes.
void Fill(uint64_t size, tarn::ModsConfigured* message) {
  tarn::Server* server = message->add_modsconfigured()->mutable_server();
  server->set_name("Main radio");
  server->set_uuid(Uuid(0));
  tarn::Client* client = nullptr;
  tarn::Display* display = nullptr;
  for (uint64_t node = 1; node < size; ++node) {
    if (display != nullptr && display->children_size() < kModulesOfDisplay) {
      tarn::Module* module = display->add_children()->mutable_module();
      module->set_uuid(Uuid(node));
      module->set_hwid("D16-24");
      module->set_status(tarn::ok);
      module->set_linearaddr(static_cast<int32_t>(node % 200));
      module->set_fw_rev(214);
    } else if (client != nullptr &&
               client->children_size() < kDisplaysOfClient) {
      display = client->add_children()->mutable_display();
      display->set_name("Line 1");
      display->set_uuid(Uuid(node));
      display->set_status(tarn::ok);
    } else {
      client = server->add_children()->mutable_client();
      client->set_name("North sign");
      client->set_uuid(Uuid(node));
      display = nullptr;
    }
  }
}

void Fill(uint64_t size, tarn::NetworkStatusReport* message) {
  auto& map = *message->mutable_status_packet();
  for (uint64_t key = 0; key < size; ++key) map[Uuid(key)] = tarn::ok;
}

// Looks once at everything, as any use of the message would.
uint64_t Visit(const tarn::ChildTypes& node) {
  const auto* children = &node.server().children();
  uint64_t sum = 0;
  switch (node.types_case()) {
    case tarn::ChildTypes::kModule:
      return node.module().uuid()[0] + node.module().status();
    case tarn::ChildTypes::kServer:
      sum += node.server().uuid()[0];
      break;
    case tarn::ChildTypes::kClient:
      sum += node.client().uuid()[0];
      children = &node.client().children();
      break;
    default:
      sum += node.display().uuid()[0];
      children = &node.display().children();
  }
  for (const tarn::ChildTypes& child : *children) sum += Visit(child);
  return sum;
}

uint64_t Visit(const tarn::ModsConfigured& message) {
  uint64_t sum = 0;
  for (const tarn::ChildTypes& node : message.modsconfigured()) {
    sum += Visit(node);
  }
  return sum;
}

uint64_t Visit(const tarn::NetworkStatusReport& message) {
  uint64_t sum = 0;
  for (const auto& entry : message.status_packet()) {
    sum += entry.first[0] + entry.second;
  }
  return sum;
}

long MinorFaults() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt;
}

double Median(std::vector<double> numbers) {
  const auto middle = numbers.begin() + numbers.size() / 2;
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

using Results = std::map<std::string, std::vector<double>>;

// Runs a step, and enters how long it took.
template <class Step>
void Time(const char* name, Results* results, Step step) {
  const auto begin = Clock::now();
  step();
  const std::chrono::duration<double, std::nano> taken = Clock::now() - begin;
  (*results)[name].push_back(taken.count());
}

// Messages on the heap, or all of them on one arena.
template <class Message>
class Messages {
 public:
  Messages(bool on_arena, size_t count) : messages_(count) {
    if (on_arena) arena_ = std::make_unique<Arena>();
  }
  ~Messages() { Destroy(); }

  size_t size() const { return messages_.size(); }
  Message& operator[](size_t index) { return *messages_[index]; }
  Message& Make(size_t index) {
    messages_[index] = Arena::CreateMessage<Message>(arena_.get());
    return *messages_[index];
  }
  void Destroy() {
    if (arena_ == nullptr) {
      for (Message* message : messages_) delete message;
    }
    messages_.clear();
    arena_.reset();
  }

 private:
  std::unique_ptr<Arena> arena_;
  std::vector<Message*> messages_;
};

template <class Message>
void Repeat(const std::string& bytes, bool on_arena, size_t count,
            std::string* buffer, Results* results) {
  const Heap before = HeapNow();
  const long faults = MinorFaults();
  bool fine = true;
  Messages<Message> parsed(on_arena, count);
  Time("parse", results, [&] {
    for (size_t i = 0; i < count; ++i) {
      fine &= parsed.Make(i).ParseFromString(bytes);
    }
  });
  (*results)["page_faults"].push_back(MinorFaults() - faults);
  (*results)["live_bytes"].push_back(HeapNow().live - before.live);
  (*results)["requested_bytes"].push_back(HeapNow().requested -
                                          before.requested);
  uint64_t space = 0;
  for (size_t i = 0; i < count; ++i) space += parsed[i].SpaceUsedLong();
  (*results)["space_used"].push_back(space);

  uint64_t sum = 0;
  Time("visit", results, [&] {
    for (size_t i = 0; i < count; ++i) sum += Visit(parsed[i]);
  });
  Time("serialize", results, [&] {
    for (size_t i = 0; i < count; ++i) {
      fine &= parsed[i].SerializeToArray(buffer->data(), buffer->size());
    }
  });
  Messages<Message> copies(on_arena, count);
  Time("copy", results, [&] {
    for (size_t i = 0; i < count; ++i) copies.Make(i).CopyFrom(parsed[i]);
  });
  fine &= copies[count - 1].ByteSizeLong() == bytes.size();
  copies.Destroy();
  Time("destroy", results, [&] { parsed.Destroy(); });
  if (!fine || sum == 0) {
    std::fprintf(stderr, "growth: the message did not survive\n");
    std::exit(1);
  }
}

template <class Message>
void Measure(uint64_t size, bool on_arena, size_t count) {
  std::string bytes;
  {
    Message message;
    Fill(size, &message);
    bytes = message.SerializeAsString();
  }
  std::string buffer(bytes.size(), '\0');
  Results results;
  // The first time is for the caches and the allocator.
  Repeat<Message>(bytes, on_arena, count, &buffer, &results);
  const auto enough = Clock::now() + kEnough;
  results.clear();
  do {
    Repeat<Message>(bytes, on_arena, count, &buffer, &results);
  } while (Clock::now() < enough);
  std::printf("{\"wire_bytes\": %zu", bytes.size() * count);
  for (const auto& [name, numbers] : results) {
    std::printf(", \"%s\": %.0f", name.c_str(), Median(numbers));
  }
  std::printf("}\n");
}

// A line of a cache, and where to go from it.
struct alignas(64) Line {
  Line* next;
};

void Chase(uint64_t bytes) {
  constexpr uint64_t kReads = 2000000;
  std::vector<Line> lines(std::max<uint64_t>(bytes / sizeof(Line), 2));
  std::vector<uint32_t> order(lines.size());
  std::iota(order.begin(), order.end(), 0);
  std::shuffle(order.begin(), order.end(), std::mt19937(1));
  for (size_t i = 0; i < order.size(); ++i) {
    lines[order[i]].next = &lines[order[(i + 1) % order.size()]];
  }
  const Line* line = lines.data();
  const auto begin = Clock::now();
  for (uint64_t i = 0; i < kReads; ++i) line = line->next;
  const std::chrono::duration<double, std::nano> taken = Clock::now() - begin;
  // Where it ended up must matter to somebody.
  if (line->next == line) std::exit(1);
  std::printf("{\"read\": %.2f}\n", taken.count() / kReads);
}

}  // namespace

int main(int argc, char* argv[]) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() == 2 && arguments[0] == "chase") {
    Chase(std::strtoull(argv[2], nullptr, 10));
    return 0;
  }
  const uint64_t size =
      arguments.size() > 2 ? std::strtoull(argv[3], nullptr, 10) : 0;
  const size_t count =
      arguments.size() > 3 ? std::strtoull(argv[4], nullptr, 10) : 1;
  if (size == 0 || count == 0) {
    std::fprintf(stderr,
                 "usage: growth tree|map heap|arena SIZE [MESSAGES]\n"
                 "       growth chase BYTES\n");
    return 2;
  }
  const bool on_arena = arguments[1] == "arena";
  if (arguments[0] == "map") {
    Measure<tarn::NetworkStatusReport>(size, on_arena, count);
  } else {
    Measure<tarn::ModsConfigured>(size, on_arena, count);
  }
}
