// tarn annotate: shows each byte of a message once, with its meaning.
#include "command.h"
#include "command_line.h"
#include "input.h"
#include "output.h"
#include "record_json.h"
#include "span_json.h"
#include "span_table.h"

namespace tarn::tool {
namespace {

struct Options {
  InputOptions input;
  OutputOptions output;
  std::string type;
};

// Returns the errors of the message.
template <class Sink>
std::vector<std::string> DrawSpans(const Options& options, const Type& type,
                                   const Record& record, Sink sink) {
  SpanFinder<Sink> finder(options.input, options.output.show_secrets, type,
                          record, &sink);
  Walk(type, record.bytes, finder);
  return finder.errors();
}

ExitCode Annotate(const Options& options, const Type& type,
                  const Record& record, Output* output) {
  std::vector<std::string> errors;
  if (options.output.json) {
    JsonWriter json(output);
    json.BeginObject();
    json.Key("type").String(type.descriptor->full_name());
    WriteRecord(record, &json);
    json.Key("spans").BeginList();
    errors = DrawSpans(options, type, record, SpanJson(record, &json));
    json.EndList();
    json.EndObject();
    json.EndLine();
  } else {
    PrintRecordLine(record, "", output);
    constexpr size_t kIndent = 40;
    output->WrapLines(kIndent);
    errors = DrawSpans(options, type, record, SpanTable(record, output));
    output->WrapLines(std::string_view::npos);
  }
  if (errors.empty()) return kFine;
  output->Flush();
  for (const std::string& error : errors) Complain(error);
  return kMalformed;
}

}  // namespace

ExitCode RunAnnotate(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  line.Type(&options.type);
  line.Input(&options.input);
  line.Json(&options.output);
  line.Color(&options.output);
  line.Secrets(&options.output);
  line.Parse();

  Schema schema(options.output.show_secrets);
  const Type& type = schema.Find(options.type);
  return PrintEachRecord(options.input, options.output, {&type},
                         [&](const Record& record, Output* output) {
                           return Annotate(options, type, record, output);
                         });
}

}  // namespace tarn::tool
