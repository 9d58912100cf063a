// Shows what the database has of a site: tree, statuses, prices and products.
#include <google/protobuf/util/json_util.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "json_writer.h"
#include "office.h"

namespace fleet {
namespace {

using tarn::tool::Color;
using tarn::tool::Output;

// Newest message of one type of a site. Times order messages, not sequences,
// which begin again if the stream is made anew.
const char kNewest[] =
    "SELECT sequence, time, length(bytes) FROM message"
    " WHERE site = ? AND type = ? ORDER BY time DESC LIMIT 1";

// One row for each node but the modules that work as they should, or are dark
// together with their display; the line of the display counts all.
const char kTree[] = R"(
WITH modules AS (
  SELECT parent AS display, count(*) AS count,
    min(nullif(ext_status_temp_kelvin, 0)) AS coldest,
    max(ext_status_temp_kelvin) AS warmest
  FROM node WHERE sequence = ?1 AND time = ?2 AND kind = 'module'
  GROUP BY parent)
SELECT n.depth,
  coalesce(nullif(n.name, ''), n.kind || coalesce(' ' || n.assy_addr, '')),
  coalesce(n.subtype_name, n.kind),
  coalesce(n.status_name, ''),
  ltrim(
    coalesce(', port ' || nullif(n.port, ''), '') ||
    coalesce(', network ' || n.network_id, '') ||
    coalesce(', channel ' || n.channel, '') ||
    coalesce(', firmware ' || nullif(n.firmware_version, ''), '') ||
    iif(n.kt2, ', KT2', '') ||
    coalesce(', ' || n.assy_config_num_panels_high || ' × ' ||
      n.assy_config_num_panels_wide || ' ' || n.assy_config_hw_id, '') ||
    coalesce(', ' || n.hw_id || ', node ' || n.node_addr, '') ||
    coalesce(', ' || m.count || ' modules', '') ||
    coalesce(', ' || m.coldest || '–' || m.warmest || ' K', '') ||
    iif(n.display_blanked, ', dark', '') ||
    iif(n.backup_comms, ', on backup', '') || iif(n.error, ', in error', ''),
    ', ')
FROM node n LEFT JOIN node p ON p.sequence = n.sequence
    AND p.position = n.parent AND p.time = n.time
  LEFT JOIN modules m ON m.display = n.position
WHERE n.sequence = ?1 AND n.time = ?2
  AND NOT (n.kind = 'module' AND p.kind = 'display' AND NOT n.error
    AND NOT n.backup_comms AND (n.status_name = 'ok' OR
      (n.status_name = 'command_blank' AND p.status_name = 'command_blank')))
ORDER BY n.position)";

const char kKinds[] =
    "SELECT kind, count(*) FROM node WHERE sequence = ? AND time = ?"
    " GROUP BY kind ORDER BY min(position)";

// The last word on each key, with the name of its node in the newest tree.
const char kStatuses[] = R"(
WITH last AS (
  SELECT field, key, status_name, max(time) FROM status WHERE site = ?3
  GROUP BY field, key)
SELECT last.field, last.status_name,
  coalesce(nullif(n.name, ''), p.name || ', ' || n.kind || ' ' || n.assy_addr,
    ''),
  last.key
FROM last LEFT JOIN node n ON n.uuid = last.key AND n.sequence = ?1
    AND n.time = ?2
  LEFT JOIN node p ON p.sequence = n.sequence AND p.time = n.time
    AND p.position = n.parent
WHERE last.status_name NOT IN ('ok', 'price_update_ok')
ORDER BY last.field DESC, last.status_name, n.position, last.key)";

const char kTotals[] = R"(
SELECT field, status_name, count(*) FROM (
  SELECT field, key, status_name, max(time) FROM status WHERE site = ?
  GROUP BY field, key)
GROUP BY field, status_name ORDER BY field DESC, count(*))";

const char kPrices[] =
    "SELECT line_num, product_id, set_price FROM price WHERE sequence = ? AND "
    "time = ? ORDER BY place";

const char kProducts[] = R"(
SELECT id, name, price, display_price,
  rtrim(iif(offset = '', '', iif(neg_offset, '-', '+') || offset || ' ') ||
    iif(pct_offset = '', '', iif(neg_pct_offset, '-', '+') || pct_offset ||
    ' %')),
  pay_type, service_type, iif(enabled, 'in use', 'off')
FROM product WHERE sequence = ? AND time = ? ORDER BY place)";

