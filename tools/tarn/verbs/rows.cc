// tarn rows: messages as rows of tables, for programs that read tables.
#include "rows.h"

#include <algorithm>

#include "command.h"
#include "command_line.h"
#include "parse.h"
#include "row_columns.h"
#include "row_printer.h"
#include "utf8.h"

namespace tarn::tool {
namespace {

struct Options {
  InputOptions input;
  OutputOptions output;
  std::string type;
  std::vector<std::string> tables;  // none: all
  std::string to = "csv";
  std::string folder;
  std::string site;
  std::string time;
  bool columns = false;
};

// Checks that a text has the form of a pattern, in which 0 is any digit.
bool HasForm(std::string_view text, std::string_view pattern) {
  return text.size() == pattern.size() &&
         std::equal(text.begin(), text.end(), pattern.begin(),
                    [](char c, char form) {
                      return form == '0' ? c >= '0' && c <= '9' : c == form;
                    });
}

// A time as in RFC 3339, without an offset: digits of a second may follow it.
Validator UtcTime() {
  return Validator{[](std::string& value) -> std::string {
    const std::string_view text = value;
    constexpr std::string_view kSeconds = "0000-00-00T00:00:00";
    const size_t size = std::min(kSeconds.size(), text.size());
    std::string_view rest = text.substr(size);
    if (rest.size() > 2 && rest.front() == '.') {
      const size_t end = rest.find_first_not_of("0123456789", 1);
      rest.remove_prefix(end == 1 ? 0 : std::min(end, rest.size()));
    }
    if (HasForm(text.substr(0, size), kSeconds) && rest == "Z") return "";
    return value + " is not a time in UTC, such as 2026-01-31T08:30:00Z";
  }};
}

Validator Utf8() {
  return Validator{[](std::string& value) -> std::string {
    return FindInvalidUtf8(value.data(), value.data() + value.size()) == nullptr
               ? ""
               : value + " is not UTF-8";
  }};
}

Options ParseOptions(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  Parser& app = line.app();
  line.Type(&options.type);
  auto* type = app.get_option("TYPE")->required(false);
  line.Input(&options.input);
  app.add_option("--table", options.tables,
                 "Print only the rows of this table; may be given repeatedly")
      ->allow_extra_args(false)
      ->type_name("TABLE");
  auto* to =
      app.add_option("--to", options.to, "Form of the rows; csv if not given")
          ->check(OneOf({"csv", "ndjson"}))
          ->type_name("FORM")
          ->group("Output");
  auto* folder = app.add_option("--folder", options.folder,
                                "Write a file for each table into this folder")
                     ->type_name("DIR")
                     ->group("Output");
  app.add_option("--site", options.site, "Text for the column site")
      ->check(Utf8())
      ->type_name("TEXT");
  app.add_option("--time", options.time,
                 "Text for the column time: 2026-01-31T08:30:00Z")
      ->check(UtcTime())
      ->type_name("TIME");
  auto* columns = app.add_flag("--columns", options.columns,
                               "Explain the tables and their columns")
                      ->excludes(type)
                      ->excludes(to)
                      ->excludes(folder)
                      ->group("Output");
  line.Json(&options.output)
      ->needs(columns)
      ->description("Print JSON, one object a line; only with --columns");
  line.Parse();
  if (options.columns || !options.type.empty()) return options;
  throw Failure(kUsage, "TYPE is required; see tarn rows --help");
}

// The tables that are asked for, in the order in which they are declared.
std::vector<const Table*> ChosenTables(const Options& options) {
  std::vector<std::string> names;
  for (const Table& table : RowTables()) names.push_back(table.name);
  for (const std::string& name : options.tables) {
    if (std::find(names.begin(), names.end(), name) == names.end()) {
      throw Failure(kUnknownName, "no table " + name + DidYouMean(name, names) +
                                      "; see tarn rows --columns");
    }
  }
  std::vector<const Table*> chosen;
  for (const Table& table : RowTables()) {
    if (options.tables.empty() ||
        std::find(options.tables.begin(), options.tables.end(), table.name) !=
            options.tables.end()) {
      chosen.push_back(&table);
    }
  }
  return chosen;
}

ExitCode ExplainColumns(const Options& options) {
  Schema schema;
  Output output;
  std::string_view separator;
  for (const Table* table : ChosenTables(options)) {
    if (options.output.json) {
      WriteColumns(*table, &schema, &output);
      continue;
    }
    output.Write(separator);
    separator = "\n";
    PrintColumns(*table, &schema, &output);
  }
  output.Flush();
  return kFine;
}

// Where the rows of each table go.
class RowOutput {
 public:
  explicit RowOutput(const Options& options)
      : csv_(options.to == "csv"), outputs_(RowTables().size()) {
    const std::vector<const Table*> tables = ChosenTables(options);
    if (options.folder.empty() && csv_ && tables.size() > 1) {
      throw Failure(kUsage,
                    "as CSV one table can be printed: choose it with --table, "
                    "or give a --folder for files of all");
    }
    if (options.folder.empty()) files_.push_back(std::make_unique<Output>());
    for (const Table* table : tables) {
      if (!options.folder.empty()) files_.push_back(NewFile(options, *table));
      outputs_[IndexOf(*table)] = files_.back().get();
      if (csv_) WriteCsvHeader(*table, files_.back().get());
    }
  }

  void Write(const Table& table, const std::vector<RowValue>& row) {
    Output* output = outputs_[IndexOf(table)];
    if (output == nullptr) return;
    csv_ ? WriteCsvRow(row, output) : WriteJsonRow(table, row, output);
  }

  void Finish() {
    for (const auto& file : files_) file->Finish();
  }

 private:
  static size_t IndexOf(const Table& table) {
    return &table - RowTables().data();
  }

  static std::unique_ptr<Output> NewFile(const Options& options,
                                         const Table& table) {
    return Output::InFolder(options.folder, table.name + "." + options.to);
  }

  const bool csv_;
  std::vector<std::unique_ptr<Output>> files_;
  std::vector<Output*> outputs_;  // by table; null: not asked for
};

}  // namespace

ExitCode RunRows(const Command& command, const Arguments& arguments) {
  const Options options = ParseOptions(command, arguments);
  if (options.columns) return ExplainColumns(options);
  Schema schema;
  const Type& type = schema.Find(options.type);
  RowOutput output(options);
  const RowSink sink = [&output](const Table& table,
                                 const std::vector<RowValue>& row) {
    output.Write(table, row);
  };
  google::protobuf::Arena arena;
  RowOrigin origin{options.site, options.time};
  const ExitCode status =
      ForEachRecord(options.input, {&type}, [&](const Record& record) {
        arena.Reset();
        const auto* message = ParseRecord(options.input, type, record, &arena);
        if (message == nullptr) return kMalformed;
        // A message that is no stream is the first.
        origin.sequence =
            static_cast<int64_t>(std::max(record.number, uint64_t{1}));
        WriteRows(*message, origin, sink);
        return kFine;
      });
  output.Finish();
  return status;
}

}  // namespace tarn::tool
