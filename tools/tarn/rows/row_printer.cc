// Writes rows as CSV and as JSON.
#include "row_printer.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "json_writer.h"

namespace tarn::tool {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

std::string_view NameOfNoNumber(double value) {
  if (std::isnan(value)) return "NaN";
  return value > 0 ? "Infinity" : "-Infinity";
}

void WriteDigits(double value, Output* output) {
  // Readers take -0 for an integer, which has no sign.
  if (value == 0 && std::signbit(value)) return output->Write("-0.0");
  char* const p = output->Reserve(32);
  output->Advance(std::to_chars(p, p + 32, value).ptr);
}

void WriteCsvText(std::string_view text, Output* output) {
  const bool plain = std::none_of(text.begin(), text.end(), [](char c) {
    return c == ',' || c == '"' || c == '\r' || c == '\n';
  });
  if (plain && !text.empty()) return output->Write(text);
  output->Write('"');
  for (size_t quote; (quote = text.find('"')) != text.npos;) {
    output->Write(text.substr(0, quote + 1));
    output->Write('"');
    text.remove_prefix(quote + 1);
  }
  output->Write(text);
  output->Write('"');
}

struct CsvValue {
  Output& out;

  void operator()(std::monostate) {}
  void operator()(int64_t value) { out.Number(value); }
  void operator()(double value) {
    std::isfinite(value) ? WriteDigits(value, &out)
                         : out.Write(NameOfNoNumber(value));
  }
  void operator()(std::string_view text) {
    out.terminal() ? WriteCsvText(Escaped(text, ""), &out)
                   : WriteCsvText(text, &out);
  }
};

struct JsonValue {
  JsonWriter& json;
  const Column& column;

  void operator()(std::monostate) {}
  void operator()(int64_t value) { json.Key(column.name).Number(value); }
  void operator()(double value) {
    json.Key(column.name);
    std::isfinite(value) ? WriteDigits(value, &json.Value())
                         : json.String(NameOfNoNumber(value));
  }
  void operator()(std::string_view text) { json.Key(column.name).String(text); }
};

}  // namespace

void WriteCsvHeader(const Table& table, Output* output) {
  std::string_view separator;
  for (const Column& column : table.columns) {
    output->Write(separator);
    output->Write(column.name);
    separator = ",";
  }
  output->Write(kLineEnd);
}

void WriteCsvRow(const std::vector<RowValue>& row, Output* output) {
  std::string_view separator;
  for (const RowValue& value : row) {
    output->Write(separator);
    std::visit(CsvValue{*output}, value);
    separator = ",";
  }
  output->Write(kLineEnd);
}

void WriteJsonRow(const Table& table, const std::vector<RowValue>& row,
                  Output* output) {
  JsonWriter json(output);
  json.BeginObject();
  json.Key("table").String(table.name);
  for (size_t i = 0; i < row.size(); ++i) {
    std::visit(JsonValue{json, table.columns[i]}, row[i]);
  }
  json.EndObject();
  json.EndLine();
}

}  // namespace tarn::tool
