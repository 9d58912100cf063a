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
std::string KeyText(const std::string& key, size_t columns) {
  const bool plain = !key.empty() && key.front() != ' ' && key.back() != ' ' &&
                     key.find('"') == key.npos;
  return plain ? Escaped(key, "\\", columns) : InQuotes(key, columns);
}

bool IsRowWell(const Row& row) {
  return (!row.status || IsWell(*row.status)) &&
         (!row.price || IsWell(*row.price));
}

std::vector<Row> RowsOf(const tarn::NetworkStatusReport& report, bool errors) {
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
  if (errors) {
    rows.erase(std::remove_if(rows.begin(), rows.end(), IsRowWell), rows.end());
  }
  std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
    return WorseStatus()(a.Worst(), b.Worst());
  });
  return rows;
}

class Table {
 public:
  Table(const std::vector<Row>& rows, const std::string& start, Output* output)
      : rows_(rows), start_(start), out_(*output) {
    for (const Row& row : rows) {
      status_width_ = std::max(status_width_, WordsOf(row.status).size());
      price_width_ = std::max(price_width_, WordsOf(row.price).size());
    }
    // Two blanks between columns, and quotes and a mark at a key.
    key_limit_ = RoomAfter(out_.columns(),
                           start.size() + status_width_ + price_width_ + 8);
    for (const Row& row : rows) {
      // A longer key has no effect on the other lines.
      const size_t width = Width(KeyText(row.key, key_limit_));
      key_width_ = std::max(key_width_, std::min(width, kNameColumns));
    }
  }

  void Print() {
    out_.ClipLines(true);
    out_.Write(start_);
    out_.Paint(Color::kBold);
    out_.Write("Part");
    out_.SpacesUpTo(4, key_width_ + 2);
    out_.Write("Status");
    out_.SpacesUpTo(6, status_width_ + 2);
    out_.Write("Price update");
    out_.Paint(Color::kNone);
    out_.Write('\n');
    for (const Row& row : rows_) PrintRow(row);
    out_.ClipLines(false);
    out_.Write('\n');
  }

 private:
  void PrintRow(const Row& row) {
    const std::string key = KeyText(row.key, key_limit_);
    out_.Write(start_);
    out_.Write(key);
    out_.SpacesUpTo(Width(key), key_width_);
    out_.Spaces(2);
    PrintStatus(row.status);
    out_.SpacesUpTo(WordsOf(row.status).size(), status_width_ + 2);
    PrintStatus(row.price);
    out_.Write('\n');
  }

  static std::string WordsOf(const std::optional<int32_t>& status) {
    return status ? LookOf(*status).words : "-";
  }

  void PrintStatus(const std::optional<int32_t>& status) {
    out_.Painted(status ? LookOf(*status).color : Color::kDim, WordsOf(status));
  }

  const std::vector<Row>& rows_;
  const std::string& start_;
  Output& out_;
  size_t key_limit_ = 0;
  size_t key_width_ = 4;  // of the headings
  size_t status_width_ = 6;
  size_t price_width_ = 12;
};

void PrintTotal(const std::string& name, const StatusTally& tally,
                Output* output) {
  if (tally.empty()) return;
  output->Write(name);
  PrintTally(tally, output);
  output->Write('\n');
}

}  // namespace

void PrintReport(const tarn::NetworkStatusReport& report, bool errors,
                 uint64_t record, Output* output) {
  const std::vector<Row> rows = RowsOf(report, errors);
  const std::string start = RecordStart(record);
  if (!rows.empty()) {
    Table(rows, start, output).Print();
  } else {
    const bool none = report.status_packet().empty() &&
                      report.price_sync_status_packet().empty();
    const bool well = IsWell(report.network_price_lifecycle());
    output->Write(start);
    output->Write(none   ? "No parts reported.\n"
                  : well ? "All parts are well.\n"
                         : "All parts are well, the price update is not.\n");
  }
  constexpr size_t kLabel = 17;
  output->WrapLines(start.size() + kLabel);
  PrintTotal(start + "Status           ", TallyOf(report.status_packet()),
             output);
  PrintTotal(start + "Price update     ",
             TallyOf(report.price_sync_status_packet()), output);
  output->Write(start + "Price lifecycle  ");
  const int32_t lifecycle = report.network_price_lifecycle();
  output->Painted(LookOf(lifecycle).color, WordsAndName(lifecycle));
  output->Write('\n');
  output->WrapLines(std::string_view::npos);
}

void WriteReport(const tarn::NetworkStatusReport& report, bool errors,
                 JsonWriter* json) {
  json->Key("parts").BeginList();
  for (const Row& row : RowsOf(report, errors)) {
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
