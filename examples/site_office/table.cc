// Tables of text with aligned columns.
#include "table.h"

#include <algorithm>

namespace site_office {

void PrintTable(const std::vector<Column>& columns,
                const std::vector<Row>& rows, bool colour, std::ostream& out) {
  std::vector<size_t> widths;
  Row head;
  for (size_t i = 0; i < columns.size(); ++i) {
    size_t width = Columns(columns[i].title);
    for (const Row& row : rows) {
      width =
          std::max(width, std::min(Columns(row[i].text), columns[i].widest));
    }
    widths.push_back(width);
    head.push_back({columns[i].title, Tone::kFaint});
  }
  const auto print = [&](const Row& row) {
    std::string line;
    std::string gap;
    for (size_t i = 0; i < columns.size(); ++i) {
      const std::string text = Clip(row[i].text, widths[i]);
      const std::string padding(widths[i] - Columns(text), ' ');
      if (columns[i].to_the_right) gap += padding;
      // Spaces at the end of a line stay in `gap` and are never written.
      if (!text.empty()) {
        line += gap + Paint(text, row[i].tone, colour);
        gap.clear();
      }
      if (!columns[i].to_the_right) gap += padding;
      gap += "  ";
    }
    out << line << '\n';
  };
  print(head);
  for (const Row& row : rows) print(row);
}

}  // namespace site_office
