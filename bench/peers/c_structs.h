// Times a library whose messages are C structs with memory of their own.
#ifndef SCHEMA_BENCH_PEERS_C_STRUCTS_H_
#define SCHEMA_BENCH_PEERS_C_STRUCTS_H_

#include <cstddef>

#include "contest.h"

// A range over an array of which a struct knows the length.
template <typename T>
class Span {
 public:
  Span(T* begin, size_t size) : begin_(begin), end_(begin + size) {}
  T* begin() const { return begin_; }
  T* end() const { return end_; }

 private:
  T* begin_;
  T* end_;
};

// build(value) and parse(bytes) return what owns a message, and goes with all
// of it; write(owner, array) returns the size of what it writes into an array
// that is large enough; walk(owner, visitor) returns the visitor's sum.
template <typename T, typename Build, typename Parse, typename Write,
          typename Walk>
void EnterCStructs(const Payload<T>& payload, Contest& contest, Build build,
                   Parse parse, Write write, Walk walk) {
  const T& value = payload.value;
  const std::string& bytes = payload.bytes;
  const auto message = std::make_shared<decltype(build(value))>(build(value));
  const auto array = std::make_shared<std::string>(bytes.size(), '\0');
  contest.Check(payload, "size", write(*message, *array) == bytes.size());
  contest.CheckBytes(payload, *array);
  contest.CheckValues(payload, walk(parse(bytes), Hash()));

  contest.Time(payload, "build", [&value, build] { build(value); });
  contest.Time(payload, "parse new", [&bytes, parse] { parse(bytes); });
  contest.Time(payload, "decode", [&bytes, parse, walk] {
    benchmark::DoNotOptimize(walk(parse(bytes), Touch()));
  });
  contest.Time(payload, "serialize array", [message, array, write] {
    benchmark::DoNotOptimize(write(*message, *array));
  });
  contest.Time(payload, "encode", [&value, array, build, write] {
    benchmark::DoNotOptimize(write(build(value), *array));
  });
  contest.Time(payload, "read", [message, walk] {
    benchmark::DoNotOptimize(message.get());
    benchmark::DoNotOptimize(walk(*message, Touch()));
  });
  contest.TimeDestruction(payload, [&bytes, parse] { return parse(bytes); });
}

#endif  // SCHEMA_BENCH_PEERS_C_STRUCTS_H_
