// tarn status: a status report as a table, worst first.
#include "command.h"
#include "command_line.h"
#include "parse.h"
#include "record_json.h"
#include "status_report.h"
#include "status_words.h"

namespace tarn::tool {
namespace {

void PrintJson(const tarn::NetworkStatusReport& report, bool errors,
               const Record& record, Output* output) {
  JsonWriter json(output);
  json.BeginObject();
  WriteRecord(record, &json);
  WriteReport(report, errors, &json);
  json.EndObject();
  json.EndLine();
}

}  // namespace

ExitCode RunStatus(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  InputOptions input;
  line.Input(&input);
  bool errors = false;
  line.app()
      .add_flag(
          "--errors", errors,
          std::string("Show only parts that are not well. ") + kWhatIsWell)
      ->group("Output");
  OutputOptions options;
  line.Json(&options);
  line.Color(&options);
  line.Parse();

  Schema schema;
  const Type& type = schema.Table(*tarn::NetworkStatusReport::descriptor());
  return PrintEachRecord(
      input, options, {&type}, [&](const Record& record, Output* output) {
        const auto message = ParseRecord(input, type, record);
        if (message == nullptr) return kMalformed;
        const auto& report =
            static_cast<const tarn::NetworkStatusReport&>(*message);
        if (options.json) {
          PrintJson(report, errors, record, output);
        } else {
          if (record.number > 1) output->Write('\n');
          PrintReport(report, errors, record.number, output);
        }
        return kFine;
      });
}

}  // namespace tarn::tool
