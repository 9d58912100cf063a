// tarn diff: how two messages differ in meaning.
#include "command.h"
#include "command_line.h"
#include "difference.h"
#include "input.h"
#include "output.h"
#include "parse.h"
#include "secrets.h"

namespace inspector {
namespace {

void PrintLine(const Difference& difference, Output* output) {
  constexpr struct {
    char sign;
    Color color;
  } kLooks[] = {{'+', Color::kGreen},
                {'-', Color::kRed},
                {'>', Color::kCyan},
                {'~', Color::kYellow}};
  const auto [sign, color] = kLooks[difference.change];
  output->Painted(color, std::string_view(&sign, 1));
  output->Write(' ');
  if (difference.node != nullptr) output->Write(NameOf(*difference.node));
  if (!difference.path.empty()) {
    if (difference.node != nullptr) output->Write(": ");
    output->Write(difference.path);
    output->Write(": ");
    output->Write(difference.before);
    if (!difference.before.empty() && !difference.after.empty()) {
      output->Painted(Color::kDim, " → ");
    }
    output->Write(difference.after);
  } else {
    if (!difference.along.empty()) {
      output->Write(", with ");
      output->Write(InWords(difference.along));
    }
    if (!difference.before.empty()) {
      output->Write(", from ");
      output->Write(difference.before);
    }
    if (!difference.after.empty()) {
      output->Write(difference.change == Difference::kMoved ? " to " : ", to ");
      output->Write(difference.after);
    }
  }
  output->Write('\n');
}

void PrintJson(const Difference& difference, Output* output) {
  constexpr const char* kChanges[] = {"added", "removed", "moved", "changed"};
  output->Write("{\"change\":\"");
  output->Write(kChanges[difference.change]);
  output->Write('"');
  const auto member = [&](const char* key, const std::string& text) {
    if (text.empty()) return;
    output->Write(",\"");
    output->Write(key);
    output->Write("\":");
    output->JsonString(text);
  };
  if (difference.node != nullptr) {
    member("kind", difference.node->kind);
    member("name", difference.node->name);
    member("uuid", difference.node->uuid);
  }
  member("field", difference.path);
  member("before", difference.before);
  member("after", difference.after);
  member("along", InWords(difference.along));
  output->Write('}');
}

void Print(const std::vector<Difference>& differences, bool json,
           Output* output) {
  if (json) output->Write('[');
  for (const Difference& difference : differences) {
    if (!json) {
      PrintLine(difference, output);
      continue;
    }
    if (&difference != &differences.front()) output->Write(",\n ");
    PrintJson(difference, output);
  }
  if (json) output->Write("]\n");
}

// For messages with a pass phrase that can have got anywhere.
void MaskAll(std::vector<Difference>* differences) {
  for (Difference& difference : *differences) {
    for (std::string* value : {&difference.before, &difference.after}) {
      if (!value->empty()) *value = kMask;
    }
  }
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
  const auto parse = [&](const InputOptions& input, std::string* bytes) {
    *bytes = ReadMessage(input, type);
    Record record;
    record.bytes = *bytes;
    mask_all |= type.masked && MayLeak(type, *bytes);
    return ParseRecord(input, type, record);
  };
  std::string bytes;
  const auto before = parse(a, &bytes);
  const auto after = parse(b, &bytes);
  if (before == nullptr || after == nullptr) return kMalformed;
  const Pair pair(*before, *after);
  std::vector<Difference> differences = Compare(pair, options.show_secrets);
  if (mask_all) MaskAll(&differences);
  Output output(options.color);
  Print(differences, json, &output);
  output.Flush();
  return differences.empty() ? kFine : kFindings;
}

}  // namespace inspector
