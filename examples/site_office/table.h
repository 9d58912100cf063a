// Tables of text with aligned columns.
#ifndef SITE_OFFICE_TABLE_H_
#define SITE_OFFICE_TABLE_H_

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "text.h"

namespace site_office {

struct Column {
  std::string title;
  size_t widest;  // in terminal columns; longer text is clipped
  bool to_the_right = false;
};

struct Cell {
  std::string text;  // escaped
  Tone tone = Tone::kPlain;
};

using Row = std::vector<Cell>;

// Prints a head and the rows, each column as wide as its widest cell.
void PrintTable(const std::vector<Column>& columns,
                const std::vector<Row>& rows, bool colour, std::ostream& out);

}  // namespace site_office

#endif  // SITE_OFFICE_TABLE_H_
