// tarn decode: a message as text, JSON, hex or canonical binary.
#include "command.h"
#include "command_line.h"
#include "encoding.h"
#include "frame.h"
#include "input.h"
#include "output.h"
#include "printer.h"
#include "salvage.h"
#include "secrets.h"

namespace tarn::tool {
namespace {

struct Options {
  InputOptions input;
  OutputOptions output;
  std::string type;
  std::string to = "text";
  bool pretty = false;
  bool partial = false;
  bool strict = false;
  std::string unknown;  // empty: depends on the form of the output

  // Other readers skip comments, but refuse JSON with a member that they do not
  // know.
  bool KeepsUnknown() const {
    return unknown == "keep" || (unknown.empty() && to != "json");
  }
};

// Offset of the first unknown field; npos if there is none.
size_t FirstUnknown(const Type& type, std::string_view bytes) {
  struct Finder : WalkVisitor {
    void Enter(const Stack&, const Item& item) {
      if (item.field == nullptr) Note(item);
    }
    void Unknown(const Stack&, const Item& item) { Note(item); }
    void Note(const Item& item) {
      if (first == nullptr) first = item.begin;
    }
    const char* first = nullptr;
  } finder;
  Walk(type, bytes, finder);
  return finder.first == nullptr ? bytes.npos : finder.first - bytes.data();
}

// Reports each unknown field on stderr, and on request each undeclared number.
class FindingReporter : public WalkVisitor {
 public:
  FindingReporter(const Options& options, const Record& record)
      : options_(options), record_(record) {}

  void Value(const Stack& stack, const Item& item) { Number(stack, item); }
  void Element(const Stack& stack, const Item& item) { Number(stack, item); }
  void Enter(const Stack& stack, const Item& item) {
    if (item.field == nullptr) Unknown(stack, item);
  }
  void Unknown(const Stack& stack, const Item& item) {
    Report(stack, item, "unknown field");
  }

 private:
  void Number(const Stack& stack, const Item& item) {
    if (item.field->kind != Kind::kEnum || !options_.strict) return;
    const Enum& enumeration = *item.field->enumeration;
    const int32_t number = static_cast<int32_t>(item.number_value);
    if (!enumeration.Name(number).empty()) return;
    Report(stack, item,
           std::to_string(number) + " is not declared in " +
               enumeration.descriptor->full_name());
  }
  void Report(const Stack& stack, const Item& item,
              const std::string& finding) {
    Complain(ErrorAt(options_.input, record_, item.begin - record_.bytes.data(),
                     stack.Path(item.field, item.number()), finding));
  }

  const Options& options_;
  const Record& record_;
};

// Prints `bytes`: the message, or the part of it before an error. `record` is
// the message as it was read.
void Print(const Options& options, const Type& type, std::string_view bytes,
           const Survey& survey, const Record& record, Output* output) {
  const PrintStyle style{options.pretty, options.output.show_secrets,
                         options.KeepsUnknown(), MayLeak(type, record.bytes)};
  if (options.to == "json") {
    PrintJson(type, bytes, survey, style, output);
  } else if (options.to == "hex") {
    output->Hex(Canonical(type, bytes, style.unknown));
    output->Write('\n');
  } else if (options.to == "binary") {
    WriteFramed(options.input.frame, Canonical(type, bytes, style.unknown),
                output);
  } else {
    PrintText(type, bytes, survey, style, output);
  }
}

// Says once for each message that the output leaves out unknown fields, unless
// the user asked for that.
void SayWhatIsLeftOut(const Options& options, const Type& type,
                      const Record& record) {
  if (!options.unknown.empty() || options.KeepsUnknown() || options.strict) {
    return;
  }
  const size_t first = FirstUnknown(type, record.bytes);
  if (first == record.bytes.npos) return;
  Complain(
      PlaceInInput(options.input, record, first) +
      "unknown fields are left out of the JSON; --unknown keep shows them");
}

ExitCode Decode(const Options& options, const Type& type, const Record& record,
                Output* output) {
  if (options.to == "text") PrintRecordLine(record, "# ", output);
  const Survey survey = SurveyMessage(type, record.bytes);
  if (!survey.accepted) {
    const Damage damage = FindDamage(type, record.bytes, record.offset);
    if (options.partial) {
      Print(options, type, damage.salvaged,
            SurveyMessage(type, damage.salvaged), record, output);
    }
    output->Flush();
    Complain(ErrorAt(options.input, record, damage.offset, damage.path,
                     damage.reason));
    return kMalformed;
  }
  const bool refused = options.unknown == "fail" && survey.unknown;
  if (!refused) Print(options, type, record.bytes, survey, record, output);
  if (!refused && !(options.strict && (survey.unknown || survey.undeclared))) {
    if (survey.unknown) SayWhatIsLeftOut(options, type, record);
    return kFine;
  }
  output->Flush();
  FindingReporter reporter(options, record);
  Walk(type, record.bytes, reporter);
  return kFindings;
}

}  // namespace

ExitCode RunDecode(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  line.Type(&options.type);
  line.Input(&options.input);
  line.app()
      .add_option("--to", options.to, "Form of the output; default text")
      ->check(OneOf({"text", "json", "hex", "binary"}))
      ->type_name("FORM")
      ->group("Output");
  line.app()
      .add_flag("--pretty", options.pretty,
                "Write JSON on several lines instead of one")
      ->group("Output");
  line.app()
      .add_flag("--partial", options.partial,
                "Show the part of a message before an error")
      ->group("Output");
  line.app()
      .add_flag("--strict", options.strict,
                "Report unknown fields and undeclared enum numbers")
      ->group("Output");
  line.app()
      .add_option("--unknown", options.unknown,
                  "Unknown fields; default drop for JSON, else keep")
      ->check(OneOf({"keep", "drop", "fail"}))
      ->type_name("WHAT")
      ->group("Output");
  line.Color(&options.output);
  line.Secrets(&options.output);
  line.Parse();

  Schema schema(options.output.show_secrets);
  const Type& type = schema.Find(options.type);
  if (options.to == "binary") Output().ExpectRawBytes();
  return PrintEachRecord(options.input, options.output, {&type},
                         [&](const Record& record, Output* output) {
                           return Decode(options, type, record, output);
                         });
}

}  // namespace tarn::tool
