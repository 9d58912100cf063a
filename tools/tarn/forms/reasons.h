// What is said of a wrong field or value in a message that people write: the
// same for the text format and JSON. Nothing of a message with a pass phrase is
// quoted.
#ifndef TOOLS_TARN_REASONS_H_
#define TOOLS_TARN_REASONS_H_

#include <string>
#include <string_view>
#include <vector>

#include "schema.h"

namespace tarn::tool {

struct Refusal {
  std::string words;
  bool no_field = false;  // a name is no field
  bool near = false;      // something that is there is nearly spelt so
  bool ends = false;      // the input ends before the message does
};

// `names`: those of all fields of the type, as the form spells them.
Refusal NoSuchField(const Type& type, std::string_view name,
                    const std::vector<std::string>& names);
std::string FieldTwice(const Field& field);
std::string OtherMemberIsSet(const Field& field);
// `value` as it was written. A word that is no value of an enum or bool gets a
// suggestion.
Refusal NoValueOf(const Field& field, std::string_view value);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_REASONS_H_
