// The description of an entity as a page for people.
#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <array>

#include "cpp_names.h"
#include "description.h"
#include "wrap.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::OneofDescriptor;

constexpr size_t kColumns = 96;

// "repeated ChildTypes", "map<string, StatusCodes>".
std::string TypeOf(const Schema& schema, const FieldDescriptor& field) {
  if (field.is_map()) {
    const Descriptor& entry = *field.message_type();
    return "map<" + TypeOf(schema, *entry.map_key()) + ", " +
           TypeOf(schema, *entry.map_value()) + ">";
  }
  std::string type = field.is_repeated() ? "repeated " : "";
  if (field.message_type() != nullptr) {
    return type + schema.Bare(field.message_type()->full_name());
  }
  if (field.enum_type() != nullptr) {
    return type + schema.Bare(field.enum_type()->full_name());
  }
  return type + field.type_name();
}

const char* WireName(uint32_t tag) {
  switch (tag & 7) {
    case 0:
      return "varint";
    case 2:
      return "length-delimited";
    default:
      return "fixed 32-bit";
  }
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : ", ") + word;
  }
  return text;
}

class Page {
 public:
  Page(Schema* schema, Output* output) : schema_(*schema), out_(*output) {}

  void Print(const Entity& entity) {
    if (entity.message != nullptr) return Message(*entity.message);
    if (entity.field != nullptr) return OneField(*entity.field);
    if (entity.oneof != nullptr) return Oneof(*entity.oneof);
    if (entity.enumeration != nullptr) return Enumeration(*entity.enumeration);
    Value(*entity.value);
  }

 private:
  void Heading(const char* kind, const std::string& name,
               const google::protobuf::FileDescriptor& file,
               const std::string& comment) {
    out_.Write(kind);
    out_.Write(' ');
    out_.Painted(Color::kBold, name);
    out_.Write(" in ");
    out_.Write(file.name());
    out_.Write('\n');
    if (comment.empty()) return;
    out_.Write("  ");
    Hang(comment, 2);
  }

  // Writes text starting at a column, on several lines if necessary.
  void Hang(std::string_view text, size_t column) {
    const std::vector<std::string> lines =
        Wrap(text, out_.TextColumns(kColumns, column));
    for (const std::string& line : lines) {
      if (&line != &lines.front() && !line.empty()) out_.Spaces(column);
      out_.Write(line);
      out_.Write('\n');
    }
  }

  void Property(std::string_view name, std::string_view text) {
    if (text.empty()) return;
    out_.Painted(Color::kCyan, name);
    out_.Spaces(11 - name.size());
    Hang(text, 11);
  }

  // A table whose rows have numbers. The last column takes the remaining width.
  using Row = std::array<std::string, 5>;
  void Table(const std::vector<Row>& rows) {
    constexpr Color kColors[] = {Color::kNone, Color::kDim, Color::kBold,
                                 Color::kCyan};
    std::array<size_t, 4> widths{};
    for (const Row& row : rows) {
      for (size_t i = 0; i < widths.size(); ++i) {
        widths[i] = std::max(widths[i], row[i].size());
      }
    }
    for (const Row& row : rows) {
      size_t column = 2;
      out_.Spaces(2 + widths[0] - row[0].size());
      out_.Write(row[0]);
      column += widths[0];
      for (size_t i = 1; i < widths.size(); ++i) {
        if (widths[i] == 0) continue;
        out_.Spaces(2);
        out_.Painted(kColors[i], row[i]);
        out_.Spaces(widths[i] - row[i].size());
        column += 2 + widths[i];
      }
      out_.Spaces(2);
      Hang(row.back(), column + 2);
    }
    out_.Write('\n');
  }

  Row RowOf(const FieldDescriptor& field) {
    return {std::to_string(field.number()),
            HexOfVarint(TagOf(TableOf(&schema_, field))), field.name(),
            TypeOf(schema_, field),
            std::string(FirstSentence(schema_.Comment(field)))};
  }

  void Message(const Descriptor& message) {
    Heading("message", message.full_name(), *message.file(),
            schema_.Comment(message));
    out_.Write('\n');
    std::vector<Row> rows;
    for (int i = 0; i < message.field_count(); ++i) {
      rows.push_back(RowOf(*message.field(i)));
    }
    Table(rows);
    for (int i = 0; i < message.oneof_decl_count(); ++i) {
      Property("One of", Members(*message.oneof_decl(i)));
    }
    Property("C++",
             CppName(message) + " in <" + HeaderOf(*message.file()) + ">");
    Used(&message);
  }

