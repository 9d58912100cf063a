// The part of a rejected message that can still be read.
#ifndef TOOLS_TARN_SALVAGE_H_
#define TOOLS_TARN_SALVAGE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "schema.h"
#include "walk_visitor.h"

namespace tarn::tool {

struct Damage {
  uint64_t offset = 0;  // of the byte that is wrong, in the message
  std::string path;     // may be empty
  std::string reason;
  Problem problem = Problem::kCutOff;
  std::vector<const Type*> around;  // types of the records around the byte, the
                                    // outermost first
  std::string salvaged;  // a complete message made of the bytes before it
};

// The first error of a message that the runtime rejects. `start` is the offset
// of the message in its file, for the reason.
Damage FindDamage(const Type& type, std::string_view bytes, uint64_t start);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SALVAGE_H_
