// Makes tables and plans out of the descriptors.
#include "row_plan.h"

#include <google/protobuf/stubs/logging.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <set>
#include <utility>

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;

const Descriptor& Wrapper() { return *tarn::ChildTypes::descriptor(); }

// The member of ChildTypes for nodes of the type; null if it is not a node.
const FieldDescriptor* MemberFor(const Descriptor& type) {
  for (int i = 0; i < Wrapper().field_count(); ++i) {
    if (Wrapper().field(i)->message_type() == &type) return Wrapper().field(i);
  }
  return nullptr;
}

// A kind of node in a field of another node says more about that node: it is no
// node itself, unless it is in a list.
bool HoldsNodes(const FieldDescriptor& field, bool in_node) {
  const Descriptor& type = *field.message_type();
  return &type == &Wrapper() ||
         (MemberFor(type) != nullptr && (field.is_repeated() || !in_node));
}

// "hwIdRowInfo" as "hw_id_row_info", "POSDataMsg" as "pos_data_msg".
std::string SnakeCase(const std::string& name) {
  const auto upper = [&](size_t i) {
    return i < name.size() && name[i] >= 'A' && name[i] <= 'Z';
  };
  const auto lower = [&](size_t i) {
    return i < name.size() && name[i] >= 'a' && name[i] <= 'z';
  };
  std::string snake;
  for (size_t i = 0; i < name.size(); ++i) {
    const bool word =
        i > 0 && name[i - 1] != '_' && (!upper(i - 1) || lower(i + 1));
    if (upper(i) && word) snake += '_';
    snake += upper(i) ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
  }
  return snake;
}

ColumnType TypeOf(const FieldDescriptor& field) {
  if (field.is_repeated()) return ColumnType::kText;
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
    case FieldDescriptor::CPPTYPE_UINT32:
    case FieldDescriptor::CPPTYPE_BOOL:
    case FieldDescriptor::CPPTYPE_ENUM:
      return ColumnType::kInteger;
    case FieldDescriptor::CPPTYPE_FLOAT:
      return ColumnType::kReal;
    case FieldDescriptor::CPPTYPE_STRING:
      return ColumnType::kText;
    default:
      GOOGLE_LOG(FATAL) << "no column for " << field.full_name();
      return ColumnType::kText;
  }
}

std::string CommentOn(const FieldDescriptor& field) {
  if (field.is_repeated()) return "The list as a JSON array.";
  if (field.type() == FieldDescriptor::TYPE_BYTES) return "As base64.";
  return field.type() == FieldDescriptor::TYPE_BOOL ? "0: false. 1: true." : "";
}

Table NewTable(const std::string& name, const std::string& message,
               const std::string& comment) {
  return {name,
          message,
          comment,
          {{"site", ColumnType::kText, {}, "Site that sent the message."},
           {"time",
            ColumnType::kText,
            {},
            "Time of the message, in UTC as in RFC 3339."},
           {"sequence", ColumnType::kInteger, {}, "Number of the message."}}};
}

int AddComputed(Table* table, const char* name, ColumnType type,
                const char* comment) {
  table->columns.push_back({name, type, {}, comment});
  return static_cast<int>(table->columns.size()) - 1;
}

// Adds the columns of messages to a table. Fields of the same name and type in
// different messages share a column.
class ColumnAdder {
 public:
  explicit ColumnAdder(Table* table)
      : table_(*table), fields_(table->columns.size()) {}

  Plan Add(const Descriptor& type, bool in_node) {
    taken_.clear();
    return Add(type, in_node, "", "");
  }

