// Compares the offsets of a dump with the number of bytes in its lines.
#include "dump_rows.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "dump.h"
#include "forms.h"

namespace tarn::tool {
namespace {

// So many bytes in a line are hardly an accident.
constexpr uint64_t kLeastRow = 8;

struct Row {
  uint64_t offset;
  uint64_t bytes;  // at least: the characters can look like digits
  size_t line;
};

bool ByOffset(const Row& a, const Row& b) { return a.offset < b.offset; }

uint64_t CountBytes(std::string_view groups) {
  std::string bytes;
  while (!groups.empty()) {
    const size_t size = std::min(groups.find_first_of(" \t"), groups.size());
    if (!FromHexDigits(groups.substr(0, size), &bytes)) break;
    groups = Trim(groups.substr(size));
  }
  return bytes.size();
}

// Returns no rows if a line is none.
std::vector<Row> ReadRows(std::string_view text) {
  std::vector<Row> rows;
  for (size_t number = 1; !text.empty(); ++number) {
    const std::string_view line = Trim(TakeLine(&text));
    if (line.empty()) continue;
    DumpLine start;
    Row row{0, 0, number};
    if (!SplitDumpLine(line, &start)) return {};
    if (start.rest.empty()) continue;  // the size, after the last row
    const char* end = start.digits.data() + start.digits.size();
    const auto result =
        std::from_chars(start.digits.data(), end, row.offset, 16);
    if (result.ec != std::errc() || result.ptr != end) return {};
    row.bytes = CountBytes(start.rest);
    rows.push_back(row);
  }
  return rows;
}

std::string PlaceOf(const Row& row) {
  char text[64];
  std::snprintf(text, sizeof text, "line %zu, of offset 0x%" PRIx64, row.line,
                row.offset);
  return text;
}

// What is wrong with a row after another one.
std::string WhyNotAfter(const Row& before, uint64_t size, const Row& row) {
  if (row.offset > before.offset) {
    const std::string missing =
        std::to_string(row.offset - before.offset - size);
    return "a dump whose lines do not follow one another: " + missing +
           " bytes are missing before line " + std::to_string(row.line);
  }
  return "a dump whose lines are not in order: " + PlaceOf(row) +
         ", stands after " + PlaceOf(before);
}

}  // namespace

DumpRows RowsOf(std::string_view text) {
  DumpRows found;
  if (text.size() > kMostText) return found;
  const std::vector<Row> rows = ReadRows(text);
  if (rows.size() < 2) return found;
  std::vector<Row> sorted = rows;
  std::sort(sorted.begin(), sorted.end(), ByOffset);
  uint64_t size = UINT64_MAX;  // of a row
  for (size_t i = 1; i < sorted.size(); ++i) {
    const uint64_t step = sorted[i].offset - sorted[i - 1].offset;
    if (step > 0) size = std::min(size, step);
  }
  if (size < kLeastRow || size == UINT64_MAX) return found;
  found.regular = found.sortable = true;
  for (size_t i = 0; i < rows.size(); ++i) {
    const bool last = rows[i].offset == sorted.back().offset;
    const uint64_t from_first = rows[i].offset - sorted.front().offset;
    if (from_first % size != 0 || (!last && rows[i].bytes < size)) return {};
    found.sortable =
        found.sortable && sorted[i].offset == sorted.front().offset + i * size;
  }
  for (size_t i = 1; i < rows.size() && found.problem.empty(); ++i) {
    const Row& before = rows[i - 1];
    // A second dump begins.
    if (rows[i].offset == rows.front().offset) return {};
    if (found.sortable ? rows[i].offset < before.offset
                       : rows[i].offset != before.offset + size) {
      found.problem = WhyNotAfter(before, size, rows[i]);
    }
  }
  return found;
}

}  // namespace tarn::tool
