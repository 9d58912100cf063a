// Finds the error in a message in the text format that the runtime refuses. The
// runtime's own error texts are no interface, and they change.
#ifndef TOOLS_TARN_TEXT_CHECK_H_
#define TOOLS_TARN_TEXT_CHECK_H_

#include <cstddef>
#include <string_view>

#include "reasons.h"
#include "schema.h"

namespace tarn::tool {

// A place as the runtime's text parser counts it: lines and columns from 0, in
// bytes; a tab goes to the next multiple of eight columns.
struct TextPlace {
  size_t offset = 0;
  int line = 0;
  int column = 0;

  // Moves on to a later place.
  void MoveTo(std::string_view text, int to_line, int to_column);
};

struct TextProblem {
  size_t offset = 0;  // of the name or value in the text
  Refusal reason;     // without words: names and values are right
};

// The first of these errors: a name that is not a field of its message, a field
// that is set twice, or a value that its field does not accept. Looks at no
// tokens after `stop`, and at none after anything that is not the text format.
TextProblem FindTextProblem(const Type& type, std::string_view text,
                            size_t stop);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_TEXT_CHECK_H_
