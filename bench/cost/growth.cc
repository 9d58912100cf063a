// Measures time and memory of a message of a given size.
//
// Usage: growth tree|map heap|arena SIZE [MESSAGES]
// A tree has SIZE nodes, a map SIZE keys. With MESSAGES, so many messages of
// that size are there at the same time, each step goes over all of them, and
// numbers are for all of them. Prints one JSON object: nanoseconds of each step
// and bytes.
#include <google/protobuf/arena.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "heap.h"
#include "messages.h"

namespace {

using google::protobuf::Arena;
using Clock = std::chrono::steady_clock;

// What is quick is repeated so long.
constexpr std::chrono::milliseconds kEnough(50);

using Results = std::map<std::string, std::vector<double>>;

double Median(std::vector<double> numbers) {
  const auto middle = numbers.begin() + numbers.size() / 2;
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

// Runs a step, and enters how long it took.
template <class Step>
void Time(const char* name, Results* results, Step step) {
  const auto begin = Clock::now();
  step();
  const std::chrono::duration<double, std::nano> taken = Clock::now() - begin;
  (*results)[name].push_back(taken.count());
}

template <class Message>
void Repeat(const std::string& bytes, bool on_arena, size_t count,
            std::string* buffer, Results* results) {
  const uint64_t before = HeapNow().live;
  bool fine = true;
  std::unique_ptr<Arena> arena(on_arena ? new Arena : nullptr);
  std::vector<Message*> messages(count);
  Time("parse", results, [&] {
    for (Message*& message : messages) {
      message = Arena::CreateMessage<Message>(arena.get());
      fine &= message->ParseFromString(bytes);
    }
  });
  (*results)["live_bytes"].push_back(HeapNow().live - before);
  Time("serialize", results, [&] {
    for (const Message* message : messages) {
      fine &= message->SerializeToArray(buffer->data(), buffer->size());
    }
  });
  Time("destroy", results, [&] {
    if (!on_arena) {
      for (const Message* message : messages) delete message;
    }
    arena.reset();
  });
  if (!fine) {
    std::fprintf(stderr, "growth: the message did not survive\n");
    std::exit(1);
  }
}

template <class Message>
void Measure(const std::string& bytes, bool on_arena, size_t count) {
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

}  // namespace

int main(int argc, char* argv[]) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const uint64_t size = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 0;
  const size_t count = argc > 4 ? std::strtoull(argv[4], nullptr, 10) : 1;
  if (size == 0 || count == 0) {
    std::fprintf(stderr, "usage: growth tree|map heap|arena SIZE [MESSAGES]\n");
    return 2;
  }
  const bool on_arena = arguments[1] == "arena";
  if (arguments[0] == "map") {
    Measure<tarn::NetworkStatusReport>(FixedStatuses(size).SerializeAsString(),
                                       on_arena, count);
  } else {
    Measure<tarn::ModsConfigured>(FixedNodes(size).SerializeAsString(),
                                  on_arena, count);
  }
}