 private:
  // `prefix` is that of the columns, `path` that of the fields.
  Plan Add(const Descriptor& type, bool in_node, const std::string& prefix,
           const std::string& path) {
    Plan plan;
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor& field = *type.field(i);
      const Descriptor* message = field.message_type();
      if (message == nullptr) {
        plan.values.push_back(Value(field, prefix));
      } else if (field.is_repeated() || HoldsNodes(field, in_node)) {
        CheckMap(field);
        plan.lists.push_back({&field, path + field.name(),
                              !field.is_map() && HoldsNodes(field, in_node)});
      }
    }
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor& field = *type.field(i);
      if (field.message_type() == nullptr || field.is_repeated() ||
          HoldsNodes(field, in_node)) {
        continue;
      }
      plan.parts.push_back({&field, Add(*field.message_type(), in_node,
                                        prefix + SnakeCase(field.name()) + "_",
                                        path + field.name() + ".")});
    }
    return plan;
  }

  // The table for all maps has room for one kind of entry.
  static void CheckMap(const FieldDescriptor& field) {
    if (!field.is_map()) return;
    const Descriptor& entry = *field.message_type();
    GOOGLE_CHECK(entry.map_key()->type() == FieldDescriptor::TYPE_STRING &&
                 entry.map_value()->enum_type() ==
                     tarn::StatusCodes_descriptor())
        << field.full_name();
  }

  PlannedValue Value(const FieldDescriptor& field, const std::string& prefix) {
    const std::string name = prefix + SnakeCase(field.name());
    const ColumnType type = TypeOf(field);
    PlannedValue value{&field, Column(name, type, field, CommentOn(field)),
                       kNoColumn};
    if (field.enum_type() != nullptr) {
      value.name_column =
          Column(name + "_name", ColumnType::kText, field,
                 field.is_repeated()
                     ? "The names in a JSON array; digits where there is none."
                     : "The name of the number; its digits where it has none.");
    }
    return value;
  }

  int Column(std::string name, ColumnType type, const FieldDescriptor& field,
             const std::string& comment) {
    int at = Find(name);
    if (at != kNoColumn && !Shared(at, type, field)) {
      name = SnakeCase(field.containing_type()->name()) + "_" + name;
      at = Find(name);
      GOOGLE_CHECK(at == kNoColumn || Shared(at, type, field)) << name;
    }
    if (at == kNoColumn) {
      at = AddComputed(&table_, name.c_str(), type, comment.c_str());
      fields_.push_back(&field);
    }
    table_.columns[at].fields.push_back(field.full_name());
    taken_.insert(at);
    return at;
  }

  int Find(const std::string& name) const {
    for (size_t i = 0; i < table_.columns.size(); ++i) {
      if (table_.columns[i].name == name) return static_cast<int>(i);
    }
    return kNoColumn;
  }

  bool Shared(int at, ColumnType type, const FieldDescriptor& field) const {
    const FieldDescriptor* first = fields_[at];
    return first != nullptr && taken_.count(at) == 0 &&
           table_.columns[at].type == type && first->type() == field.type() &&
           first->is_repeated() == field.is_repeated() &&
           first->enum_type() == field.enum_type();
  }

  Table& table_;
  std::vector<const FieldDescriptor*> fields_;  // by column; null: computed
  std::set<int> taken_;  // by the message whose columns are added
};

class PlanMaker {
 public:
  explicit PlanMaker(RowPlans* plans) : plans_(*plans) {}

  void Make() {
    for (const FileDescriptor* file :
         {tarn::Price::descriptor()->file(), Wrapper().file()}) {
      for (int i = 0; i < file->message_type_count(); ++i) {
        types_.push_back(file->message_type(i));
      }
    }
    for (const Descriptor* type : types_) {
      FindElements(*type, MemberFor(*type) != nullptr);
    }
    // Tables keep their addresses.
    plans_.tables.reserve(types_.size() + 3);
    MakeRecords();
    MakeNodes();
    MakeStatuses();
    for (const Descriptor* type : types_) MakeType(*type);
  }

