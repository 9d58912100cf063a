// The page that `tarn what` prints: parts with a label before the first line.
#ifndef TOOLS_TARN_WHAT_PAGE_H_
#define TOOLS_TARN_WHAT_PAGE_H_

#include <string_view>

#include "output.h"

namespace tarn::tool {

// Begins a line. The label is empty for all lines of a part but the first.
inline void BeginLine(std::string_view label, Output* output) {
  constexpr size_t kColumns = 10;
  if (!label.empty()) output->Painted(Color::kBold, label);
  output->Spaces(kColumns - label.size());
}

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WHAT_PAGE_H_