  void OneField(const FieldDescriptor& field) {
    const Field& table = TableOf(&schema_, field);
    Heading("field", field.full_name(), *field.file(), schema_.Comment(field));
    out_.Write('\n');
    Property("Number", std::to_string(field.number()));
    std::string type = TypeOf(schema_, field);
    if (field.enum_type() != nullptr && !field.is_repeated()) {
      type +=
          ", " + field.enum_type()->value(0)->name() + " where it is absent";
    }
    Property("Type", type);
    const uint32_t tag = TagOf(table);
    Property("Tag", HexOfVarint(tag) + ", wire type " +
                        std::to_string(tag & 7) + " (" + WireName(tag) + ")");
    if (tag != table.tag) {
      Property("", "one record holds all values; " + HexOfVarint(table.tag) +
                       " before a single one is read too");
    }
    Property("JSON", '"' + field.json_name() + '"');
    if (const OneofDescriptor* oneof = field.containing_oneof()) {
      Property("One of", Members(*oneof));
    }
    std::string_view name = "C++";
    if (!field.containing_type()->options().map_entry()) {
      for (const std::string& accessor : Accessors(field)) {
        out_.Painted(Color::kCyan, name);
        out_.Spaces(11 - name.size());
        out_.Write(accessor);
        out_.Write(";\n");
        name = "";
      }
    }
    const std::string uses = UsesInWords(field.containing_type());
    const std::string part = schema_.Bare(field.containing_type()->full_name());
    Property("Used in", uses.empty() ? part : part + ", which is in " + uses);
  }

  void Oneof(const OneofDescriptor& oneof) {
    Heading("oneof", oneof.full_name(), *oneof.file(), schema_.Comment(oneof));
    out_.Write('\n');
    std::vector<Row> rows;
    for (int i = 0; i < oneof.field_count(); ++i) {
      rows.push_back(RowOf(*oneof.field(i)));
    }
    Table(rows);
    Property("C++", Joined(Accessors(oneof)));
    Used(oneof.containing_type());
  }

  void Enumeration(const EnumDescriptor& enumeration) {
    Heading("enum", enumeration.full_name(), *enumeration.file(),
            schema_.Comment(enumeration));
    out_.Write('\n');
    std::vector<Row> rows;
    for (int i = 0; i < enumeration.value_count(); ++i) {
      const EnumValueDescriptor& value = *enumeration.value(i);
      rows.push_back({std::to_string(value.number()), "", value.name(), "",
                      schema_.Comment(value)});
    }
    Table(rows);
    Property("C++", CppName(enumeration) + " in <" +
                        HeaderOf(*enumeration.file()) + ">");
    Used(&enumeration);
  }

  void Value(const EnumValueDescriptor& value) {
    Heading("value", value.full_name(), *value.file(), schema_.Comment(value));
    out_.Write('\n');
    Property("Number", std::to_string(value.number()));
    Property("Enum", schema_.Bare(value.type()->full_name()));
    Property("Bytes", value.number() == 0 ? "00, not sent outside of lists"
                                          : HexOfVarint(value.number()));
    Property("JSON", '"' + value.name() + '"');
    Property("C++", CppName(value));
    Used(value.type());
  }

  void Used(const void* type) {
    const std::string uses = UsesInWords(type);
    Property("Used in", uses.empty() ? "no other message" : uses);
  }

  std::string UsesInWords(const void* type) {
    std::vector<std::string> uses = UsesOf(schema_, type);
    for (std::string& use : uses) use = schema_.Bare(use);
    return Joined(uses);
  }

  static std::string Members(const OneofDescriptor& oneof) {
    std::vector<std::string> names;
    for (int i = 0; i < oneof.field_count(); ++i) {
      names.push_back(oneof.field(i)->name());
    }
    return oneof.name() + ": " + Joined(names);
  }

  Schema& schema_;
  Output& out_;
};

}  // namespace

void PrintPage(const Entity& entity, Schema* schema, Output* output) {
  Page(schema, output).Print(entity);
}

}  // namespace tarn::tool
