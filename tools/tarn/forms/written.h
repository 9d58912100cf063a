// Text and JSON: encoded as a type, and why no type takes them.
#ifndef TOOLS_TARN_WRITTEN_H_
#define TOOLS_TARN_WRITTEN_H_

#include <string>
#include <string_view>
#include <vector>

#include "schema.h"

namespace tarn::tool {

// `form`: text or json. `name` begins the words of an error, as for EncodeText.
std::string EncodeWritten(const std::string& form, const Type& type,
                          std::string_view text, const std::string& name);

// Why no type takes a text.
struct Refused {
  std::string complaint;
  const Type* likeliest = nullptr;
  bool strange = false;  // a name in it is like no field of that type
  bool several = false;  // each line is a message
};

// Says why a text is no message of the type that it is most like. Of types that
// it is like alike, the one with a name that is nearly there counts. If there
// are many and no such name, it is like none.
Refused ExplainWritten(const std::string& form, const std::string& name,
                       const std::vector<const Type*>& types,
                       std::string_view text);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WRITTEN_H_
