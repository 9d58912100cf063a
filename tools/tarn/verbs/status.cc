// tarn status: a status report as a table, worst first.
#include <algorithm>

#include "command.h"
#include "command_line.h"
#include "forms.h"
#include "mismatch.h"
#include "nodes.h"
#include "parse.h"
#include "reader.h"
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

bool IsStrangeKey(const std::string& key) {
  return key.empty() || !IsText(key);
}

// Whether a report can be another message: one with nodes has none of the
// fields, or keys that nobody can type.
bool IsStrange(const tarn::NetworkStatusReport& report) {
  const auto strange = [](const auto& map) {
    return std::any_of(map.begin(), map.end(), [](const auto& entry) {
      return IsStrangeKey(entry.first);
    });
  };
  return report.GetReflection()->GetUnknownFields(report).field_count() > 0 ||
         strange(report.status_packet()) ||
         strange(report.price_sync_status_packet());
}

// Whether a report has neither a part that can be named nor a status.
bool SaysNothing(const tarn::NetworkStatusReport& report) {
  const auto nothing = [](const auto& map) {
    return std::all_of(map.begin(), map.end(), [](const auto& entry) {
      return IsStrangeKey(entry.first) && entry.second == 0;
    });
  };
  return nothing(report.status_packet()) &&
         nothing(report.price_sync_status_packet()) &&
         report.network_price_lifecycle() == tarn::unused;
}

// Whether bytes that are no usual report are another message: one with nodes,
// or one of which a report shows nothing. If so, says on stderr which it is.
bool IsAnother(const InputOptions& input, const Record& record,
               const tarn::NetworkStatusReport* report, Mismatch* mismatch) {
  constexpr size_t kMostNames = 3;
  if (record.written != nullptr || (report != nullptr && !IsStrange(*report))) {
    return false;
  }
  const std::vector<const Type*> verdict =
      mismatch->LikelierTypes(record.bytes);
  if (verdict.empty()) return false;
  const bool nodes = HoldsNodes(*verdict.front()->descriptor);
  if (!nodes && (report == nullptr || !SaysNothing(*report) ||
                 verdict.size() > kMostNames)) {
    return false;
  }
  const auto* report_type = tarn::NetworkStatusReport::descriptor();
  for (const Type* type : verdict) {
    if (type->descriptor == report_type) return false;  // as likely
  }
  Complain(PlaceInInput(input, record, 0) + "these bytes are " +
           NamesOf(verdict) + "; see tarn " + (nodes ? "tree" : "decode"));
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
  Mismatch mismatch(InputName(input.file) + ": ", {&type});
  return PrintEachRecord(
      input, options, {&type}, [&](const Record& record, Output* output) {
        tarn::NetworkStatusReport report;
        const bool parsed = report.ParseFromArray(
            record.bytes.data(), static_cast<int>(record.bytes.size()));
        if (IsAnother(input, record, parsed ? &report : nullptr, &mismatch)) {
          return kMalformed;
        }
        if (!parsed) {
          ParseRecord(input, type, record);  // says why
          return kMalformed;
        }
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
