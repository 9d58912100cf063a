// tarn describe: all there is to know of a message, field, enum or value.
#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <array>

#include "command.h"
#include "command_line.h"
#include "cpp_names.h"
#include "output.h"
#include "schema.h"
#include "skeleton.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::OneofDescriptor;

constexpr size_t kColumns = 96;

// What a name stands for: one of these.
struct Entity {
  const Descriptor* message = nullptr;
  const FieldDescriptor* field = nullptr;
  const OneofDescriptor* oneof = nullptr;
  const EnumDescriptor* enumeration = nullptr;
  const EnumValueDescriptor* value = nullptr;
};

[[noreturn]] void Unknown(const Schema& schema, const std::string& name) {
  std::string fields;
  for (const std::string& known : schema.Names()) {
    const size_t dot = known.rfind('.');
    if (dot != known.npos && known.substr(dot + 1) == name) {
      fields += (fields.empty() ? "; there is " : ", ") + known;
    }
  }
  throw Failure(
      kUnknownName,
      "no message, field, enum or value " + name +
          (fields.empty() ? DidYouMean(schema.Bare(name), schema.Names())
                          : fields));
}

Entity Find(const Schema& schema, const std::string& name) {
  const DescriptorPool& pool = *schema.files().front()->pool();
  const std::string full =
      schema.files().front()->package() + "." + schema.Bare(name);
  Entity entity;
  entity.message = pool.FindMessageTypeByName(full);
  entity.field = pool.FindFieldByName(full);
  entity.oneof = pool.FindOneofByName(full);
  entity.enumeration = pool.FindEnumTypeByName(full);
  entity.value = pool.FindEnumValueByName(full);
  // The schema puts a value beside its enum; people look for it inside.
  const size_t dot = full.rfind('.');
  if (const auto* outer = pool.FindEnumTypeByName(full.substr(0, dot))) {
    entity.value = outer->FindValueByName(full.substr(dot + 1));
  }
  if (entity.message == nullptr && entity.field == nullptr &&
      entity.oneof == nullptr && entity.enumeration == nullptr &&
      entity.value == nullptr) {
    Unknown(schema, name);
  }
  return entity;
}

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

std::string HexOf(uint32_t varint) {
  std::string hex;
  do {
    char byte[4];
    std::snprintf(byte, sizeof byte, "%02x",
                  (varint & 0x7F) | (varint >= 0x80 ? 0x80 : 0));
    hex += (hex.empty() ? "" : " ") + std::string(byte);
    varint >>= 7;
  } while (varint != 0);
  return hex;
}

const Field& TableOf(Schema* schema, const FieldDescriptor& field) {
  return *schema->Table(*field.containing_type()).Find(field.number());
}

// Of a list of numbers, the tag that a sender writes: all in one record.
uint32_t TagOf(const Field& field) {
  return field.packed_tag != 0 && field.repeated ? field.packed_tag : field.tag;
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

// The fields that hold a message or enum, as "ChildTypes.server".
std::vector<std::string> UsesOf(const Schema& schema, const void* type) {
  std::vector<std::string> uses;
  for (const Descriptor* message : schema.Messages()) {
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor& field = *message->field(i);
      const FieldDescriptor& held =
          field.is_map() ? *field.message_type()->map_value() : field;
      if (held.message_type() == type ||
          (held.enum_type() != nullptr && held.enum_type() == type)) {
        uses.push_back(schema.Bare(field.full_name()));
      }
    }
  }
  return uses;
}

std::vector<std::string> Wrap(std::string_view text, size_t width) {
  std::vector<std::string> lines(1);
  while (!text.empty()) {
    if (text.substr(0, 2) == "\n\n") {
      lines.emplace_back();
      lines.emplace_back();
      text.remove_prefix(2);
    }
    const size_t size = std::min(text.find_first_of(" \n"), text.size());
    std::string& line = lines.back();
    if (!line.empty() && Width(line) + 1 + Width(text.substr(0, size)) > width)
      lines.emplace_back();
    if (!lines.back().empty()) lines.back() += ' ';
    lines.back() += text.substr(0, size);
    text.remove_prefix(size);
    if (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  }
  return lines;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : ", ") + word;
  }
  return text;
}

// Prints for people.
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

  // Writes text from the column on, over several lines where it must.
  void Hang(std::string_view text, size_t column) {
    const std::vector<std::string> lines = Wrap(text, kColumns - column);
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

  // A table of numbered things; the last column takes what room is left.
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
            HexOf(TagOf(TableOf(&schema_, field))), field.name(),
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
    Property("Tag", HexOf(tag) + ", wire type " + std::to_string(tag & 7) +
                        " (" + WireName(tag) + ")");
    if (tag != table.tag) {
      Property("", "one record holds all values; " + HexOf(table.tag) +
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
    const std::vector<std::string> uses =
        UsesOf(schema_, field.containing_type());
    const std::string part = schema_.Bare(field.containing_type()->full_name());
    Property("Used in",
             uses.empty() ? part : part + ", which is in " + Joined(uses));
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
                                          : HexOf(value.number()));
    Property("JSON", '"' + value.name() + '"');
    Property("C++", CppName(value));
    Used(value.type());
  }

  void Used(const void* type) {
    const std::vector<std::string> uses = UsesOf(schema_, type);
    Property("Used in", uses.empty() ? "no other message" : Joined(uses));
  }

 public:
  static std::string Members(const OneofDescriptor& oneof) {
    std::vector<std::string> names;
    for (int i = 0; i < oneof.field_count(); ++i) {
      names.push_back(oneof.field(i)->name());
    }
    return oneof.name() + ": " + Joined(names);
  }

 private:
  Schema& schema_;
  Output& out_;
};

