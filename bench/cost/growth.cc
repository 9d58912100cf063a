// Measures time and memory of a message of a given size.
//
// Usage: growth tree|map heap|arena SIZE MESSAGES
// A tree has SIZE nodes, a map SIZE keys. So many messages of that size are
// there at the same time, each step goes over all of them, and numbers are for
// all of them. Prints one JSON object: nanoseconds of each step and bytes.
#include <google/protobuf/arena.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "messages.h"

namespace {

using google::protobuf::Arena;
using Clock = std::chrono::steady_clock;
using Results = std::map<std::string, double>;

// What is quick is repeated so long.
constexpr std::chrono::milliseconds kEnough(50);

// Other programs disturb the least time least.
void KeepLeast(const char* name, double number, Results* results) {
  const auto [place, fresh] = results->try_emplace(name, number);
  if (!fresh) place->second = std::min(place->second, number);
}

// With what glibc adds to each piece.
double BytesInUse() {
  const struct mallinfo2 now = mallinfo2();
  return static_cast<double>(now.uordblks + now.hblkhd);
}

// Runs a step, and enters how long it took.
template <class Step>
void Time(const char* name, Results* results, Step step) {
  const auto begin = Clock::now();
  step();
  const std::chrono::duration<double, std::nano> taken = Clock::now() - begin;
  KeepLeast(name, taken.count(), results);
}

template <class Message>
void Pass(const std::string& bytes, bool on_arena, size_t count,
          Results* results) {
  std::string buffer(bytes.size(), '\0');
  std::vector<Message*> messages(count);
  bool fine = true;
  const double before = BytesInUse();
  auto arena = on_arena ? std::make_unique<Arena>() : nullptr;
  Time("parse", results, [&] {
    for (Message*& message : messages) {
      message = Arena::CreateMessage<Message>(arena.get());
      fine &= message->ParseFromString(bytes);
    }
  });
  KeepLeast("live_bytes", BytesInUse() - before, results);
  Time("serialize", results, [&] {
    for (const Message* message : messages) {
      fine &= message->SerializeToArray(buffer.data(), buffer.size());
    }
  });
  Time("destroy", results, [&] {
    if (!on_arena) {
      for (const Message* message : messages) delete message;
    }
    arena.reset();
  });
  if (fine) return;
  std::fprintf(stderr, "growth: the message did not survive\n");
  std::exit(1);
}

template <class Message>
void Measure(const Message& message, bool on_arena, size_t count) {
  const std::string bytes = message.SerializeAsString();
  Results results;
  // The first time warms the caches and the allocator.
  Pass<Message>(bytes, on_arena, count, &results);
  const auto enough = Clock::now() + kEnough;
  do Pass<Message>(bytes, on_arena, count, &results);
  while (Clock::now() < enough);
  std::printf("{\"wire_bytes\": %zu", bytes.size() * count);
  for (const auto& [name, number] : results) {
    std::printf(", \"%s\": %.0f", name.c_str(), number);
  }
  std::printf("}\n");
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 5) return 2;
  const bool on_arena = std::string(argv[2]) == "arena";
  const uint64_t size = std::strtoull(argv[3], nullptr, 10);
  const size_t count = std::strtoull(argv[4], nullptr, 10);
  if (std::string(argv[1]) == "map") {
    Measure(FixedStatuses(size), on_arena, count);
  } else {
    Measure(FixedNodes(size), on_arena, count);
  }
}
