// Adds up values at little cost, so that every one has to be read.
#ifndef SCHEMA_BENCH_PEERS_VALUES_H_
#define SCHEMA_BENCH_PEERS_VALUES_H_

#include <cstdint>
#include <string_view>

inline uint64_t Code(std::string_view text) {
  return text.empty() ? 0
                      : text.size() + static_cast<uint8_t>(text.front()) +
                            static_cast<uint8_t>(text.back());
}
inline uint64_t Code(int32_t number) { return static_cast<int64_t>(number); }

#endif  // SCHEMA_BENCH_PEERS_VALUES_H_
