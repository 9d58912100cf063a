// tarn status: a status report as a table, worst first.
#include "command.h"
#include "command_line.h"
#include "nodes.h"
#include "parse.h"
#include "ranking.h"
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

// Whether bytes that are no usual report are a message with nodes. If so, says
// on stderr how to draw them.
bool IsTree(const InputOptions& input, const Type& type, const Record& record,
            Schema* schema) {
  if (record.written != nullptr || IsClean(Weigh(type, record.bytes))) {
    return false;
  }
  const std::vector<const Type*> verdict =
      Verdict(Rank(AllTypes(schema), record.bytes));
  if (verdict.empty() || !HoldsNodes(*verdict.front()->descriptor)) {
    return false;
  }
  Complain(PlaceInInput(input, record, 0) + "these bytes are " +
           NamesOf(verdict) + "; see tarn tree");
  return true;
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
        if (IsTree(input, type, record, &schema)) return kMalformed;
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
