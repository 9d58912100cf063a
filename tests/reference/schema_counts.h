// How much the table of the schema has of everything: what a test that goes
// through all of it must have seen at its end.
#ifndef TESTS_REFERENCE_SCHEMA_COUNTS_H_
#define TESTS_REFERENCE_SCHEMA_COUNTS_H_

#include <string_view>

namespace schema_counts {

enum Label { SINGULAR, REPEATED, ONEOF, MAP };
enum Kind { INT32, UINT32, BOOL, FLOAT, STRING, BYTES, ENUM, MESSAGE };

constexpr int kMessages = 0
#define SCHEMA_MESSAGE(file, index, name) +1
#include "reference/schema_table.inc"
    ;

constexpr int MessagesOf(std::string_view wanted) {
  return 0
#define SCHEMA_MESSAGE(file, index, name) +(wanted == #file ? 1 : 0)
#include "reference/schema_table.inc"
      ;
}

constexpr int kFields = 0
#define SCHEMA_FIELD(message, number, name, stem, constant, label, kind, type) \
  +1
#include "reference/schema_table.inc"
    ;

constexpr int kMaps = 0
#define SCHEMA_FIELD(message, number, name, stem, constant, label, kind, type) \
  +(label == MAP ? 1 : 0)
#include "reference/schema_table.inc"
    ;

// Fields whose own type is an enum; the values of maps are not counted.
constexpr int kEnumFields = 0
#define SCHEMA_FIELD(message, number, name, stem, constant, label, kind, type) \
  +(kind == ENUM && label != MAP ? 1 : 0)
#include "reference/schema_table.inc"
    ;

// Lists of numbers, which travel in one record.
constexpr int kPackedFields = 0
#define SCHEMA_FIELD(message, number, name, stem, constant, label, kind, type) \
  +(label == REPEATED && kind != STRING && kind != BYTES && kind != MESSAGE    \
        ? 1                                                                    \
        : 0)
#include "reference/schema_table.inc"
    ;

constexpr int kEnums = 0
#define SCHEMA_ENUM(file, type, full_name) +1
#include "reference/schema_table.inc"
    ;

constexpr int kValues = 0
#define SCHEMA_VALUE(type, name, number) +1
#include "reference/schema_table.inc"
    ;

}  // namespace schema_counts

#endif  // TESTS_REFERENCE_SCHEMA_COUNTS_H_
