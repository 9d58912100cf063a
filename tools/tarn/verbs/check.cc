// tarn check: the problems that receivers can have with a message.
#include <algorithm>
#include <optional>

#include "command.h"
#include "command_line.h"
#include "finding.h"
#include "input.h"
#include "record_json.h"

namespace tarn::tool {
namespace {

struct Options {
  InputOptions input;
  OutputOptions output;
  std::string type;
  Severity fail_on = Severity::kWarning;
  uint64_t budget = 0;  // 0: none
  std::string profile;  // a file; empty: none
};

Options ParseOptions(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  options.input.to_the_end = true;
  line.Type(&options.type);
  line.Input(&options.input);
  line.app()
      .add_option("--budget", options.budget,
                  "Largest size the receiver accepts: 500, 4K or 1M")
      ->transform(SizeValue(1))
      ->type_name("SIZE")
      ->group("Limits");
  line.app()
      .add_option("--profile", options.profile,
                  "Options for nanopb, whose bounds the receiver has")
      ->type_name("FILE")
      ->group("Limits");
  const std::vector<std::string> names(std::begin(kSeverityNames),
                                       std::end(kSeverityNames));
  std::string fail_on;
  line.app()
      .add_option("--fail-on", fail_on,
                  "Lowest severity for exit status 1; default warning")
      ->check(OneOf(names))
      ->type_name("SEVERITY")
      ->group("Output");
  line.Json(&options.output);
  line.Color(&options.output);
  line.Parse();
  if (!fail_on.empty()) {
    options.fail_on = static_cast<Severity>(
        std::find(names.begin(), names.end(), fail_on) - names.begin());
  }
  return options;
}

Profile ReadProfile(const Options& options, const Schema& schema) {
  if (options.profile == "-" && options.input.file == "-") {
    throw Failure(kUsage,
                  "only one of message and profile can be standard input");
  }
  const std::string name = InputName(options.profile);
  Reader reader(options.profile);
  if (reader.Fill(Profile::kMostBytes + 1)) {
    throw Failure(
        kMalformed,
        name + ": more than " + std::to_string(Profile::kMostBytes) + " bytes");
  }
  return Profile(name, reader.window(), schema);
}

ExitCode Check(const Options& options, const Type& type, const Record& record,
               MessageChecker* checker, Output* output) {
  JsonWriter json(output);
  if (options.output.json) {
    json.BeginObject();
    json.Key("type").String(type.descriptor->full_name());
    WriteRecord(record, &json);
    json.Key("findings").BeginList();
  }
  output->WrapLines(options.output.json ? std::string_view::npos
                                        : Output::kHanging);
  std::optional<Severity> worst;
  const auto report = [&](const Finding& finding) {
    worst = std::max(worst, std::optional(finding.severity));
    if (options.output.json) return WriteFinding(finding, &json);
    output->Untrusted(
        PlaceInInput(options.input, record, finding.offset - record.offset));
    PrintFinding(finding, output);
  };
  const bool accepted =
      checker->Check(type, record.bytes, record.offset, report);
  if (options.output.json) {
    json.EndList();
    json.EndObject();
    json.EndLine();
  }
  if (!accepted) return kMalformed;
  return worst && *worst >= options.fail_on ? kFindings : kFine;
}

}  // namespace

ExitCode RunCheck(const Command& command, const Arguments& arguments) {
  const Options options = ParseOptions(command, arguments);
  Schema schema;
  const Type& type = schema.Find(options.type);
  std::optional<Profile> profile;
  if (!options.profile.empty()) {
    profile.emplace(ReadProfile(options, schema));
    profile->MustKnow(type);
  }
  MessageChecker checker(options.budget, profile ? &*profile : nullptr);
  return PrintEachRecord(options.input, options.output, {&type},
                         [&](const Record& record, Output* output) {
                           return Check(options, type, record, &checker,
                                        output);
                         });
}

}  // namespace tarn::tool
