// How well the types of the schema fit bytes.
#ifndef TOOLS_TARN_QUALITY_H_
#define TOOLS_TARN_QUALITY_H_

#include <string_view>
#include <vector>

#include "schema.h"

namespace tarn::tool {

enum class Quality {
  kNone,     // no message
  kForeign,  // nothing but unknown fields
  kOdd,
  kClean,  // fields, and nothing odd about them
};

// That of the type that fits best. `cut`: the bytes are only the beginning of a
// message.
Quality QualityOf(const std::vector<const Type*>& types, std::string_view bytes,
                  bool cut = false);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_QUALITY_H_