Color ColorOf(std::string_view status) {
  if (status == "ok" || status == "price_update_ok") return Color::kGreen;
  for (const char* failed : {"comm_error", "power_outage", "assy_conf_err",
                             "price_update_failure", "format_invalid"}) {
    if (status == failed) return Color::kRed;
  }
  return Color::kYellow;
}

// Text in columns that are as wide as their widest cell. Cells are escaped and
// cut off here; what stands before the first one is the program's own.
class Sheet {
 public:
  explicit Sheet(std::vector<std::string> head) {
    rows_.push_back({"", std::move(head)});
  }

  void Add(const std::string& before, Statement* row, int first, int count) {
    Row added = {before, {}};
    for (int i = first; i < first + count; ++i) {
      added.cells.push_back(tarn::tool::Clipped(row->Text(i)));
    }
    rows_.push_back(std::move(added));
  }

  // `status`: the column whose cells are coloured.
  void Print(size_t status, Output* output) const {
    std::vector<size_t> widths(rows_[0].cells.size());
    for (const Row& row : rows_) {
      for (size_t i = 0; i < widths.size(); ++i) {
        widths[i] = std::max(widths[i], Size(row, i));
      }
    }
    for (const Row& row : rows_) {
      size_t gap = 0;  // spaces at the end of a line are never written
      for (size_t i = 0; i < widths.size(); ++i) {
        if (Size(row, i) > 0) {
          output->Spaces(gap);
          gap = 0;
        }
        if (i == 0) output->Write(row.before);
        const bool head = &row == &rows_[0];
        output->Painted(head          ? Color::kDim
                        : i == status ? ColorOf(row.cells[i])
                                      : Color::kNone,
                        row.cells[i]);
        gap += widths[i] - Size(row, i) + 2;
      }
      output->Write('\n');
    }
  }

 private:
  struct Row {
    std::string before;
    std::vector<std::string> cells;
  };
  static size_t Size(const Row& row, size_t i) {
    return tarn::tool::Width(row.cells[i]) +
           (i == 0 ? tarn::tool::Width(row.before) : 0);
  }
  std::vector<Row> rows_;
};

struct Newest {
  int64_t sequence;
  std::string time;
};

class Picture {
 public:
  Picture(const std::string& site, Database* database, Output* output)
      : site_(site), database_(database->get()), out_(*output) {}

  void Print();

 private:
  // Prints the title of what comes, if the site has sent such a message.
  bool Begin(const std::string& type, Newest* newest);
  void PrintTree(const Newest& tree);
  void PrintStatuses(const Newest& tree);
  void PrintSheet(const char* sql, const Newest& message,
                  std::vector<std::string> head, int columns);

  const std::string site_;
  sqlite3* const database_;
  Output& out_;
};

bool Picture::Begin(const std::string& type, Newest* newest) {
  Statement find(database_, kNewest);
  if (!find.Bind(site_).Bind(type).Step()) return false;
  *newest = {find.Number(0), std::string(find.Text(1))};
  out_.Write("\n── " + type + " of " + site_ + ", ");
  out_.Number(find.Number(2));
  out_.Write(" bytes, " + newest->time.substr(0, 19) + "Z ──\n");
  return true;
}

void Picture::PrintTree(const Newest& tree) {
  Statement nodes(database_, kTree);
  nodes.Bind(tree.sequence).Bind(tree.time);
  std::vector<size_t> depths;
  while (nodes.Step()) {
    depths.push_back(static_cast<size_t>(nodes.Number(0)));
  }
  // From the last node up: a branch is open where a node below continues it.
  std::vector<std::string> branches(depths.size());
  std::vector<bool> open;
  for (size_t i = depths.size(); i-- > 0;) {
    open.resize(depths[i] + 1);
    for (size_t level = 2; level < depths[i]; ++level) {
      branches[i] += open[level] ? "│  " : "   ";
    }
    if (depths[i] > 1) branches[i] += open[depths[i]] ? "├─ " : "└─ ";
    open[depths[i]] = true;
  }
  Sheet sheet({"node", "kind", "status", "details"});
  nodes.Bind(tree.sequence).Bind(tree.time);
  for (const std::string& branch : branches) {
    nodes.Step();
    sheet.Add(branch, &nodes, 1, 4);
  }
  sheet.Print(2, &out_);
  Statement kinds(database_, kKinds);
  kinds.Bind(tree.sequence).Bind(tree.time);
  for (const char* before = "\n"; kinds.Step(); before = ", ") {
    out_.Write(before);
    out_.Untrusted(kinds.Text(0));
    out_.Write(": ");
    out_.Number(kinds.Number(1));
  }
  out_.Write('\n');
}