 private:
  // Finds the types that are in lists. Only nodes can hold what they hold.
  void FindElements(const Descriptor& type, bool in_node) {
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor& field = *type.field(i);
      const Descriptor* held = field.message_type();
      if (held == nullptr || field.is_map() || HoldsNodes(field, in_node)) {
        continue;
      }
      if (field.is_repeated()) {
        elements_.insert(held);
        if (in_node) below_nodes_.insert(held);
      }
      FindElements(*held, in_node);
    }
  }

  Table* Add(Table table) {
    plans_.tables.push_back(std::move(table));
    return &plans_.tables.back();
  }

  void MakeRecords() {
    Table* table =
        Add(NewTable("record", "", "All messages, a row for each of them."));
    AddComputed(table, "record_type", ColumnType::kText,
                "Type of the message.");
    plans_.record = table;
  }

  void MakeNodes() {
    Table* table = Add(NewTable(
        "node", "",
        "The nodes of all trees. Columns that come from fields are NULL for "
        "nodes of a kind without such a field, and where the message that "
        "holds the field is absent."));
    constexpr struct {
      const char* name;
      ColumnType type;
      const char* comment;
    } kColumns[] = {
        {"record_type", ColumnType::kText,
         "Type of the message that holds the node."},
        {"position", ColumnType::kInteger,
         "Number of the node within its message, from 0. A node comes before "
         "those below it. Together with `site` and `sequence` it is a key."},
        {"parent", ColumnType::kInteger,
         "The `position` of the node above. NULL: a top node."},
        {"parent_uuid", ColumnType::kText,
         "The `uuid` of the node above. NULL: it has none, or one of more than "
         "64 bytes, which only its own row shows."},
        {"field", ColumnType::kText,
         "Field that holds the node: `children`, `mod_list[0].modsAvailable`. "
         "NULL: the message is the node itself."},
        {"path", ColumnType::kText,
         "Way from the top to the node, such as 0.3.2: the place of each node "
         "among its siblings, from 0. Names are not part of it, because names "
         "can be long and can repeat."},
        {"depth", ColumnType::kInteger, "Level of the node; a top node has 1."},
        {"kind", ColumnType::kText,
         "Kind of the node as `ChildTypes` names it. NULL: none."},
    };
    for (const auto& column : kColumns) {
      AddComputed(table, column.name, column.type, column.comment);
    }
    ColumnAdder columns(table);
    for (int i = 0; i < Wrapper().field_count(); ++i) {
      const FieldDescriptor* member = Wrapper().field(i);
      const Descriptor& type = *member->message_type();
      const size_t number = member->number();
      if (plans_.kinds.size() <= number) plans_.kinds.resize(number + 1);
      plans_.kinds[number] = {member, type.FindFieldByName("uuid"),
                              columns.Add(type, true)};
    }
    plans_.node = table;
  }

  void MakeStatuses() {
    Table* table = Add(NewTable(
        "status", "", "The entries of all maps, in the order of their keys."));
    AddComputed(table, "field", ColumnType::kText,
                "Map that has the entry: `status_packet`.");
    AddComputed(table, "key", ColumnType::kText, "Key of the entry.");
    AddComputed(table, "status", ColumnType::kInteger, "Value of the entry.");
    AddComputed(table, "status_name", ColumnType::kText,
                "The name of the number; its digits where it has none.");
    plans_.status = table;
  }

  void MakeType(const Descriptor& type) {
    TypePlan& plan = plans_.types[&type];
    // With a pass phrase beside it, no text of a message is safe to show.
    if (&type == tarn::Wifi::descriptor()) return;
    if (&type == &Wrapper() || MemberFor(type) != nullptr) return;
    Table table = NewTable(SnakeCase(type.name()), type.full_name(), "");
    const size_t computed = AddPlace(type, &table, &plan);
    plan.plan = ColumnAdder(&table).Add(type, false);
    if (table.columns.size() == computed && elements_.count(&type) == 0) return;
    plan.table = Add(std::move(table));
  }

  // Adds the columns that say where in a record a message is. Returns how many
  // columns there are.
  size_t AddPlace(const Descriptor& type, Table* table, TypePlan* plan) const {
    if (elements_.count(&type) > 0) {
      plan->record_type = AddComputed(table, "record_type", ColumnType::kText,
                                      "Type of the message that holds this.");
      if (below_nodes_.count(&type) > 0) {
        plan->position = AddComputed(
            table, "position", ColumnType::kInteger,
            "The `position` of the node that holds this. NULL: no node does.");
      }
      plan->field = AddComputed(
          table, "field", ColumnType::kText,
          "Field that holds this, from the node or the message on. NULL: it "
          "is a message of its own.");
      plan->place = AddComputed(table, "place", ColumnType::kInteger,
                                "Place in the list, from 0.");
    }
    return table->columns.size();
  }

  RowPlans& plans_;
  std::vector<const Descriptor*> types_;
  std::set<const Descriptor*> elements_;
  std::set<const Descriptor*> below_nodes_;
};

}  // namespace

const KindPlan* RowPlans::KindOf(const Descriptor& type) const {
  const FieldDescriptor* member = MemberFor(type);
  return member == nullptr ? nullptr : &kinds[member->number()];
}

const RowPlans& Plans() {
  static const RowPlans& plans = *[] {
    auto* made = new RowPlans;
    PlanMaker(made).Make();
    return made;
  }();
  return plans;
}

const std::vector<Table>& RowTables() { return Plans().tables; }

}  // namespace tarn::tool
