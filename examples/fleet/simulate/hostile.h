// Messages that no honest site sends, to see what an office does with them.
#ifndef EXAMPLES_FLEET_SIMULATE_HOSTILE_H_
#define EXAMPLES_FLEET_SIMULATE_HOSTILE_H_

#include <cstddef>
#include <string>

#include "life.h"

namespace fleet {

// What an office has to do with a message.
enum class Fate { kStored, kRejected, kEither };

struct HostileMessage {
  std::string subject;
  std::string bytes;
  Fate fate;
};

// One of twelve kinds, in turn by `number`, in the name of `site`. Messages of
// the kind that is too large have `too_large` bytes.
HostileMessage MakeHostile(int number, const std::string& site,
                           size_t too_large, Chance* chance);

}  // namespace fleet

#endif  // EXAMPLES_FLEET_SIMULATE_HOSTILE_H_
