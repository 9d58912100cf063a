// Rows as text for other programs: CSV as in RFC 4180, or JSON.
#ifndef TOOLS_TARN_ROW_PRINTER_H_
#define TOOLS_TARN_ROW_PRINTER_H_

#include <vector>

#include "output.h"
#include "rows.h"

namespace tarn::tool {

// The first line, with the names of the columns.
void WriteCsvHeader(const Table& table, Output* output);

// NULL is empty, an empty text is "". Text is exact, except on a terminal:
// there it is escaped like all text for people.
void WriteCsvRow(const std::vector<RowValue>& row, Output* output);

// An object in one line: the name of the table, and each column that is not
// NULL. A float that is no number is a text, as in the JSON of messages.
void WriteJsonRow(const Table& table, const std::vector<RowValue>& row,
                  Output* output);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_ROW_PRINTER_H_
