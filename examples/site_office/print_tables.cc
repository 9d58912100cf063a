// Prices, products and the status report as tables.
#include <algorithm>
#include <tuple>
#include <vector>

#include "print.h"
#include "status.h"
#include "table.h"

namespace site_office {
namespace {

// "-0.10", "+5 %" or nothing.
std::string Offset(const std::string& amount, bool negative,
                   const std::string& unit) {
  if (amount.empty()) return "";
  return (negative ? "-" : "+") + Escape(amount) + unit;
}

std::string Offsets(const tarn::Product& product) {
  const std::string amount = Offset(product.offset(), product.neg_offset(), "");
  const std::string share =
      Offset(product.pct_offset(), product.neg_pct_offset(), " %");
  return amount + (amount.empty() || share.empty() ? "" : " ") + share;
}

using StatusMap = google::protobuf::Map<std::string, tarn::StatusCodes>;

bool IsFine(int status) { return StatusTone(status) == Tone::kGood; }

// One status map: a row for each entry that is not fine, the worst first, and
// how many entries have each status.
void PrintStatuses(const std::string& title, const StatusMap& statuses,
                   const NodeNames& names, bool colour, std::ostream& out) {
  struct Entry {
    int rank;
    int status;
    std::string name;
    std::string key;
  };
  std::vector<Entry> entries;
  for (const auto& [key, status] : statuses) {
    const auto name = names.find(key);
    entries.push_back({-Severity(status), status,
                       name == names.end() ? "" : name->second, key});
  }
  std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
    return std::tie(a.rank, a.status, a.name, a.key) <
           std::tie(b.rank, b.status, b.name, b.key);
  });

  std::vector<Row> rows;
  std::vector<std::pair<int, int>> totals;  // status and how often
  for (const Entry& entry : entries) {
    if (totals.empty() || totals.back().first != entry.status) {
      totals.emplace_back(entry.status, 0);
    }
    ++totals.back().second;
    if (IsFine(entry.status)) continue;
    rows.push_back({{StatusWords(entry.status), StatusTone(entry.status)},
                    {entry.name},
                    {Escape(entry.key), Tone::kFaint}});
  }
  if (!rows.empty()) {
    PrintTable({{title, 18}, {"node", 40}, {"key", 36}}, rows, colour, out);
    out << '\n';
  }
  out << title << " of " << statuses.size() << ':';
  for (const auto& [status, count] : totals) {
    out << (status == totals.front().first ? " " : ", ") << count << ' '
        << Paint(StatusWords(status), StatusTone(status), colour);
  }
  out << '\n';
}

}  // namespace

void PrintPrices(const tarn::Prices& prices, bool colour, std::ostream& out) {
  std::vector<Row> rows;
  for (const tarn::Price& price : prices.prices()) {
    rows.push_back({{std::to_string(price.line_num())},
                    {Escape(price.product_id())},
                    {Escape(price.set_price())}});
  }
  PrintTable({{"line", 11, true}, {"product", 40}, {"price", 20, true}}, rows,
             colour, out);
}

void PrintProducts(const Products& products, bool colour, std::ostream& out) {
  std::vector<Row> rows;
  for (const tarn::Product& product : products) {
    rows.push_back({{Escape(product.id())},
                    {Escape(product.name())},
                    {Escape(product.price())},
                    {Escape(product.display_price())},
                    {Offsets(product)},
                    {Escape(product.pay_type())},
                    {Escape(product.service_type())},
                    product.enabled() ? Cell{"in use", Tone::kGood}
                                      : Cell{"off", Tone::kFaint}});
  }
  PrintTable({{"product", 20},
              {"name", 24},
              {"price", 10, true},
              {"shown", 10, true},
              {"offset", 12, true},
              {"paid by", 10},
              {"service", 10},
              {"", 6}},
             rows, colour, out);
}

void PrintReport(const tarn::NetworkStatusReport& report,
                 const NodeNames& names, bool colour, std::ostream& out) {
  PrintStatuses("status", report.status_packet(), names, colour, out);
  out << '\n';
  PrintStatuses("price update", report.price_sync_status_packet(), names,
                colour, out);
  const int lifecycle = report.network_price_lifecycle();
  out << "\nprice update of the whole network: "
      << Paint(StatusWords(lifecycle), StatusTone(lifecycle), colour) << '\n';
}

}  // namespace site_office
