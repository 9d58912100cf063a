// Looks over JSON before the runtime reads it: how deep it is, and which names
// are in it, with line and column.
#ifndef TOOLS_TARN_JSON_CHECK_H_
#define TOOLS_TARN_JSON_CHECK_H_

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "schema.h"

namespace tarn::tool {

struct JsonFindings {
  // "line 3, column 7: ..."; empty: nothing is wrong that this can see.
  std::string problem;
  // Where a member "@unknown" of the outermost object stands, with the comma
  // that goes with it; empty: there is none.
  size_t unknown_begin = 0;
  size_t unknown_end = 0;
  // Where each -0 ends that is the value of a float.
  std::vector<size_t> negative_zeros;
};

// Asked for each plain value of a field; false: the value is wrong.
using JsonValueTest = std::function<bool(const Type& type, const Field& field,
                                         std::string_view value)>;

// Goes through JSON that is to become a message, without recursion.
JsonFindings CheckJson(const Type& type, std::string_view json,
                       const JsonValueTest& test = nullptr);

// "line 3, column 7": columns count characters, from 1.
std::string LineAndColumn(std::string_view text, size_t offset);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_JSON_CHECK_H_
