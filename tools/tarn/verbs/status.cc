// tarn status: a status report as a table, worst first.
#include <tarn/Network.pb.h>

#include <algorithm>
#include <optional>

#include "command.h"
#include "command_line.h"
#include "output.h"
#include "parse.h"
#include "status_words.h"

namespace tarn::tool {
namespace {

// One key of the report, which either map may have.
struct Row {
  std::string key;
  std::optional<int32_t> status;
  std::optional<int32_t> price;

  int32_t Worst() const {
    if (!price) return *status;
    if (!status) return *price;
    return std::min(*status, *price, WorseStatus());
  }
};

// A key in a column: in quotes where it would look like another one without.
std::string Shown(const std::string& key) {
  const bool plain = !key.empty() && key.front() != ' ' && key.back() != ' ' &&
                     key.find('"') == key.npos;
  return plain ? Clipped(key) : InQuotes(key, kNameColumns);
}

std::vector<Row> RowsOf(const tarn::NetworkStatusReport& report) {
  std::map<std::string, Row> by_key;
  for (const auto& [key, status] : report.status_packet()) {
    by_key[key].status = status;
  }
  for (const auto& [key, status] : report.price_sync_status_packet()) {
    by_key[key].price = status;
  }
  std::vector<Row> rows;
  for (auto& [key, row] : by_key) {
    row.key = Shown(key);
    rows.push_back(std::move(row));
  }
  std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
    return WorseStatus()(a.Worst(), b.Worst());
  });
  return rows;
}

std::string WordsOf(const std::optional<int32_t>& status) {
  return status ? LookOf(*status).words : "-";
}

void PrintStatus(const std::optional<int32_t>& status, Output* output) {
  output->Painted(status ? LookOf(*status).color : Color::kDim,
                  WordsOf(status));
}

void PrintTable(const std::vector<Row>& rows, Output* output) {
  size_t key_width = 4;
  size_t status_width = 6;
  for (const Row& row : rows) {
    key_width = std::max(key_width, Width(row.key));
    status_width = std::max(status_width, WordsOf(row.status).size());
  }
  output->Paint(Color::kBold);
  output->Write("Part");
  output->Spaces(key_width - 4 + 2);
  output->Write("Status");
  output->Spaces(status_width - 6 + 2);
  output->Write("Price update");
  output->Paint(Color::kNone);
  output->Write('\n');
  for (const Row& row : rows) {
    output->Write(row.key);
    output->Spaces(key_width - Width(row.key) + 2);
    PrintStatus(row.status, output);
    output->Spaces(status_width - WordsOf(row.status).size() + 2);
    PrintStatus(row.price, output);
    output->Write('\n');
  }
}

void PrintTotal(const char* name, const StatusTally& tally, Output* output) {
  if (tally.empty()) return;
  output->Write(name);
  PrintTally(tally, output);
  output->Write('\n');
}

void Print(const tarn::NetworkStatusReport& report, Output* output) {
  const std::vector<Row> rows = RowsOf(report);
  StatusTally status;
  StatusTally price;
  for (const Row& row : rows) {
    if (row.status) ++status[*row.status];
    if (row.price) ++price[*row.price];
  }
  if (rows.empty()) {
    output->Write("No parts reported.\n");
  } else {
    PrintTable(rows, output);
    output->Write('\n');
  }
  PrintTotal("Status           ", status, output);
  PrintTotal("Price update     ", price, output);
  output->Write("Price lifecycle  ");
  PrintStatus(report.network_price_lifecycle(), output);
  output->Write('\n');
}

}  // namespace

ExitCode RunStatus(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  InputOptions input;
  line.Input(&input);
  OutputOptions options;
  line.Color(&options);
  line.Parse();

  Schema schema;
  const Type& type = schema.Table(*tarn::NetworkStatusReport::descriptor());
  Output output(options.color);
  const ExitCode status =
      ForEachRecord(input, {&type}, [&](const Record& record) {
        const auto message = ParseRecord(input, type, record);
        if (message == nullptr) return kMalformed;
        if (record.number > 1) output.Write('\n');
        Print(static_cast<const tarn::NetworkStatusReport&>(*message), &output);
        return kFine;
      });
  output.Flush();
  return status;
}

}  // namespace tarn::tool
