// Where a message in the text format is wrong, for text that the runtime
// refuses: its words for that are no interface, and change.
#ifndef TOOLS_TARN_TEXT_CHECK_H_
#define TOOLS_TARN_TEXT_CHECK_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "schema.h"

namespace tarn::tool {

// A place as the runtime's text parser counts it: lines and columns from 0, in
// bytes, and a tab up to the next column of eight.
struct TextPlace {
  size_t offset = 0;
  int line = 0;
  int column = 0;

  // Moves on to a later place.
  void MoveTo(std::string_view text, int to_line, int to_column);
};

struct TextProblem {
  size_t offset = 0;   // of the name or value in the text
  std::string reason;  // empty: names and values are right
};

// The first name that is no field of its message, field that is set twice, or
// value that its field does not take. Tokens after `stop` are not looked at;
// neither are those after anything that is not the text format.
TextProblem FindTextProblem(const Type& type, std::string_view text,
                            size_t stop);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_TEXT_CHECK_H_