// Prints for other programs.
class JsonPage {
 public:
  JsonPage(Schema* schema, Output* output) : schema_(*schema), out_(*output) {}

  void Print(const Entity& entity) {
    if (entity.message != nullptr) {
      Message(*entity.message);
    } else if (entity.field != nullptr) {
      OneField(*entity.field);
    } else if (entity.oneof != nullptr) {
      Oneof(*entity.oneof);
    } else if (entity.enumeration != nullptr) {
      Enumeration(*entity.enumeration);
    } else {
      Value(*entity.value);
    }
    out_.Write('\n');
  }

 private:
  template <typename Any>
  void Open(const char* kind, const Any& any) {
    out_.Write("{\"kind\":\"");
    out_.Write(kind);
    out_.Write("\",\"name\":");
    out_.JsonString(any.full_name());
    Text("comment", schema_.Comment(any));
  }
  void Key(const char* key) {
    out_.Write(",\"");
    out_.Write(key);
    out_.Write("\":");
  }
  void Text(const char* key, std::string_view text) {
    Key(key);
    out_.JsonString(text);
  }
  void Number(const char* key, int number) {
    Key(key);
    out_.Number(number);
  }
  void Texts(const char* key, const std::vector<std::string>& texts) {
    Key(key);
    out_.Write('[');
    for (const std::string& text : texts) {
      if (&text != &texts.front()) out_.Write(',');
      out_.JsonString(text);
    }
    out_.Write(']');
  }
  // The members of something, each written by a function.
  template <typename Write>
  void List(const char* key, int count, const Write& write) {
    Key(key);
    out_.Write('[');
    for (int i = 0; i < count; ++i) {
      if (i > 0) out_.Write(",\n ");
      write(i);
    }
    out_.Write(']');
  }

  void Message(const Descriptor& message) {
    Open("message", message);
    Text("file", message.file()->name());
    Text("class", CppName(message));
    Text("header", HeaderOf(*message.file()));
    Texts("usedIn", UsesOf(schema_, &message));
    List("fields", message.field_count(),
         [&](int i) { OneField(*message.field(i)); });
    out_.Write('}');
  }

  void OneField(const FieldDescriptor& field) {
    Open("field", field);
    Number("number", field.number());
    Text("type", TypeOf(schema_, field));
    const uint32_t tag = TagOf(TableOf(&schema_, field));
    Text("tag", HexOf(tag));
    Number("wireType", static_cast<int>(tag & 7));
    Text("jsonName", field.json_name());
    if (field.containing_oneof() != nullptr) {
      Text("oneof", field.containing_oneof()->name());
    }
    if (!field.containing_type()->options().map_entry()) {
      Texts("accessors", Accessors(field));
    }
    Texts("usedIn", UsesOf(schema_, field.containing_type()));
    out_.Write('}');
  }

  void Oneof(const OneofDescriptor& oneof) {
    Open("oneof", oneof);
    List("fields", oneof.field_count(),
         [&](int i) { OneField(*oneof.field(i)); });
    out_.Write('}');
  }

  void Enumeration(const EnumDescriptor& enumeration) {
    Open("enum", enumeration);
    Text("file", enumeration.file()->name());
    Text("class", CppName(enumeration));
    Text("header", HeaderOf(*enumeration.file()));
    Texts("usedIn", UsesOf(schema_, &enumeration));
    List("values", enumeration.value_count(),
         [&](int i) { Value(*enumeration.value(i)); });
    out_.Write('}');
  }

  void Value(const EnumValueDescriptor& value) {
    Open("value", value);
    Number("number", value.number());
    Text("enum", value.type()->full_name());
    Text("constant", CppName(value));
    out_.Write('}');
  }

  Schema& schema_;
  Output& out_;
};

}  // namespace

ExitCode RunDescribe(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  std::string name;
  line.app()
      .add_option("NAME", name,
                  "Message, field, enum or value: Server, Server.status, "
                  "StatusCodes, ok")
      ->required();
  bool json = false;
  auto* json_flag = line.app().add_flag("--json", json, "For other programs");
  bool skeleton = false;
  line.app()
      .add_flag("--template", skeleton, "Print a message to fill in, as JSON")
      ->excludes(json_flag);
  OutputOptions options;
  line.Color(&options);
  line.Parse();

  Schema schema;
  const Entity entity = Find(schema, name);
  Output output(options.color);
  if (skeleton) {
    if (entity.message == nullptr) {
      throw Failure(kUsage, "--template is for messages; " + name + " is none");
    }
    PrintSkeleton(*entity.message, &output);
  } else if (json) {
    JsonPage(&schema, &output).Print(entity);
  } else {
    Page(&schema, &output).Print(entity);
  }
  output.Flush();
  return kFine;
}

}  // namespace tarn::tool
