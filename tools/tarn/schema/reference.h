// The whole schema as a page of Markdown.
#ifndef TOOLS_TARN_REFERENCE_H_
#define TOOLS_TARN_REFERENCE_H_

#include "output.h"
#include "schema.h"

namespace tarn::tool {

// Prints every message, field, oneof, enum and value with its comment. Types
// link to each other by the anchors of their headings, such as #server.
void PrintReference(Schema* schema, Output* output);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_REFERENCE_H_
