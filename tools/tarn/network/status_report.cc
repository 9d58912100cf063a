// Puts both maps of a report together and sorts their keys.
#include "status_report.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "status_words.h"

namespace tarn::tool {
namespace {

// One key of the report, with its value in either map.
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

// The text of a key in a column: in quotes where it would look like another one
// without.
std::string KeyText(const std::string& key) {
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
    row.key = key;
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
    key_width = std::max(key_width, Width(KeyText(row.key)));
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
    const std::string key = KeyText(row.key);
    output->Write(key);
    output->Spaces(key_width - Width(key) + 2);
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

}  // namespace

void PrintReport(const tarn::NetworkStatusReport& report, Output* output) {
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

void WriteReport(const tarn::NetworkStatusReport& report, JsonWriter* json) {
  json->Key("parts").BeginList();
  for (const Row& row : RowsOf(report)) {
    json->BeginObject();
    json->Key("part").String(row.key);
    if (row.status) WriteStatus("status", *row.status, json);
    if (row.price) WriteStatus("priceUpdate", *row.price, json);
    json->EndObject();
  }
  json->EndList();
  WriteStatus("priceLifecycle", report.network_price_lifecycle(), json);
}

}  // namespace tarn::tool
