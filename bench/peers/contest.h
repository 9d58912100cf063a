// What every contestant does: it holds the payloads, shows that they are equal
// to all others', and is timed at what it can do with them.
#ifndef SCHEMA_BENCH_PEERS_CONTEST_H_
#define SCHEMA_BENCH_PEERS_CONTEST_H_

#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "payloads.h"
#include "visitors.h"

class Contest {
 public:
  // Times operation(), which does what it is named for once, results and all
  // that it destroys included.
  template <typename T, typename F>
  void Time(const Payload<T>& payload, const std::string& name, F operation) {
    Keep(payload.name, name, operation);
    benchmark::RegisterBenchmark((payload.name + "/" + name).c_str(),
                                 [operation](benchmark::State& state) mutable {
                                   for (auto _ : state) operation();
                                 });
  }

  // Times the destruction of what make() returns, a batch at a time.
  template <typename T, typename F>
  void TimeDestruction(const Payload<T>& payload, F make) {
    benchmark::RegisterBenchmark(
        (payload.name + "/destroy").c_str(),
        [make,
         count = 1 + 20000 / payload.bytes.size()](benchmark::State& state) {
          std::vector<decltype(make())> made;
          for (auto _ : state) {
            for (size_t i = 0; i < count; ++i) made.push_back(make());
            const auto begin = std::chrono::steady_clock::now();
            made.clear();
            const std::chrono::duration<double> took =
                std::chrono::steady_clock::now() - begin;
            state.SetIterationTime(took.count());
          }
          state.counters["batch"] = static_cast<double>(count);
        })
        ->UseManualTime();
  }

  // Demands that what a contestant holds is what it should hold.
  template <typename T>
  void Check(const Payload<T>& payload, const char* what, bool equal) {
    if (!equal) Fail(payload.name, what);
  }
  template <typename T>
  void CheckBytes(const Payload<T>& payload, const std::string& bytes) {
    Check(payload, "bytes", bytes == payload.bytes);
    sizes_[payload.name] = bytes.size();
  }
  template <typename T>
  void CheckValues(const Payload<T>& payload, uint64_t hash) {
    Check(payload, "values", hash == payload.hash);
  }

  // The size on the wire, where it is not that of Protocol Buffers.
  template <typename T>
  void SetSize(const Payload<T>& payload, size_t size) {
    sizes_[payload.name] = size;
  }

  // Runs what the arguments ask for; returns the exit status.
  int Run(int argc, char** argv);

 private:
  void Keep(const std::string& payload, const std::string& name,
            std::function<void()> operation) {
    operations_[payload].emplace_back(name, std::move(operation));
  }
  void Fail(const std::string& payload, const char* what);
  int Count() const;

  using Operation = std::pair<std::string, std::function<void()>>;
  std::map<std::string, std::vector<Operation>> operations_;
  std::map<std::string, size_t> sizes_;
  bool failed_ = false;
};

// Runs a contestant, which enter(payload, contest) enters for each payload.
template <typename F>
int RunContest(int argc, char** argv, F enter) {
  const Payloads payloads;
  Contest contest;
  payloads.ForEach([&](const auto& payload) { enter(payload, contest); });
  return contest.Run(argc, argv);
}

// The main function of a contestant with such a function template.
#define CONTEST_MAIN(enter)                                                   \
  int main(int argc, char** argv) {                                           \
    return RunContest(argc, argv, [](const auto& payload, Contest& contest) { \
      enter(payload, contest);                                                \
    });                                                                       \
  }

#endif  // SCHEMA_BENCH_PEERS_CONTEST_H_
