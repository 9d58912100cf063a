// Messages as a price-sign installation sends them: drawn ones of any type, to
// train a profile on, and some that never change, to measure with. What is
// measured is not what the profile is trained on.
#ifndef SCHEMA_PROFILE_MESSAGES_H_
#define SCHEMA_PROFILE_MESSAGES_H_

#include <google/protobuf/message.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <cstdint>
#include <string>

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

// The rest is the same in every run. Kept results of the benchmarks hold for
// exactly these bytes.

// Radios of up to eight signs each, and one sign on a cable, with everything
// that a site reports.
tarn::ModsConfigured FixedNetwork(uint32_t seed, int32_t signs);

tarn::KT4Products FixedProducts(uint32_t seed, int32_t count);

// So many nodes in all, with little in each; and a status for each of so many
// keys.
tarn::ModsConfigured FixedNodes(uint64_t nodes);
tarn::NetworkStatusReport FixedStatuses(uint64_t keys);

#endif  // SCHEMA_PROFILE_MESSAGES_H_
