// The order of the lines of a dump.
#ifndef TOOLS_TARN_DUMP_ROWS_H_
#define TOOLS_TARN_DUMP_ROWS_H_

#include <string>
#include <string_view>

namespace tarn::tool {

struct DumpRows {
  // Whether each line has a hexadecimal offset and, but for the line with the
  // greatest one, equally many bytes. Only a dump looks like this.
  bool regular = false;
  // Which line is out of its place; empty if none is.
  std::string problem = {};
  // Whether all lines are there, in another order.
  bool sortable = false;
};

// Finds lines of a dump that somebody or something left out, repeated or put
// in another order.
DumpRows RowsOf(std::string_view text);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_DUMP_ROWS_H_
