// How much the table of the schema has of everything: what a test that goes
// through all of it must have seen at its end.
#ifndef TESTS_REFERENCE_SCHEMA_COUNTS_H_
#define TESTS_REFERENCE_SCHEMA_COUNTS_H_

#include <iterator>
#include <string_view>

namespace schema_counts {

enum Label { SINGULAR, REPEATED, ONEOF, MAP };
enum Kind { INT32, UINT32, BOOL, FLOAT, STRING, BYTES, ENUM, MESSAGE };

struct FieldRow {
  Label label;
  Kind kind;
};

inline constexpr FieldRow kFieldRows[] = {
#define SCHEMA_FIELD(message, number, name, stem, constant, label, kind, type) \
  {label, kind},
#include "reference/schema_table.inc"
};

inline constexpr std::string_view kFilesOfMessages[] = {
#define SCHEMA_MESSAGE(file, index, name) #file,
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

inline constexpr int kMessages = std::size(kFilesOfMessages);
inline constexpr int kFields = std::size(kFieldRows);

// The messages of a file, such as "Tarn".
constexpr int MessagesOf(std::string_view file) {
  int count = 0;
  for (const std::string_view each : kFilesOfMessages) count += each == file;
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
