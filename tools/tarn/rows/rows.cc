// Turns messages into rows, by reflection and without recursion over nodes.
#include "rows.h"

#include <google/protobuf/stubs/strutil.h>
#include <tarn/Network.pb.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <deque>
#include <limits>

#include "row_plan.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

// A double with the shortest digits that give the float: 0.1, which a plain
// conversion makes 0.10000000149011612.
double ShortDouble(float value) {
  if (!std::isfinite(value)) return value;
  char digits[24];
  const char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  double number = value;
  std::from_chars(digits, end, number);
  // The digits of the largest floats can be more than a float holds.
  const bool same = std::abs(number) <= std::numeric_limits<float>::max() &&
                    static_cast<float>(number) == value;
  return same ? number : value;
}

RowValue TextOrNull(std::string_view text) {
  return text.empty() ? RowValue() : RowValue(text);
}

// Adds text as a JSON string.
void AppendJson(std::string_view text, std::string* json) {
  constexpr char kHex[] = "0123456789abcdef";
  *json += '"';
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20) {
      *json += {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 15]};
      continue;
    }
    if (c == '"' || c == '\\') *json += '\\';
    *json += c;
  }
  *json += '"';
}

// Nodes with the same parent in the same field, of which some are done.
struct Siblings {
  const Message* holder;
  const FieldDescriptor* field;  // null: the holder is the only one
  const KindPlan* kind;          // null: each in a ChildTypes
  std::string field_path;
  int size;
  int first_place;
  RowValue parent;
  RowValue parent_uuid;
  size_t path_size;  // of what their paths have in common
  int64_t depth;
  int next = 0;
};

class RowWriter {
 public:
  RowWriter(const Message& record, const RowOrigin& origin, const RowSink& sink)
      : record_(record),
        record_type_(record.GetDescriptor()->full_name()),
        origin_(origin),
        sink_(sink) {}

  void Write() {
    Start(*plans_.record);
    row_[kRecordType] = record_type_;
    sink_(*plans_.record, row_);
    const Descriptor& type = *record_.GetDescriptor();
    if (&type == tarn::ChildTypes::descriptor() ||
        plans_.KindOf(type) != nullptr) {
      PushNodes(record_, nullptr, "", 1);
      return WriteNodes();
    }
    WriteMessage(record_, "", nullptr, 0);
  }

 private:
  void Start(const Table& table) {
    row_.assign(table.columns.size(), RowValue());
    row_[kSite] = TextOrNull(origin_.site);
    row_[kTime] = TextOrNull(origin_.time);
    row_[kSequence] = origin_.sequence;
    scratch_used_ = 0;
  }

  // An empty text that lives until the next row begins.
  std::string* Scratch() {
    if (scratch_used_ == scratch_.size()) scratch_.emplace_back();
    std::string* text = &scratch_[scratch_used_++];
    text->clear();
    return text;
  }

  std::string_view NameOf(const FieldDescriptor& field, int number) {
    const auto* value = field.enum_type()->FindValueByNumber(number);
    if (value != nullptr) return value->name();
    return *Scratch() = std::to_string(number);
  }

  void Fill(const Plan& plan, const Message& message);
  void FillList(const PlannedValue& value, const Message& message);
  RowValue ValueOf(const FieldDescriptor& field, const Message& message,
                   const Reflection& reflection);

  // The row of a message that is no node, and those of what it holds. `list` is
  // null for the record itself.
  void WriteMessage(const Message& message, const std::string& path,
                    const PlannedList* list, int place);
  // The rows of what a message holds. The nodes below a node are put off.
  void WriteHeld(const Plan& plan, const Message& message,
                 const std::string& path);
  void WriteEntries(const PlannedList& list, const Message& message);

  void PushNodes(const Message& holder, const FieldDescriptor* field,
                 const std::string& field_path, int size);
  void WriteNodes();
  void WriteNode(int place, const Message& item);
  void FillPlace(const Siblings& siblings);

  const RowPlans& plans_ = Plans();
  const Message& record_;
  const std::string& record_type_;
  const RowOrigin& origin_;
  const RowSink& sink_;
  std::vector<RowValue> row_;
  std::deque<std::string> scratch_;
  size_t scratch_used_ = 0;

  // The nodes that are not done, the deepest last.
  std::vector<Siblings> levels_;
  int64_t nodes_ = 0;  // so far
  int top_nodes_ = 0;
  // The node whose fields are written; NULL and 0 outside of nodes.
  RowValue node_;
  RowValue uuid_;
  int64_t depth_ = 0;
  int children_ = 0;
  std::string path_;
};

