// The page that `tarn what` prints: parts with a label before the first line.
#ifndef TOOLS_TARN_WHAT_PAGE_H_
#define TOOLS_TARN_WHAT_PAGE_H_

#include <string_view>

#include "output.h"

namespace tarn::tool {

// Where the text begins beside the labels.
inline constexpr size_t kPageColumn = 10;

// Where the rest of a long line goes on, so that it is no line of its own.
inline constexpr size_t kPageIndent = kPageColumn + 2;

// Begins a line. The label is empty for all lines of a part but the first.
inline void BeginLine(std::string_view label, Output* output) {
  if (!label.empty()) output->Painted(Color::kBold, label);
  output->Spaces(kPageColumn - label.size());
}

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WHAT_PAGE_H_
