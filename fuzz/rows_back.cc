// Follows the plans of the tables the other way.
#include "rows_back.h"

#include <google/protobuf/stubs/strutil.h>
#include <tarn/Network.pb.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "row_plan.h"

namespace fuzz {
namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using tarn::tool::kNoColumn;
using tarn::tool::Plan;
using tarn::tool::RowValue;
using tarn::tool::Table;

struct Missing {};  // what a row names is not there

std::string TextIn(const KeptRow& row, int column) {
  const auto* text = std::get_if<std::string>(&row.values.at(column));
  return text == nullptr ? "" : *text;
}

bool IsNull(const KeptRow& row, int column) {
  return std::holds_alternative<std::monostate>(row.values.at(column));
}

int64_t NumberIn(const KeptRow& row, int column) {
  const auto* number = std::get_if<int64_t>(&row.values.at(column));
  if (number == nullptr) throw Missing();
  return *number;
}

// The elements of a JSON array of numbers or of strings.
std::vector<std::string> Elements(std::string_view json) {
  std::vector<std::string> elements;
  if (json.size() < 2) throw Missing();
  json = json.substr(1, json.size() - 2);
  while (!json.empty()) {
    std::string element;
    if (json.front() != '"') {
      const size_t comma = std::min(json.find(','), json.size());
      element = json.substr(0, comma);
      json.remove_prefix(comma);
    } else {
      json.remove_prefix(1);
      while (json.front() != '"') {
        if (json.front() == '\\' && json.at(1) == 'u') {
          int code = 0;
          std::from_chars(json.data() + 2, json.data() + 6, code, 16);
          element += static_cast<char>(code);
          json.remove_prefix(6);
          continue;
        }
        if (json.front() == '\\') json.remove_prefix(1);
        element += json.front();
        json.remove_prefix(1);
      }
      json.remove_prefix(1);
    }
    elements.push_back(element);
    if (!json.empty()) json.remove_prefix(1);
  }
  return elements;
}

void SetList(Message* message, const FieldDescriptor* field,
             const std::string& json) {
  const auto& reflection = *message->GetReflection();
  for (const std::string& element : Elements(json)) {
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
      reflection.AddString(message, field, element);
    } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_BOOL) {
      reflection.AddBool(message, field, element == "1");
    } else {
      reflection.AddEnumValue(message, field, std::stoi(element));
    }
  }
}

void SetValue(Message* message, const FieldDescriptor* field,
              const KeptRow& row, int column) {
  const auto& reflection = *message->GetReflection();
  if (field->is_repeated()) {
    return SetList(message, field, TextIn(row, column));
  }
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return reflection.SetInt32(message, field,
                                 static_cast<int>(NumberIn(row, column)));
    case FieldDescriptor::CPPTYPE_UINT32:
      return reflection.SetUInt32(message, field,
                                  static_cast<uint32_t>(NumberIn(row, column)));
    case FieldDescriptor::CPPTYPE_BOOL:
      return reflection.SetBool(message, field, NumberIn(row, column) != 0);
    case FieldDescriptor::CPPTYPE_ENUM:
      return reflection.SetEnumValue(message, field,
                                     static_cast<int>(NumberIn(row, column)));
    case FieldDescriptor::CPPTYPE_FLOAT:
      return reflection.SetFloat(
          message, field,
          static_cast<float>(std::get<double>(row.values.at(column))));
    default: {
      std::string text = TextIn(row, column), bytes;
      if (field->type() == FieldDescriptor::TYPE_BYTES) {
        google::protobuf::Base64Unescape(text, &bytes);
        text = bytes;
      }
      return reflection.SetString(message, field, text);
    }
  }
}

// Whether a row has a value of the plan.
bool HasAny(const Plan& plan, const KeptRow& row) {
  return std::any_of(
             plan.values.begin(), plan.values.end(),
             [&](const auto& value) { return !IsNull(row, value.column); }) ||
         std::any_of(plan.parts.begin(), plan.parts.end(),
                     [&](const auto& part) { return HasAny(part.plan, row); });
}

void Fill(const Plan& plan, const KeptRow& row, Message* message) {
  for (const auto& value : plan.values) {
    if (IsNull(row, value.column)) continue;
    SetValue(message, value.field, row, value.column);
  }
  for (const auto& part : plan.parts) {
    if (!HasAny(part.plan, row)) continue;
    Fill(part.plan, row,
         message->GetReflection()->MutableMessage(message, part.field));
  }
}

// A field of a message inside another, as a path such as "a[0].b" names it.
struct Target {
  Message* holder;
  const FieldDescriptor* field;
};

