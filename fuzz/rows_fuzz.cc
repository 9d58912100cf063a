// Fuzzes rows and back: the message that is made of the rows of a message has
// all of its known fields, and each row as CSV has the same values, and as JSON
// is JSON. The first byte of the input chooses the message type; the rest is
// the message.
#include "encoding.h"
#include "json_check.h"
#include "row_printer.h"
#include "rows_back.h"
#include "target.h"

namespace fuzz {
namespace {

using tarn::tool::Output;
using tarn::tool::RowValue;
using tarn::tool::Table;
using tarn::tool::Type;

// The values of a row of CSV, of which only NULL is empty and not in quotes.
std::vector<KeptValue> Values(std::string_view csv) {
  std::vector<KeptValue> values;
  while (true) {
    std::string text;
    const bool quoted = csv.substr(0, 1) == "\"";
    if (quoted) {
      for (csv.remove_prefix(1);; csv.remove_prefix(1)) {
        if (csv.front() == '"') {
          csv.remove_prefix(1);
          if (csv.front() != '"') break;
        }
        text += csv.front();
      }
    } else {
      text = csv.substr(0, csv.find_first_of(",\r"));
      csv.remove_prefix(text.size());
    }
    values.emplace_back();
    if (quoted || !text.empty()) values.back() = text;
    if (csv == "\r\n") return values;
    csv.remove_prefix(1);
  }
}

bool IsSame(const RowValue& value, const KeptValue& read) {
  const auto* text = std::get_if<std::string>(&read);
  if (text == nullptr) return std::holds_alternative<std::monostate>(value);
  if (const auto* expected = std::get_if<std::string_view>(&value)) {
    return *text == *expected;
  }
  if (const auto* number = std::get_if<int64_t>(&value)) {
    return *text == std::to_string(*number);
  }
  const auto* real = std::get_if<double>(&value);
  if (real == nullptr) return false;
  const double again = std::strtod(text->c_str(), nullptr);
  return again == *real || (*real != *real && *text == "NaN");
}

void CheckPrinted(const Type& type, const Table& table,
                  const std::vector<RowValue>& row) {
  const std::vector<KeptValue> values = Values(
      Printed([&](Output* output) { tarn::tool::WriteCsvRow(row, output); }));
  Expect(values.size() == row.size() &&
             std::equal(row.begin(), row.end(), values.begin(), IsSame),
         type, "CSV has the values of the row");
  Expect(tarn::tool::FindJsonProblem(Printed([&](Output* output) {
           tarn::tool::WriteJsonRow(table, row, output);
         })).empty(),
         type, "a row as JSON is JSON");
}

}  // namespace

const size_t kOptions = 1;

void Try(std::string_view input) {
  if (input.empty()) return;
  const Type& type = TypeOf(input);
  const auto message = Parsed(type, input.substr(kOptions));
  if (message == nullptr) return;
  message->DiscardUnknownFields();
  if (type.secret) message->Clear();  // no row has anything of it
  const auto again = FromRows(RowsOf(*message));
  Expect(again != nullptr && again->GetDescriptor() == type.descriptor, type,
         "rows say where they belong");
  PlainNans(message.get());
  PlainNans(again.get());
  if (tarn::tool::Canonical(*message) != tarn::tool::Canonical(*again)) {
    std::fprintf(stderr, "%s---\n%s", message->Utf8DebugString().c_str(),
                 again->Utf8DebugString().c_str());
    Expect(false, type, "rows hold all known fields");
  }
  int printed = 0;
  tarn::tool::WriteRows(
      *message, {"site", "2026-01-31T08:30:00Z", 7},
      [&](const Table& table, const std::vector<RowValue>& row) {
        constexpr int kMostPrinted = 8;  // each one takes a file
        if (++printed <= kMostPrinted) CheckPrinted(type, table, row);
      });
}

}  // namespace fuzz
