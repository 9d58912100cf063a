// Whether values of two messages are the same, bit by bit.
#ifndef TOOLS_TARN_SAME_VALUE_H_
#define TOOLS_TARN_SAME_VALUE_H_

#include <google/protobuf/message.h>
#include <google/protobuf/unknown_field_set.h>

namespace tarn::tool {

// Compares a number, enum or text: a singular field, for which `index` is -1,
// or an element of a list.
bool SameValue(const google::protobuf::Message& a,
               const google::protobuf::Message& b,
               const google::protobuf::FieldDescriptor& field, int index);

bool SameUnknown(const google::protobuf::UnknownFieldSet& a,
                 const google::protobuf::UnknownFieldSet& b);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SAME_VALUE_H_
