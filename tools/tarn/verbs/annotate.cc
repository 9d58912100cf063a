// tarn annotate: shows each byte of a message once, with its meaning.
#include "command.h"
#include "command_line.h"
#include "input.h"
#include "output.h"
#include "span_json.h"
#include "span_table.h"

namespace tarn::tool {
namespace {

struct Options {
  InputOptions input;
  OutputOptions output;
  std::string type;
  bool json = false;
};

template <class Sink>
bool Annotate(const Options& options, const Type& type, const Record& record,
              Output* output, std::vector<std::string>* errors) {
  Sink sink(record, output);
  SpanFinder<Sink> finder(options.input, options.output.show_secrets, type,
                          record, &sink);
  const bool accepted = Walk(type, record.bytes, finder);
  *errors = finder.errors();
  return accepted;
}

ExitCode Annotate(const Options& options, const Type& type,
                  const Record& record, Output* output) {
  std::vector<std::string> errors;
  bool accepted;
  if (options.json) {
    output->Write("{\"type\":\"");
    output->Write(type.descriptor->full_name());
    output->Write("\",\"offset\":");
    output->Number(record.offset);
    output->Write(",\"size\":");
    output->Number(record.bytes.size());
    output->Write(",\"spans\":[");
    accepted = Annotate<SpanJson>(options, type, record, output, &errors);
    output->Write("]}\n");
  } else {
    if (record.number > 1) output->Write('\n');
    accepted = Annotate<SpanTable>(options, type, record, output, &errors);
  }
  if (accepted) return kFine;
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
  line.app().add_flag("--json", options.json,
                      "Output JSON: the spans of a message in one line");
  line.Color(&options.output);
  line.Secrets(&options.output);
  line.Parse();

  Schema schema(options.output.show_secrets);
  const Type& type = schema.Find(options.type);
  Output output(options.output.color);
  const ExitCode status =
      ForEachRecord(options.input, {&type}, [&](const Record& record) {
        return Annotate(options, type, record, &output);
      });
  output.Flush();
  return status;
}

}  // namespace tarn::tool