void Picture::PrintStatuses(const Newest& tree) {
  Sheet sheet({"report", "status", "node", "key"});
  Statement statuses(database_, kStatuses);
  statuses.Bind(tree.sequence).Bind(tree.time).Bind(site_);
  while (statuses.Step()) sheet.Add("", &statuses, 0, 4);
  sheet.Print(1, &out_);
  Statement totals(database_, kTotals);
  totals.Bind(site_);
  std::string field;
  while (totals.Step()) {
    const std::string next(totals.Text(0));
    out_.Write(next == field ? ", " : "\n" + next + ": ");
    out_.Number(totals.Number(2));
    out_.Write(' ');
    out_.Painted(ColorOf(totals.Text(1)), tarn::tool::Clipped(totals.Text(1)));
    field = next;
  }
  out_.Write('\n');
}

void Picture::PrintSheet(const char* sql, const Newest& message,
                         std::vector<std::string> head, int columns) {
  Sheet sheet(std::move(head));
  Statement rows(database_, sql);
  rows.Bind(message.sequence).Bind(message.time);
  while (rows.Step()) sheet.Add("", &rows, 0, columns);
  sheet.Print(static_cast<size_t>(columns), &out_);
}

void Picture::Print() {
  Newest newest = {};
  if (Begin("ModsConfigured", &newest)) PrintTree(newest);
  Newest report;
  if (Begin("NetworkStatusReport", &report)) PrintStatuses(newest);
  if (Begin("Prices", &newest)) {
    PrintSheet(kPrices, newest, {"line", "product", "price"}, 3);
  }
  for (const char* type : {"ProductMappingKT2", "KT4Products"}) {
    if (!Begin(type, &newest)) continue;
    PrintSheet(kProducts, newest,
               {"product", "name", "price", "shown", "offset", "paid by",
                "service", ""},
               8);
  }
}

// What the messages of one type say: the newest one, or all reports as one,
// with the last word on each key. Null where the schema has no such type.
std::unique_ptr<google::protobuf::Message> Current(const std::string& site,
                                                   const std::string& type,
                                                   Database* database) {
  std::unique_ptr<google::protobuf::Message> message(NewMessage(type, nullptr));
  const char* const part = type == "NetworkStatusReport" ? "" : " DESC LIMIT 1";
  Statement stored(database->get(),
                   std::string("SELECT bytes FROM message WHERE site = ? AND "
                               "type = ? ORDER BY time") +
                       part);
  stored.Bind(site).Bind(type);
  while (message != nullptr && stored.Step()) {
    message->MergeFromString(std::string(stored.Text(0)));
  }
  return message;
}

// What a site has said last, a type a line. A pass phrase is never shown.
void PrintJson(const std::string& site, Database* database, Output* output) {
  Statement newest(database->get(),
                   "SELECT type, sequence, max(time) FROM message WHERE "
                   "site = ? GROUP BY type ORDER BY type");
  newest.Bind(site);
  while (newest.Step()) {
    const auto message = Current(site, std::string(newest.Text(0)), database);
    if (message == nullptr) continue;
    auto* const wifi = dynamic_cast<tarn::Wifi*>(message.get());
    if (wifi != nullptr && !wifi->pass().empty()) wifi->set_pass("***");
    std::string json;
    google::protobuf::util::JsonPrintOptions options;
    options.preserve_proto_field_names = true;
    if (!MessageToJsonString(*message, &json, options).ok()) json = "null";
    tarn::tool::JsonWriter writer(output);
    writer.BeginObject();
    writer.Key("site").String(site);
    writer.Key("type").String(newest.Text(0));
    writer.Key("sequence").Number(newest.Number(1));
    writer.Key("time").String(newest.Text(2));
    writer.Key("message").Value().Write(json);
    writer.EndObject();
    writer.EndLine();
  }
}

}  // namespace

int Show(const std::string& site, bool json, const std::string& color,
         Database* database) {
  Statement known(database->get(),
                  "SELECT 1 FROM message WHERE site = ? LIMIT 1");
  if (!IsSiteName(site) || !known.Bind(site).Step()) {
    throw Failure(kDifferent,
                  "nothing is stored of this site; see its name, "
                  "and --database");
  }
  Output output(color);
  if (json) {
    PrintJson(site, database, &output);
  } else {
    Picture(site, database, &output).Print();
  }
  output.Flush();
  return kFine;
}

}  // namespace fleet
