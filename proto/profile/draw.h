// Messages as a price-sign installation sends them, to train a profile on.
#ifndef SCHEMA_PROFILE_DRAW_H_
#define SCHEMA_PROFILE_DRAW_H_

#include <google/protobuf/message.h>

#include <cstdint>

// A generator of its own, so that every platform draws the same numbers.
class Random {
 public:
  // A number from 0 to limit - 1; limit is at least 1.
  uint32_t Below(uint32_t limit);

  // True in percent of 100 calls.
  bool Chance(uint32_t percent) { return Below(100) < percent; }

 private:
  uint64_t state_ = 1;
};

// Fills an empty message of any type in the two schema files: a network tree
// with radios, displays and modules in their places, prices that look like
// prices, and most fields set. Map fields stay empty.
void Draw(Random& random, google::protobuf::Message& message);

// A text in the form of a node's key.
std::string DrawUuid(Random& random);

#endif  // SCHEMA_PROFILE_DRAW_H_
