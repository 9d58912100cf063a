// Writes the tables of the reference, whose columns also align as plain text.
#include "reference.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "cpp_names.h"
#include "description.h"
#include "markdown.h"
#include "wrap.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;

constexpr size_t kColumns = 80;

// The cells of a row as Markdown.
using Row = std::vector<std::string>;

std::string Code(const std::string& text) { return '`' + text + '`'; }

// The end of the page says where it leads.
std::string Link(const std::string& type) { return '[' + type + ']'; }

std::string LabelOf(const FieldDescriptor& field) {
  if (field.is_map()) {
    return std::string("map by ") +
           field.message_type()->map_key()->type_name();
  }
  if (field.containing_oneof() != nullptr) {
    return "oneof " + Code(field.containing_oneof()->name());
  }
  return field.is_repeated() ? "repeated" : "";
}

class Reference {
 public:
  Reference(Schema* schema, Output* output) : schema_(*schema), out_(*output) {}

  void Print() {
    out_.Write(
        "# Reference of the messages\n\n"
        "All types of the schema, with the comments of its files. `tarn "
        "describe NAME`\nshows each name by itself, with its bytes and all "
        "that C++ programs can call.\n`tarn describe --markdown` prints this "
        "page.\n\n"
        "In the tables, \"wire\" is the wire type that a sender writes, "
        "\"JSON\" the name in\nJSON, and \"C++\" the member that reads the "
        "field.\n");
    for (const FileDescriptor* file : schema_.files()) File(*file);
    out_.Write('\n');
    for (const Descriptor* message : schema_.Messages()) Target(*message);
    for (const EnumDescriptor* enumeration : schema_.Enums()) {
      Target(*enumeration);
    }
  }

 private:
  void File(const FileDescriptor& file) {
    out_.Write("\n## ");
    out_.Write(file.name());
    out_.Write("\n\n");
    Prose(schema_.Comment(file));
    for (const Descriptor* message : schema_.Messages()) {
      if (message->file() == &file) Message(*message);
    }
    for (const EnumDescriptor* enumeration : schema_.Enums()) {
      if (enumeration->file() == &file) Enumeration(*enumeration);
    }
  }

  void Message(const Descriptor& message) {
    Begin(message);
    for (int i = 0; i < message.oneof_decl_count(); ++i) {
      const auto& oneof = *message.oneof_decl(i);
      Item("oneof " + Code(oneof.name()) + ", in C++ " +
           Code(Accessors(oneof).front()) + ": " +
           MarkdownText(schema_.Comment(oneof)));
    }
    std::vector<Row> rows{
        {"no.", "name", "type", "label", "wire", "JSON", "C++", "meaning"}};
    for (int i = 0; i < message.field_count(); ++i) {
      const FieldDescriptor& field = *message.field(i);
      rows.push_back({std::to_string(field.number()), Code(field.name()),
                      TypeOf(HeldBy(field)), LabelOf(field),
                      std::string(WireNameOf(field)), Code(field.json_name()),
                      Code(CppName(field) + "()"),
                      MarkdownCell(schema_.Comment(field))});
    }
    Table(rows);
  }

  void Enumeration(const EnumDescriptor& enumeration) {
    Begin(enumeration);
    std::vector<Row> rows{{"no.", "name", "C++", "meaning"}};
    for (int i = 0; i < enumeration.value_count(); ++i) {
      const auto& value = *enumeration.value(i);
      rows.push_back({std::to_string(value.number()), Code(value.name()),
                      Code(CppName(value)),
                      MarkdownCell(schema_.Comment(value))});
    }
    Table(rows);
  }

  // What messages and enums have in common.
  template <typename Type>
  void Begin(const Type& type) {
    out_.Write("\n### ");
    out_.Write(schema_.Bare(type.full_name()));
    out_.Write("\n\n");
    Prose(schema_.Comment(type));
    out_.Write('\n');
    Item("C++: " + Code(CppName(type)) + " in " +
         Code('<' + HeaderOf(*type.file()) + '>'));
    Item("used in: " + UsesInWords(&type));
  }

  std::string TypeOf(const FieldDescriptor& field) const {
    if (field.message_type() != nullptr) {
      return Link(schema_.Bare(field.message_type()->full_name()));
    }
    if (field.enum_type() != nullptr) {
      return Link(schema_.Bare(field.enum_type()->full_name()));
    }
    return field.type_name();
  }

  std::string_view WireNameOf(const FieldDescriptor& field) {
    return kWireNames[TagOf(TableOf(&schema_, field)) & 7];
  }

  // "[Server].status, [Client].status".
  std::string UsesInWords(const void* type) const {
    std::string words;
    for (const std::string& use : UsesOf(schema_, type)) {
      const size_t dot = use.rfind('.');
      words += (words.empty() ? "" : ", ") +
               Link(schema_.Bare(use.substr(0, dot))) +
               MarkdownText(use.substr(dot));
    }
    return words.empty() ? "no other message" : words;
  }

  // A comment: paragraphs, and lists of those that begin with a hyphen.
  void Prose(std::string_view comment) {
    for (bool first = true, in_list = false; !comment.empty(); first = false) {
      const size_t size = std::min(comment.find("\n\n"), comment.size());
      const std::string_view paragraph = comment.substr(0, size);
      comment.remove_prefix(std::min(size + 2, comment.size()));
      const bool item = paragraph.substr(0, 2) == "- ";
      if (!first && !(in_list && item)) out_.Write('\n');
      in_list = item;
      if (item) {
        Item(MarkdownText(paragraph.substr(2)));
      } else {
        Lines(MarkdownText(paragraph), 0);
      }
    }
  }

  void Item(const std::string& markdown) {
    out_.Write("- ");
    Lines(markdown, 2);
  }

  // The first line is where the indentation is already.
  void Lines(const std::string& markdown, size_t indent) {
    const std::vector<std::string> lines = Wrap(markdown, kColumns - indent);
    for (const std::string& line : lines) {
      if (&line != &lines.front()) out_.Spaces(indent);
      out_.Write(MarkdownLine(line));
      out_.Write('\n');
    }
  }

  // The first row is the head. All columns but the last are aligned, numbers to
  // the right.
  void Table(const std::vector<Row>& rows) {
    std::vector<size_t> widths(rows.front().size() - 1);
    for (const Row& row : rows) {
      for (size_t i = 0; i < widths.size(); ++i) {
        widths[i] = std::max(widths[i], Width(row[i]));
      }
    }
    out_.Write('\n');
    for (const Row& row : rows) {
      for (size_t i = 0; i < widths.size(); ++i) {
        out_.Write("| ");
        const size_t spaces = widths[i] - Width(row[i]);
        if (i == 0) out_.Spaces(spaces);
        out_.Write(row[i]);
        out_.Spaces(i == 0 ? 1 : spaces + 1);
      }
      out_.Write("| " + row.back() + " |\n");
      if (&row == &rows.front()) Rule(widths);
    }
  }

  void Rule(const std::vector<size_t>& widths) {
    for (const size_t& width : widths) {
      out_.Write('|' + std::string(width + 1, '-'));
      out_.Write(&width == &widths.front() ? ':' : '-');
    }
    out_.Write("|---------|\n");
  }

  template <typename Type>
  void Target(const Type& type) {
    const std::string name = schema_.Bare(type.full_name());
    out_.Write(Link(name) + ": #" + MarkdownAnchor(name) + '\n');
  }

  Schema& schema_;
  Output& out_;
};

}  // namespace

void PrintReference(Schema* schema, Output* output) {
  Reference(schema, output).Print();
}

}  // namespace tarn::tool