RowValue RowWriter::ValueOf(const FieldDescriptor& field,
                            const Message& message,
                            const Reflection& reflection) {
  if (field.has_presence() && !reflection.HasField(message, &field)) return {};
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return int64_t{reflection.GetInt32(message, &field)};
    case FieldDescriptor::CPPTYPE_UINT32:
      return int64_t{reflection.GetUInt32(message, &field)};
    case FieldDescriptor::CPPTYPE_BOOL:
      return int64_t{reflection.GetBool(message, &field)};
    case FieldDescriptor::CPPTYPE_ENUM:
      return int64_t{reflection.GetEnumValue(message, &field)};
    case FieldDescriptor::CPPTYPE_FLOAT:
      return ShortDouble(reflection.GetFloat(message, &field));
    default: {
      std::string copy;  // not used by messages of generated classes
      const std::string& text =
          reflection.GetStringReference(message, &field, &copy);
      if (field.type() == FieldDescriptor::TYPE_STRING) return text;
      std::string* digits = Scratch();
      google::protobuf::Base64Escape(text, digits);
      return *digits;
    }
  }
}

void RowWriter::FillList(const PlannedValue& value, const Message& message) {
  const FieldDescriptor& field = *value.field;
  const Reflection& reflection = *message.GetReflection();
  std::string* list = Scratch();
  std::string* names = Scratch();
  const int size = reflection.FieldSize(message, &field);
  for (int i = 0; i < size; ++i) {
    *list += i == 0 ? '[' : ',';
    *names += i == 0 ? '[' : ',';
    std::string copy;
    switch (field.cpp_type()) {
      case FieldDescriptor::CPPTYPE_ENUM: {
        const int number = reflection.GetRepeatedEnumValue(message, &field, i);
        *list += std::to_string(number);
        AppendJson(NameOf(field, number), names);
        break;
      }
      case FieldDescriptor::CPPTYPE_BOOL:
        *list += reflection.GetRepeatedBool(message, &field, i) ? '1' : '0';
        break;
      default:
        AppendJson(
            reflection.GetRepeatedStringReference(message, &field, i, &copy),
            list);
    }
  }
  if (size == 0) *list = *names = "[";
  row_[value.column] = *list += ']';
  if (value.name_column != kNoColumn) {
    row_[value.name_column] = *names += ']';
  }
}

void RowWriter::Fill(const Plan& plan, const Message& message) {
  const Reflection& reflection = *message.GetReflection();
  for (const PlannedValue& value : plan.values) {
    if (value.field->is_repeated()) {
      FillList(value, message);
      continue;
    }
    row_[value.column] = ValueOf(*value.field, message, reflection);
    const auto* number = std::get_if<int64_t>(&row_[value.column]);
    if (value.name_column != kNoColumn && number != nullptr) {
      row_[value.name_column] = NameOf(*value.field, static_cast<int>(*number));
    }
  }
  for (const PlannedPart& part : plan.parts) {
    if (!reflection.HasField(message, part.field)) continue;
    Fill(part.plan, reflection.GetMessage(message, part.field));
  }
}

void RowWriter::WriteMessage(const Message& message, const std::string& path,
                             const PlannedList* list, int place) {
  const TypePlan& type = plans_.types.at(message.GetDescriptor());
  if (type.table != nullptr) {
    Start(*type.table);
    if (type.record_type != kNoColumn) row_[type.record_type] = record_type_;
    if (type.position != kNoColumn) row_[type.position] = node_;
    if (list != nullptr) {
      std::string* field = Scratch();
      row_[type.field] = *field += path + list->path;
      row_[type.place] = int64_t{place};
    }
    Fill(type.plan, message);
    sink_(*type.table, row_);
  }
  if (type.plan.lists.empty() && type.plan.parts.empty()) return;
  WriteHeld(type.plan, message,
            list == nullptr
                ? ""
                : path + list->path + '[' + std::to_string(place) + "].");
}

void RowWriter::WriteHeld(const Plan& plan, const Message& message,
                          const std::string& path) {
  const Reflection& reflection = *message.GetReflection();
  for (const PlannedList& list : plan.lists) {
    const int size = list.field->is_repeated()
                         ? reflection.FieldSize(message, list.field)
                         : reflection.HasField(message, list.field);
    if (size == 0) continue;
    if (list.field->is_map()) {
      WriteEntries(list, message);
    } else if (!list.nodes) {
      for (int i = 0; i < size; ++i) {
        WriteMessage(reflection.GetRepeatedMessage(message, list.field, i),
                     path, &list, i);
      }
    } else {
      PushNodes(message, list.field, path + list.path, size);
      if (levels_.size() == 1) WriteNodes();
    }
  }
  for (const PlannedPart& part : plan.parts) {
    if (!reflection.HasField(message, part.field)) continue;
    WriteHeld(part.plan, reflection.GetMessage(message, part.field), path);
  }
}

