// Messages in JSON that stand in a list, or in an object of another program.
#ifndef TOOLS_TARN_ENVELOPE_H_
#define TOOLS_TARN_ENVELOPE_H_

#include <string>
#include <string_view>
#include <vector>

#include "schema.h"

namespace tarn::tool {

// A message inside of JSON that is none.
struct Enclosed {
  std::string words;   // what the JSON is; empty: no message is in it
  std::string filter;  // a command that takes the first message out; or empty
};

// Looks at the first objects and strings of JSON, not deep inside of it.
Enclosed FindEnclosed(const std::vector<const Type*>& types,
                      std::string_view json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_ENVELOPE_H_
