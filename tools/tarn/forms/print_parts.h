// The parts that the printers of text and of JSON share.
#ifndef TOOLS_TARN_PRINT_PARTS_H_
#define TOOLS_TARN_PRINT_PARTS_H_

#include <string_view>

#include "encoding.h"
#include "printer.h"
#include "walker.h"

namespace tarn::tool {

// Whether a value is hidden. The field is null if it is unknown.
bool IsMasked(const PrintStyle& style, const Field* field);

// Whether a singular field has its default value, as if it were absent.
bool IsDefault(const Item& item);

// Walks over the message in an order in which it can be printed.
template <class Visitor>
void WalkInOrder(const Type& type, std::string_view bytes, const Survey& survey,
                 Visitor& visitor) {
  if (survey.plain) {
    Walk(type, bytes, visitor);
  } else {
    Walk(type, Canonical(type, bytes), visitor);
  }
}

}  // namespace tarn::tool

#endif  // TOOLS_TARN_PRINT_PARTS_H_
