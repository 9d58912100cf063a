// What the fields of messages usually hold.
#ifndef TOOLS_TARN_USUAL_VALUES_H_
#define TOOLS_TARN_USUAL_VALUES_H_

#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <string_view>

namespace tarn::tool {

// The texts that a field usually holds, separated by bars; empty: not known.
std::string_view UsualTexts(const google::protobuf::FieldDescriptor& field);

// The range of a number field; both ends can occur.
struct Range {
  const char* field;
  int32_t low;
  int32_t high;
};
// Null: not known.
const Range* UsualRange(const google::protobuf::FieldDescriptor& field);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_USUAL_VALUES_H_
