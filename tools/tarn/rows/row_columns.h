// The tables and columns explained, from the comments of the schema.
#ifndef TOOLS_TARN_ROW_COLUMNS_H_
#define TOOLS_TARN_ROW_COLUMNS_H_

#include "output.h"
#include "rows.h"
#include "schema.h"

namespace tarn::tool {

// A page for people.
void PrintColumns(const Table& table, Schema* schema, Output* output);

// A JSON object in one line.
void WriteColumns(const Table& table, Schema* schema, Output* output);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_ROW_COLUMNS_H_
