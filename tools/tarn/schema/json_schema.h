// The JSON Schema of a message.
#ifndef TOOLS_TARN_JSON_SCHEMA_H_
#define TOOLS_TARN_JSON_SCHEMA_H_

#include <google/protobuf/descriptor.h>

#include "output.h"
#include "schema.h"

namespace tarn::tool {

// Prints a schema, in draft 2020-12, of the JSON that the runtime reads as such
// a message. It refers to nothing outside itself.
void PrintJsonSchema(const google::protobuf::Descriptor& message,
                     Schema* schema, Output* output);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_JSON_SCHEMA_H_
