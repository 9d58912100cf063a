// Which fields of a message fill which columns: worked out once from the
// descriptors, followed for every message.
#ifndef TOOLS_TARN_ROW_PLAN_H_
#define TOOLS_TARN_ROW_PLAN_H_

#include <google/protobuf/descriptor.h>

#include <map>
#include <string>
#include <vector>

#include "rows.h"

namespace tarn::tool {

// A column that a table does not have.
inline constexpr int kNoColumn = -1;

// A number, text or list of those, and where it goes.
struct PlannedValue {
  const google::protobuf::FieldDescriptor* field;
  int column;
  int name_column;  // of an enum, for the names
};

struct PlannedPart;

// A field whose messages have rows of their own.
struct PlannedList {
  const google::protobuf::FieldDescriptor* field;
  std::string path;  // of the field, from the message that has a row
  bool nodes;        // whether its messages are nodes of a tree
};

// What becomes of the fields of a message.
struct Plan {
  std::vector<PlannedValue> values;
  std::vector<PlannedPart> parts;
  std::vector<PlannedList> lists;
};

// A message in a field that is no list. Its values are in the same row.
struct PlannedPart {
  const google::protobuf::FieldDescriptor* field;
  Plan plan;
};

// The rows of a type of message that is no node.
struct TypePlan {
  const Table* table = nullptr;  // null: messages of the type have no rows
  // Columns that say where in the record a message is.
  int record_type = kNoColumn;
  int position = kNoColumn;
  int field = kNoColumn;
  int place = kNoColumn;
  Plan plan;
};

// A kind of node.
struct KindPlan {
  const google::protobuf::FieldDescriptor* member = nullptr;  // of ChildTypes
  const google::protobuf::FieldDescriptor* uuid = nullptr;    // null: has none
  Plan plan;
};

// The columns that tables begin with, by their number.
enum OriginColumn { kSite, kTime, kSequence, kOriginColumns };
enum NodeColumn {
  kNodeRecordType = kOriginColumns,
  kNodePosition,
  kNodeParent,
  kNodeParentUuid,
  kNodeField,
  kNodePath,
  kNodeDepth,
  kNodeKind,
  kNodeColumns
};
// Every child repeats the uuid of its parent: a long one would make of a small
// message very many rows of its size.
inline constexpr size_t kMostOfParentUuid = 64;

enum RecordColumn { kRecordType = kOriginColumns };
enum StatusColumn {
  kStatusField = kOriginColumns,
  kStatusKey,
  kStatusNumber,
  kStatusName
};

struct RowPlans {
  std::vector<Table> tables;
  const Table* record;
  const Table* status;
  const Table* node;
  std::map<const google::protobuf::Descriptor*, TypePlan> types;
  std::vector<KindPlan> kinds;  // by the number of the member of ChildTypes

  // The kind of node that the type is; null if it is not a node.
  const KindPlan* KindOf(const google::protobuf::Descriptor& type) const;
};

const RowPlans& Plans();

}  // namespace tarn::tool

#endif  // TOOLS_TARN_ROW_PLAN_H_
