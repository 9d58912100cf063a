// Finds out which form an input is in, by what the types make of each reading.
#ifndef TOOLS_TARN_READING_H_
#define TOOLS_TARN_READING_H_

#include <string>
#include <string_view>
#include <vector>

#include "input_options.h"
#include "schema.h"

namespace tarn::tool {

// A message in the text format or in JSON, which is different bytes for each
// type that takes it.
struct Written {
  const Type* type;
  std::string bytes;
};

struct Reading {
  bool binary = true;            // the input itself
  std::string bytes;             // of all else; of text and JSON, for the first
                                 // type that takes it
  std::vector<Written> written;  // of text and JSON; elsewhere empty
};

// Reads an input as the form that --from names or, for auto, as the one form
// in which it is a message of one of the types. Bytes that are one are binary
// unless the layout of another form is unmistakable; where two readings are
// one, it is a Failure that asks for --from. Where none is, what seems
// likeliest is left to be found broken. `name` is that of the input, for
// messages.
Reading Read(const InputOptions& options, const std::string& name,
             const std::vector<const Type*>& types, std::string_view input);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_READING_H_
