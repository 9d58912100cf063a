// What is done with the values that are read from a contestant's messages.
#ifndef SCHEMA_BENCH_PEERS_VISITORS_H_
#define SCHEMA_BENCH_PEERS_VISITORS_H_

#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>
#include <type_traits>

// The bits of a number, the same for enums and integers of all contestants.
template <typename T>
uint64_t Bits(T value) {
  if constexpr (std::is_same_v<T, float>) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
  } else {
    return static_cast<uint64_t>(static_cast<int64_t>(value));
  }
}

// Adds up all values at little cost, so that every one has to be read.
struct Touch {
  static uint64_t Code(std::string_view text) {
    return text.empty() ? 0
                        : text.size() + static_cast<uint8_t>(text.front()) +
                              static_cast<uint8_t>(text.back());
  }
  template <typename T>
  static std::enable_if_t<!std::is_convertible_v<T, std::string_view>, uint64_t>
  Code(T number) {
    return Bits(number);
  }

  // Numbers the elements of each list, where that matters: here it does not.
  struct Places {
    static uint32_t Next(uint32_t) { return 0; }
  };

  static uint64_t Present() { return 0; }
  template <typename T>
  static uint64_t Value(uint32_t, T value) {
    return Code(value);
  }
  template <typename K, typename T>
  static uint64_t Item(uint32_t, K key, T value) {
    return Code(key) + Code(value);
  }
  template <typename K>
  static Touch Sub(uint32_t, K) {
    return {};
  }
};

// Tells any two messages apart: each value counts with its place, and only the
// order of map entries makes no difference.
class Hash {
 public:
  class Places {
   public:
    uint32_t Next(uint32_t field) { return next_[field]++; }

   private:
    uint32_t next_[32] = {};
  };

  Hash() = default;

  uint64_t Present() const { return context_; }
  template <typename T>
  uint64_t Value(uint32_t field, T value) const {
    const uint64_t code = Code(value);
    return code == 0 ? 0 : Mix(Mix(context_, field), code);
  }
  template <typename K, typename T>
  uint64_t Item(uint32_t field, K key, T value) const {
    return Mix(Mix(Mix(context_, field), Code(key) + 1), Code(value));
  }
  template <typename K>
  Hash Sub(uint32_t field, K key) const {
    return Hash(Mix(Mix(context_, field), Code(key) + 1));
  }

 private:
  explicit Hash(uint64_t context) : context_(context) {}

  static uint64_t Mix(uint64_t a, uint64_t b) {
    a = (a ^ b) * 0x9e3779b97f4a7c15;
    return (a ^ (a >> 32)) * 0xd6e8feb86659fd93;
  }
  static uint64_t Code(std::string_view text) {
    return text.empty() ? 0 : std::hash<std::string_view>()(text);
  }
  template <typename T>
  static std::enable_if_t<!std::is_convertible_v<T, std::string_view>, uint64_t>
  Code(T number) {
    return Bits(number);
  }

  uint64_t context_ = 1;
};

#endif  // SCHEMA_BENCH_PEERS_VISITORS_H_
