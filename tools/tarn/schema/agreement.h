// What the schema leaves to the programs, as a page to fill in.
#ifndef TOOLS_TARN_AGREEMENT_H_
#define TOOLS_TARN_AGREEMENT_H_

#include "output.h"
#include "schema.h"

namespace tarn::tool {

// Prints a page in Markdown with a table for each schema file: a row for each
// clause of a comment that ends in "is as agreed" or "are as agreed".
void PrintAgreement(Schema* schema, Output* output);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_AGREEMENT_H_
