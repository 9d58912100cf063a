// Makes messages of their rows.
#ifndef FUZZ_ROWS_BACK_H_
#define FUZZ_ROWS_BACK_H_

#include <google/protobuf/message.h>

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "rows.h"

namespace fuzz {

// A row that owns its texts; monostate is NULL.
using KeptValue = std::variant<std::monostate, int64_t, double, std::string>;
struct KeptRow {
  const tarn::tool::Table* table;
  std::vector<KeptValue> values;
};

std::vector<KeptRow> RowsOf(const google::protobuf::Message& message);

// The message that has these rows; null if there is none.
std::unique_ptr<google::protobuf::Message> FromRows(
    const std::vector<KeptRow>& rows);

}  // namespace fuzz

#endif  // FUZZ_ROWS_BACK_H_
