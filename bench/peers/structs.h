// Times a format that is read into the plain structs and written from them.
#ifndef SCHEMA_BENCH_PEERS_STRUCTS_H_
#define SCHEMA_BENCH_PEERS_STRUCTS_H_

#include "contest.h"
#include "model_walk.h"

// write(value) returns the size of the bytes it made, and read(message) fills
// an empty message from the bytes that were last made of the payload.
template <typename T, typename Write, typename Read>
void EnterStructs(const Payload<T>& payload, Contest& contest, Write write,
                  Read read) {
  contest.SetSize(payload, write(payload.value));
  T parsed;
  read(parsed);
  contest.CheckValues(payload, model::HashOf(parsed));

  contest.Time(payload, "parse new", [read] {
    T message;
    read(message);
    benchmark::DoNotOptimize(&message);
  });
  contest.Time(payload, "decode", [read] {
    T message;
    read(message);
    benchmark::DoNotOptimize(model::Walk(message, Touch()));
  });
  contest.Time(payload, "serialize array", [&payload, write] {
    benchmark::DoNotOptimize(write(payload.value));
  });
  contest.Time(payload, "encode", [&payload, write] {
    benchmark::DoNotOptimize(write(payload.value));
  });
  contest.Time(payload, "read", [&payload] {
    benchmark::DoNotOptimize(&payload.value);
    benchmark::DoNotOptimize(model::Walk(payload.value, Touch()));
  });
}

#endif  // SCHEMA_BENCH_PEERS_STRUCTS_H_
