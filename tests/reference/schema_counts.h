// How much the table of the schema has of everything: what a test that goes
// through all of it must have seen at its end.
#ifndef TESTS_REFERENCE_SCHEMA_COUNTS_H_
#define TESTS_REFERENCE_SCHEMA_COUNTS_H_

#include <iterator>
#include <string_view>

namespace schema_counts {

enum Label { SINGULAR, REPEATED, ONEOF, MAP };
enum Kind { INT32, UINT32, BOOL, FLOAT, STRING, BYTES, ENUM, MESSAGE };

struct MessageRow {
  std::string_view file, name;
};

struct FieldRow {
  std::string_view message;
  Label label;
  Kind kind;
};

inline constexpr MessageRow kMessageRows[] = {
#define SCHEMA_MESSAGE(file, index, name) {#file, #name},
#include "reference/schema_table.inc"
};

inline constexpr FieldRow kFieldRows[] = {
#define SCHEMA_FIELD(message, number, name, stem, constant, label, kind, type) \
  {#message, label, kind},
#include "reference/schema_table.inc"
};

inline constexpr int kEnums = 0
#define SCHEMA_ENUM(file, type, full_name) +1
#include "reference/schema_table.inc"
    ;

inline constexpr int kValues = 0
#define SCHEMA_VALUE(type, name, number) +1
#include "reference/schema_table.inc"
    ;

inline constexpr int kMessages = std::size(kMessageRows);
inline constexpr int kFields = std::size(kFieldRows);

// The messages of a file, such as "Tarn".
constexpr int MessagesOf(std::string_view file) {
  int count = 0;
  for (const MessageRow& row : kMessageRows) count += row.file == file;
  return count;
}

// The maps of one message.
constexpr int MapsOf(std::string_view message) {
  int count = 0;
  for (const FieldRow& row : kFieldRows) {
    count += row.label == MAP && row.message == message;
  }
  return count;
}

// The maps of a message and of those before it in its file.
constexpr int MapsUpTo(std::string_view file, std::string_view message) {
  int count = 0;
  for (const MessageRow& row : kMessageRows) {
    if (row.file == file) count += MapsOf(row.name);
    if (row.name == message) break;
  }
  return count;
}

constexpr int FieldsWith(Label label) {
  int count = 0;
  for (const FieldRow& row : kFieldRows) count += row.label == label;
  return count;
}

constexpr int FieldsWith(Label label, Kind kind) {
  int count = 0;
  for (const FieldRow& row : kFieldRows) {
    count += row.label == label && row.kind == kind;
  }
  return count;
}

inline constexpr int kMaps = FieldsWith(MAP);
// Fields whose own type is an enum; the values of maps are not counted.
inline constexpr int kEnumFields =
    FieldsWith(SINGULAR, ENUM) + FieldsWith(REPEATED, ENUM);
// Lists of numbers, which travel in one record.
inline constexpr int kPackedFields =
    FieldsWith(REPEATED) - FieldsWith(REPEATED, STRING) -
    FieldsWith(REPEATED, BYTES) - FieldsWith(REPEATED, MESSAGE);
// Fields that have a value or have none, whatever the value is.
inline constexpr int kFieldsWithPresence =
    FieldsWith(SINGULAR, MESSAGE) + FieldsWith(ONEOF);

}  // namespace schema_counts

#endif  // TESTS_REFERENCE_SCHEMA_COUNTS_H_
