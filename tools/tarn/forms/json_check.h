// Checks JSON before the runtime reads it: its depth and its names, with line
// and column.
#ifndef TOOLS_TARN_JSON_CHECK_H_
#define TOOLS_TARN_JSON_CHECK_H_

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "reasons.h"
#include "schema.h"

namespace tarn::tool {

struct JsonFindings {
  // "line 3, column 7: ..."; empty if no error was found.
  std::string problem;
  Refusal reason;  // the problem without its place
  // The place of a member "@unknown" in the outermost object, with its comma;
  // empty if there is none.
  size_t unknown_begin = 0;
  size_t unknown_end = 0;
  // The offset after each -0 that is the value of a float.
  std::vector<size_t> negative_zeros;
};

// Called for each plain value of a field. Returns false if the value is wrong.
using JsonValueTest = std::function<bool(const Type& type, const Field& field,
                                         std::string_view value)>;

// Checks JSON that will become a message, without recursion.
JsonFindings CheckJson(const Type& type, std::string_view json,
                       const JsonValueTest& test = nullptr);

// The same error for text that is no JSON at all; empty if it is JSON.
std::string FindJsonProblem(std::string_view json);

// "line 3, column 7": columns count characters, from 1.
std::string LineAndColumn(std::string_view text, size_t offset);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_JSON_CHECK_H_
