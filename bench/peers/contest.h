// What every contestant does: show that it holds the messages, and be timed.
#ifndef SCHEMA_BENCH_PEERS_CONTEST_H_
#define SCHEMA_BENCH_PEERS_CONTEST_H_

#include <benchmark/benchmark.h>
#include <google/protobuf/arena.h>
#include <google/protobuf/util/json_util.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "messages.h"
#include "values.h"

// A message to carry. It is never changed and never goes.
template <typename T>
struct Payload {
  std::string name;
  T message;
  std::string bytes = message.SerializeAsString();
};

using Tree = Payload<tarn::ModsConfigured>;

// Made in their places: a copy would be in a better order in memory.
inline const std::array<Tree, 3>& Trees() {
  static const std::array<Tree, 3> trees = {
      {{"tree, 5 KB", FixedNetwork(3, 2)},
       {"tree, 50 KB", FixedNetwork(2, 22)},
       {"tree, 1.2 MB", FixedNetwork(1, 540)}}};
  return trees;
}

// An arena with a block of memory that takes the messages of these bytes, one
// after the other.
template <typename T>
class Block {
 public:
  explicit Block(const std::string& bytes)
      : memory_(SpaceFor(bytes)), arena_(Options(memory_)) {}

  // The message made before goes.
  T* Create() {
    arena_.Reset();
    return google::protobuf::Arena::CreateMessage<T>(&arena_);
  }

 private:
  static size_t SpaceFor(const std::string& bytes) {
    google::protobuf::Arena arena;
    google::protobuf::Arena::CreateMessage<T>(&arena)->ParseFromString(bytes);
    return arena.SpaceAllocated() + 1024;
  }
  static google::protobuf::ArenaOptions Options(std::vector<char>& memory) {
    google::protobuf::ArenaOptions options;
    options.initial_block = memory.data();
    options.initial_block_size = memory.size();
    return options;
  }

  std::vector<char> memory_;
  google::protobuf::Arena arena_;
};

// JSON with the keys of the schema, and numbers for enums.
inline std::string JsonOf(const google::protobuf::Message& message) {
  google::protobuf::util::JsonPrintOptions options;
  options.always_print_enums_as_ints = true;
  options.preserve_proto_field_names = true;
  std::string text;
  if (!MessageToJsonString(message, &text, options).ok()) std::abort();
  return text;
}

// Times operation(), and with it the destruction of what it makes.
template <typename T, typename F>
void Time(const Payload<T>& payload, const char* name, F operation) {
  benchmark::RegisterBenchmark((payload.name + "/" + name).c_str(),
                               [operation](benchmark::State& state) mutable {
                                 for (auto _ : state) operation();
                               });
}

// Shows how large a contestant's own bytes of the tree are.
inline void ShowSize(const Tree& tree, size_t size) {
  benchmark::AddCustomContext(tree.name, std::to_string(size));
}

inline void Demand(bool equal, const std::string& payload) {
  if (equal) return;
  std::cerr << "not what all others hold: " << payload << '\n';
  std::exit(1);
}

// Runs what has been entered. With --benchmark_list_tests it is only checked.
inline int RunContest(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

// Enters a library that parses the bytes of a tree into an object of its own,
// parse(bytes), and writes that to an array, write(object, &array), which
// returns the size.
template <typename Parse, typename Write>
void EnterTrees(Parse parse, Write write) {
  for (const Tree& tree : Trees()) {
    const auto object =
        std::make_shared<decltype(parse(tree.bytes))>(parse(tree.bytes));
    const auto array = std::make_shared<std::string>(tree.bytes.size(), '\0');
    Demand(write(*object, array.get()) == tree.bytes.size() &&
               *array == tree.bytes,
           tree.name);
    Time(tree, "parse new", [&tree, parse] { parse(tree.bytes); });
    Time(tree, "serialize array", [object, array, write] {
      benchmark::DoNotOptimize(write(*object, array.get()));
    });
  }
}

#endif  // SCHEMA_BENCH_PEERS_CONTEST_H_
