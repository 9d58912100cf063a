// The tables into which messages are turned, for programs that ask questions in
// SQL.
//
// One table, `node`, holds the nodes of all trees, and one, `status`, the
// entries of all maps. Every other type of message that holds values of its
// own has a table of its name. `record` has one row for each message. Tables
// and columns follow from the descriptors: a new field appears by itself.
//
// rows.cc and row_plan.cc need nothing else of tarn: other programs can compile
// them as their own.
#ifndef TOOLS_TARN_ROWS_H_
#define TOOLS_TARN_ROWS_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarn::tool {

enum class ColumnType { kInteger, kReal, kText };

struct Column {
  std::string name;  // lower case and underscores; unique in its table
  ColumnType type;
  // Full names of the fields that it comes from; empty: it is computed.
  std::vector<std::string> fields;
  // What the value is, where the comments of the fields do not say it.
  std::string comment;
};

struct Table {
  std::string name;
  std::string message;  // full name of the type that it is made from, or empty
  std::string comment;
  std::vector<Column> columns;  // begin with site, time and sequence
};

// All tables. They never change while the program runs.
const std::vector<Table>& RowTables();

// A value for a column of its table; monostate is NULL. Booleans are 0 and 1.
// Text is UTF-8 and valid until the sink returns.
using RowValue =
    std::variant<std::monostate, int64_t, double, std::string_view>;

// Where a message comes from. An empty text is NULL.
struct RowOrigin {
  std::string_view site;
  std::string_view time;  // UTC as in RFC 3339
  int64_t sequence = 0;   // the number of the message
};

// Takes one row: a value for each column. The table is one of RowTables().
using RowSink = std::function<void(const Table&, const std::vector<RowValue>&)>;

// Hands over the rows of a message, those of a node before those of the nodes
// below it. The rows hold all known fields but those of `Wifi`.
void WriteRows(const google::protobuf::Message& message,
               const RowOrigin& origin, const RowSink& sink);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_ROWS_H_
