// Compares values by reflection.
#include "same_value.h"

#include <cstring>
#include <string>

namespace tarn::tool {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::UnknownFieldSet;

// The number of a field or of an element of a list; for a float its bits.
uint64_t NumberOf(const Message& message, const FieldDescriptor& field,
                  int index) {
  const auto& get = *message.GetReflection();
  const bool one = index < 0;
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return one ? get.GetInt32(message, &field)
                 : get.GetRepeatedInt32(message, &field, index);
    case FieldDescriptor::CPPTYPE_UINT32:
      return one ? get.GetUInt32(message, &field)
                 : get.GetRepeatedUInt32(message, &field, index);
    case FieldDescriptor::CPPTYPE_BOOL:
      return one ? get.GetBool(message, &field)
                 : get.GetRepeatedBool(message, &field, index);
    case FieldDescriptor::CPPTYPE_ENUM:
      return one ? get.GetEnumValue(message, &field)
                 : get.GetRepeatedEnumValue(message, &field, index);
    case FieldDescriptor::CPPTYPE_FLOAT: {
      const float value = one ? get.GetFloat(message, &field)
                              : get.GetRepeatedFloat(message, &field, index);
      uint32_t bits;
      std::memcpy(&bits, &value, sizeof bits);
      return bits;
    }
    default:
      GOOGLE_LOG(FATAL) << field.full_name() << ": a type not compared";
  }
  return 0;
}

}  // namespace

bool SameValue(const Message& a, const Message& b, const FieldDescriptor& field,
               int index) {
  if (field.cpp_type() != FieldDescriptor::CPPTYPE_STRING) {
    return NumberOf(a, field, index) == NumberOf(b, field, index);
  }
  const auto& get = *a.GetReflection();
  std::string scratch_a, scratch_b;
  return index < 0
             ? get.GetStringReference(a, &field, &scratch_a) ==
                   get.GetStringReference(b, &field, &scratch_b)
             : get.GetRepeatedStringReference(a, &field, index, &scratch_a) ==
                   get.GetRepeatedStringReference(b, &field, index, &scratch_b);
}

bool SameUnknown(const UnknownFieldSet& a, const UnknownFieldSet& b) {
  using google::protobuf::UnknownField;
  if (a.field_count() != b.field_count()) return false;
  for (int i = 0; i < a.field_count(); ++i) {
    const UnknownField& x = a.field(i);
    const UnknownField& y = b.field(i);
    if (x.number() != y.number() || x.type() != y.type()) return false;
    switch (x.type()) {
      case UnknownField::TYPE_VARINT:
        if (x.varint() != y.varint()) return false;
        break;
      case UnknownField::TYPE_FIXED32:
        if (x.fixed32() != y.fixed32()) return false;
        break;
      case UnknownField::TYPE_FIXED64:
        if (x.fixed64() != y.fixed64()) return false;
        break;
      case UnknownField::TYPE_LENGTH_DELIMITED:
        if (x.length_delimited() != y.length_delimited()) return false;
        break;
      case UnknownField::TYPE_GROUP:
        if (!SameUnknown(x.group(), y.group())) return false;
    }
  }
  return true;
}

}  // namespace tarn::tool
