// tarn diff: how two messages differ in meaning.
#include "command.h"
#include "command_line.h"
#include "difference.h"
#include "input.h"
#include "output.h"
#include "parse.h"
#include "secrets.h"

namespace tarn::tool {
namespace {

// Writes differences as they are found.
class Printer {
 public:
  // `mask_values`: a pass phrase can have got anywhere in the messages.
  Printer(bool json, bool mask_values, Output* output)
      : json_(json), mask_values_(mask_values), out_(*output) {
    if (json_) out_.Write('[');
  }

  void Print(const Difference& difference) {
    if (json_) {
      if (any_) out_.Write(",\n ");
      PrintJson(difference);
    } else {
      PrintLine(difference);
    }
    any_ = true;
  }
  void Finish() {
    if (json_) out_.Write("]\n");
    out_.Flush();
  }
  bool any() const { return any_; }

 private:
  void PrintLine(const Difference& difference);
  void PrintPlaces(const Difference& difference);
  void PrintJson(const Difference& difference);
  void PrintValue(const Difference::Text& value, const TextSink& write) const {
    if (value) mask_values_ ? write(kMask) : value(write);
  }

  const bool json_;
  const bool mask_values_;
  Output& out_;
  bool any_ = false;
};

void Printer::PrintLine(const Difference& difference) {
  constexpr struct {
    char sign;
    Color color;
  } kLooks[] = {{'+', Color::kGreen},
                {'-', Color::kRed},
                {'>', Color::kCyan},
                {'~', Color::kYellow}};
  const auto [sign, color] = kLooks[difference.change];
  out_.Painted(color, std::string_view(&sign, 1));
  out_.Write(' ');
  if (difference.node != nullptr) out_.Write(difference.node->label);
  if (difference.path.empty()) {
    PrintPlaces(difference);
  } else {
    const TextSink write = [&](std::string_view piece) { out_.Write(piece); };
    if (difference.node != nullptr) out_.Write(": ");
    out_.Write(difference.path);
    out_.Write(": ");
    PrintValue(difference.before, write);
    if (difference.before && difference.after) {
      out_.Painted(Color::kDim, " → ");
    }
    PrintValue(difference.after, write);
  }
  out_.Write('\n');
}

// Where a node came from and went to.
void Printer::PrintPlaces(const Difference& difference) {
  const TextSink write = [&](std::string_view piece) { out_.Write(piece); };
  if (!difference.along.empty()) {
    out_.Write(", with ");
    out_.Write(InWords(difference.along));
  }
  if (difference.before) {
    out_.Write(", from ");
    difference.before(write);
  }
  if (difference.after) {
    out_.Write(difference.change == Difference::kMoved ? " to " : ", to ");
    difference.after(write);
  }
}

void Printer::PrintJson(const Difference& difference) {
  constexpr const char* kChanges[] = {"added", "removed", "moved", "changed"};
  out_.Write("{\"change\":\"");
  out_.Write(kChanges[difference.change]);
  out_.Write('"');
  const auto begin = [&](const char* key) {
    out_.Write(",\"");
    out_.Write(key);
    out_.Write("\":");
  };
  const auto member = [&](const char* key, std::string_view text) {
    if (text.empty()) return;
    begin(key);
    out_.JsonString(text);
  };
  const auto value = [&](const char* key, const Difference::Text& text) {
    if (!text) return;
    begin(key);
    out_.Write('"');
    PrintValue(text, [&](std::string_view piece) { out_.JsonText(piece); });
    out_.Write('"');
  };
  if (difference.node != nullptr) {
    member("kind", difference.node->kind);
    member("name", difference.node->name);
    member("uuid", difference.node->uuid);
  }
  member("field", difference.path);
  value("before", difference.before);
  value("after", difference.after);
  member("along", InWords(difference.along));
  out_.Write('}');
}

}  // namespace

ExitCode RunDiff(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  std::string type_name;
  line.Type(&type_name);
  InputOptions a;
  std::string file_b;
  line.app()
      .add_option("A", a.file, "File to compare; - is standard input")
      ->required();
  line.app().add_option("B", file_b, "File to compare it with")->required();
  line.Form(&a);
  bool json = false;
  line.app().add_flag("--json", json, "For other programs");
  OutputOptions options;
  line.Color(&options);
  line.Secrets(&options);
  line.Parse();
  if (a.file == "-" && file_b == "-") {
    throw Failure(kUsage, "only one of the files can be standard input");
  }
  InputOptions b = a;
  b.file = file_b;

  Schema schema(options.show_secrets);
  const Type& type = schema.Find(type_name);
  bool mask_all = false;
  // The bytes go once they are read: they can be as large as the objects.
  const auto parse = [&](const InputOptions& input) {
    const std::string bytes = ReadMessage(input, type);
    Record record;
    record.bytes = bytes;
    mask_all |= type.masked && MayLeak(type, bytes);
    return ParseRecord(input, type, record);
  };
  const auto before = parse(a);
  const auto after = parse(b);
  if (before == nullptr || after == nullptr) return kMalformed;
  Output output(options.color);
  Printer printer(json, mask_all, &output);
  Compare(*before, *after, options.show_secrets,
          [&](const Difference& difference) { printer.Print(difference); });
  printer.Finish();
  return printer.any() ? kFindings : kFine;
}

}  // namespace tarn::tool
