// Words the reasons why a field or value is refused.
#include "reasons.h"

namespace tarn::tool {
namespace {

// The words that are values of the field.
std::vector<std::string> Words(const Field& field) {
  if (field.kind == Kind::kBool) return {"true", "false"};
  std::vector<std::string> words;
  if (field.kind != Kind::kEnum) return words;
  for (const std::string_view name : field.enumeration->names) {
    if (!name.empty()) words.emplace_back(name);
  }
  return words;
}

// ", did you mean ok?" for a word, with or without the quotes of JSON. A number
// is like no word.
std::string Suggestion(const Field& field, std::string_view value) {
  if (value.size() > 2 && value.front() == '"') {
    value = value.substr(1, value.size() - 2);
  }
  const char first = value.empty() ? '\0' : value.front() | 0x20;
  return first < 'a' || first > 'z' ? "" : DidYouMean(value, Words(field));
}

}  // namespace

Refusal NoSuchField(const Type& type, std::string_view name,
                    const std::vector<std::string>& names) {
  // Who writes a message writes whole names, not their beginnings.
  const std::string suggestion = DidYouMean(name, names, false);
  return {type.descriptor->full_name() +
              (type.secret ? " has no such field"
                           : " has no field " + std::string(name)) +
              suggestion,
          true, !suggestion.empty()};
}

std::string FieldTwice(const Field& field) {
  return field.descriptor->full_name() + " is there twice";
}

std::string OtherMemberIsSet(const Field& field) {
  return "another member of " +
         field.descriptor->containing_oneof()->full_name() +
         " is there already";
}

Refusal NoValueOf(const Field& field, std::string_view value) {
  const std::string suggestion = Suggestion(field, value);
  return {(field.maskable ? "this" : std::string(value)) + " is no value for " +
              field.descriptor->full_name() + suggestion,
          false, !suggestion.empty()};
}

}  // namespace tarn::tool