Target Follow(Message* message, std::string_view path) {
  while (true) {
    const size_t end = std::min(path.find('.'), path.size());
    const std::string_view step = path.substr(0, end);
    const size_t bracket = std::min(step.find('['), step.size());
    const auto* field = message->GetDescriptor()->FindFieldByName(
        std::string(step.substr(0, bracket)));
    if (field == nullptr) throw Missing();
    if (end == path.size()) return {message, field};
    path.remove_prefix(end + 1);
    const auto& reflection = *message->GetReflection();
    if (bracket == step.size()) {
      message = reflection.MutableMessage(message, field);
      continue;
    }
    int index = 0;
    std::from_chars(step.data() + bracket + 1, step.data() + step.size(),
                    index);
    if (index >= reflection.FieldSize(*message, field)) throw Missing();
    message = reflection.MutableRepeatedMessage(message, field, index);
  }
}

Message* Add(const Target& target) {
  const auto& reflection = *target.holder->GetReflection();
  return target.field->is_repeated()
             ? reflection.AddMessage(target.holder, target.field)
             : reflection.MutableMessage(target.holder, target.field);
}

class Builder {
 public:
  std::unique_ptr<Message> Build(const std::vector<KeptRow>& rows) {
    for (const KeptRow& row : rows) {
      if (row.table == plans_.record) {
        Begin(TextIn(row, tarn::tool::kRecordType));
      } else if (row.table == plans_.node) {
        AddNode(row);
      } else if (row.table == plans_.status) {
        AddEntry(row);
      } else {
        AddMessage(row);
      }
    }
    return std::move(root_);
  }

 private:
  void Begin(const std::string& name) {
    const auto* type =
        DescriptorPool::generated_pool()->FindMessageTypeByName(name);
    if (type == nullptr || root_ != nullptr) throw Missing();
    root_.reset(google::protobuf::MessageFactory::generated_factory()
                    ->GetPrototype(type)
                    ->New());
  }

  // The node of a row, or the message itself where there is none.
  Message* Holder(const KeptRow& row, int column) {
    return column == kNoColumn || IsNull(row, column)
               ? root_.get()
               : nodes_.at(static_cast<size_t>(NumberIn(row, column)));
  }

  void AddNode(const KeptRow& row) {
    Message* node = root_.get();
    if (!IsNull(row, tarn::tool::kNodeField)) {
      node = Add(Follow(Holder(row, tarn::tool::kNodeParent),
                        TextIn(row, tarn::tool::kNodeField)));
    }
    const std::string kind = TextIn(row, tarn::tool::kNodeKind);
    if (node->GetDescriptor() == tarn::ChildTypes::descriptor() &&
        !kind.empty()) {
      node = Add({node, node->GetDescriptor()->FindFieldByName(kind)});
    }
    nodes_.push_back(node);
    if (kind.empty()) return;
    Fill(plans_.KindOf(*node->GetDescriptor())->plan, row, node);
  }

  void AddEntry(const KeptRow& row) {
    Message* entry =
        Add(Follow(root_.get(), TextIn(row, tarn::tool::kStatusField)));
    const auto& reflection = *entry->GetReflection();
    const auto& type = *entry->GetDescriptor();
    reflection.SetString(entry, type.map_key(),
                         TextIn(row, tarn::tool::kStatusKey));
    reflection.SetEnumValue(
        entry, type.map_value(),
        static_cast<int>(NumberIn(row, tarn::tool::kStatusNumber)));
  }

  void AddMessage(const KeptRow& row) {
    const auto* type = DescriptorPool::generated_pool()->FindMessageTypeByName(
        row.table->message);
    const tarn::tool::TypePlan& plan = plans_.types.at(type);
    Message* message = root_.get();
    if (plan.field != kNoColumn && !IsNull(row, plan.field)) {
      const Target target =
          Follow(Holder(row, plan.position), TextIn(row, plan.field));
      if (target.holder->GetReflection()->FieldSize(
              *target.holder, target.field) != NumberIn(row, plan.place)) {
        throw Missing();
      }
      message = Add(target);
    }
    Fill(plan.plan, row, message);
  }

  const tarn::tool::RowPlans& plans_ = tarn::tool::Plans();
  std::unique_ptr<Message> root_;
  std::vector<Message*> nodes_;  // by their position
};

}  // namespace

std::vector<KeptRow> RowsOf(const Message& message) {
  std::vector<KeptRow> rows;
  tarn::tool::WriteRows(
      message, {},
      [&](const Table& table, const std::vector<RowValue>& values) {
        KeptRow row = {&table, {}};
        for (const RowValue& value : values) {
          std::visit(
              [&](const auto& part) {
                using Part = std::decay_t<decltype(part)>;
                if constexpr (std::is_same_v<Part, std::string_view>) {
                  row.values.emplace_back(std::string(part));
                } else {
                  row.values.emplace_back(part);
                }
              },
              value);
        }
        rows.push_back(std::move(row));
      });
  return rows;
}

std::unique_ptr<Message> FromRows(const std::vector<KeptRow>& rows) {
  try {
    return Builder().Build(rows);
  } catch (const Missing&) {
    return nullptr;
  }
}

}  // namespace fuzz