void RowWriter::WriteEntries(const PlannedList& list, const Message& message) {
  const Reflection& reflection = *message.GetReflection();
  const FieldDescriptor* key = list.field->message_type()->map_key();
  const FieldDescriptor* value = list.field->message_type()->map_value();
  std::vector<std::pair<std::string_view, int>> entries;
  const int size = reflection.FieldSize(message, list.field);
  entries.reserve(size);
  for (int i = 0; i < size; ++i) {
    const Message& entry =
        reflection.GetRepeatedMessage(message, list.field, i);
    const Reflection& parts = *entry.GetReflection();
    std::string copy;
    entries.emplace_back(parts.GetStringReference(entry, key, &copy),
                         parts.GetEnumValue(entry, value));
  }
  std::sort(entries.begin(), entries.end());
  for (const auto& [text, number] : entries) {
    Start(*plans_.status);
    row_[kStatusField] = list.path;
    row_[kStatusKey] = text;
    row_[kStatusNumber] = int64_t{number};
    row_[kStatusName] = NameOf(*value, number);
    sink_(*plans_.status, row_);
  }
}

void RowWriter::PushNodes(const Message& holder, const FieldDescriptor* field,
                          const std::string& field_path, int size) {
  const Descriptor& type =
      field == nullptr ? *holder.GetDescriptor() : *field->message_type();
  int* place = depth_ == 0 ? &top_nodes_ : &children_;
  levels_.push_back({&holder, field, plans_.KindOf(type), field_path, size,
                     *place, node_, uuid_, path_.size(), depth_ + 1});
  *place += size;
}

void RowWriter::WriteNodes() {
  while (!levels_.empty()) {
    Siblings& siblings = levels_.back();
    if (siblings.next == siblings.size) {
      levels_.pop_back();
      continue;
    }
    const int index = siblings.next++;
    const Message& holder = *siblings.holder;
    const FieldDescriptor* field = siblings.field;
    const Reflection& reflection = *holder.GetReflection();
    WriteNode(siblings.first_place + index,
              field == nullptr ? holder
              : field->is_repeated()
                  ? reflection.GetRepeatedMessage(holder, field, index)
                  : reflection.GetMessage(holder, field));
  }
  node_ = uuid_ = RowValue();
  depth_ = 0;
  path_.clear();
}

// Fills the columns that say where a node is.
void RowWriter::FillPlace(const Siblings& siblings) {
  row_[kNodeRecordType] = record_type_;
  row_[kNodePosition] = nodes_;
  row_[kNodeParent] = siblings.parent;
  row_[kNodeParentUuid] = siblings.parent_uuid;
  if (siblings.field != nullptr) row_[kNodeField] = siblings.field_path;
  row_[kNodePath] = path_;
  row_[kNodeDepth] = siblings.depth;
}

void RowWriter::WriteNode(int place, const Message& item) {
  const Siblings& siblings = levels_.back();
  path_.resize(siblings.path_size);
  if (!path_.empty()) path_ += '.';
  path_ += std::to_string(place);
  const KindPlan* kind = siblings.kind;
  const Message* node = &item;
  if (kind == nullptr) {
    const int number = static_cast<const tarn::ChildTypes&>(item).types_case();
    if (number != tarn::ChildTypes::TYPES_NOT_SET) {
      kind = &plans_.kinds[number];
      node = &item.GetReflection()->GetMessage(item, kind->member);
    }
  }
  Start(*plans_.node);
  FillPlace(siblings);
  if (kind != nullptr) {
    row_[kNodeKind] = kind->member->name();
    Fill(kind->plan, *node);
  }
  sink_(*plans_.node, row_);
  node_ = nodes_++;
  if (kind == nullptr) return;
  uuid_ = kind->uuid == nullptr
              ? RowValue()
              : ValueOf(*kind->uuid, *node, *node->GetReflection());
  const auto* uuid = std::get_if<std::string_view>(&uuid_);
  if (uuid != nullptr && uuid->size() > kMostOfParentUuid) uuid_ = RowValue();
  depth_ = siblings.depth;
  children_ = 0;
  const size_t above = levels_.size();
  WriteHeld(kind->plan, *node, "");
  // The last list is taken up first.
  std::reverse(levels_.begin() + above, levels_.end());
}

}  // namespace

void WriteRows(const Message& message, const RowOrigin& origin,
               const RowSink& sink) {
  RowWriter(message, origin, sink).Write();
}

}  // namespace tarn::tool
