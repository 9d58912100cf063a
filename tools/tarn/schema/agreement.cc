// Finds in the comments what is as agreed.
#include "agreement.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>
#include <vector>

#include "markdown.h"

namespace tarn::tool {
namespace {

using google::protobuf::FileDescriptor;

// The end of the first clause that begins at a place, and the start of the last
// one before a place: a semicolon or a full stop ends a clause.
size_t EndOfClause(std::string_view text) {
  return std::min({text.find("; "), text.find(". "), text.size() - 1});
}
size_t StartOfClause(std::string_view text) {
  size_t start = 0;
  for (const char* end : {"; ", ". "}) {
    const size_t at = text.rfind(end);
    if (at != text.npos) start = std::max(start, at + 2);
  }
  return start;
}

// The last clause of a text without its verb, "is" or "are".
std::string OpenPoint(std::string text) {
  text.erase(0, StartOfClause(text));
  text.erase(text.rfind(' '));
  if (text.back() == ',') text.pop_back();
  text.front() = static_cast<char>(std::toupper(text.front()));
  return text;
}

struct Row {
  const FileDescriptor* file;
  std::string name;
  std::string meaning;
  std::string open;
};

class Agreement {
 public:
  explicit Agreement(Schema* schema) : schema_(*schema) {
    for (const auto* message : schema_.Messages()) {
      Add(message->full_name(), *message);
      for (int i = 0; i < message->field_count(); ++i) {
        Add(message->field(i)->full_name(), *message->field(i));
      }
      for (int i = 0; i < message->oneof_decl_count(); ++i) {
        Add(message->oneof_decl(i)->full_name(), *message->oneof_decl(i));
      }
    }
    for (const auto* enumeration : schema_.Enums()) {
      const std::string& name = enumeration->full_name();
      Add(name, *enumeration);
      for (int i = 0; i < enumeration->value_count(); ++i) {
        const auto& value = *enumeration->value(i);
        Add(name + "." + value.name(), value);
      }
    }
  }

  void Print(Output* output) const {
    output->Write("# What programs agree on\n\nThe schema leaves ");
    output->Number(rows_.size());
    output->Write(
        " things to the programs that exchange the messages, such as a\n"
        "unit, the meaning of numbers or the form of a text. All programs of "
        "an\ninstallation need the same answers: write them into the last "
        "column of a copy of\nthis page. `tarn describe --agreement` prints "
        "the page from the comments of the\nschema; `tarn describe NAME` "
        "shows the whole comment.\n");
    for (const FileDescriptor* file : schema_.files()) {
      output->Write("\n## ");
      output->Write(file->name());
      output->Write(
          "\n\n| where | what it is | what is open | agreed |\n"
          "|---|---|---|---|\n");
      for (const Row& row : rows_) {
        if (row.file == file) Print(row, output);
      }
    }
  }

 private:
  template <typename Descriptor>
  void Add(const std::string& name, const Descriptor& descriptor) {
    constexpr std::string_view kMark = " as agreed";
    const std::string comment = schema_.Comment(descriptor);
    for (size_t at = 0; (at = comment.find(kMark, at)) != comment.npos; ++at) {
      rows_.push_back({descriptor.file(), schema_.Bare(name),
                       comment.substr(0, EndOfClause(comment)),
                       OpenPoint(comment.substr(0, at))});
    }
  }

  static void Print(const Row& row, Output* output) {
    output->Write("| `");
    output->Write(row.name);
    output->Write("` | ");
    output->Write(MarkdownCell(row.meaning));
    output->Write(" | ");
    output->Write(MarkdownCell(row.open));
    output->Write(" | |\n");
  }

  Schema& schema_;
  std::vector<Row> rows_;
};

}  // namespace

void PrintAgreement(Schema* schema, Output* output) {
  Agreement(schema).Print(output);
}

}  // namespace tarn::tool
