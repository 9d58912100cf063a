// What every contestant does: show that it holds the messages, and be timed.
#ifndef SCHEMA_BENCH_PEERS_CONTEST_H_
#define SCHEMA_BENCH_PEERS_CONTEST_H_

#include <benchmark/benchmark.h>

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
