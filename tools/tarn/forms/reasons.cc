// Words the reasons why a field or value is refused.
#include "reasons.h"

namespace tarn::tool {

std::string NoSuchField(const Type& type, std::string_view name,
                        const std::vector<std::string>& names) {
  return type.descriptor->full_name() +
         (type.secret ? " has no such field"
                      : " has no field " + std::string(name)) +
         DidYouMean(name, names);
}

std::string FieldTwice(const Field& field) {
  return field.descriptor->full_name() + " is there twice";
}

std::string OtherMemberIsSet(const Field& field) {
  return "another member of " +
         field.descriptor->containing_oneof()->full_name() +
         " is there already";
}

std::string NoValueOf(const Field& field, std::string_view value) {
  return (field.maskable ? "this" : std::string(value)) + " is no value for " +
         field.descriptor->full_name();
}

}  // namespace tarn::tool
