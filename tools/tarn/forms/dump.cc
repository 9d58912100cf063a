// Reads the lines of a dump. The offsets tell how many bytes a line has, and
// the characters tell which bytes; so digits and characters can be told apart.
#include "dump.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "forms.h"

namespace tarn::tool {
namespace {

constexpr uint64_t kUnknown = UINT64_MAX;
// Lines whose offsets can follow one another in another base by chance: those
// up to 0x80, of 8 bytes each, are octal, too.
constexpr size_t kByChance = 17;

bool IsDigit(char c, int base) {
  const char limit = base == 8 ? '7' : '9';
  if (c >= '0' && c <= limit) return true;
  return base == 16 && (c | 0x20) >= 'a' && (c | 0x20) <= 'f';
}

bool ReadOffset(const DumpLine& start, int base, uint64_t* offset) {
  const char* end = start.digits.data() + start.digits.size();
  const auto result = std::from_chars(start.digits.data(), end, *offset, base);
  return result.ec == std::errc() && result.ptr == end;
}

// Appends the bytes of one group of digits.
bool AppendGroup(std::string_view group, DumpUnit unit, std::string* bytes) {
  const bool octal =
      unit == DumpUnit::kOctalBytes || unit == DumpUnit::kOctalWords;
  const size_t size = group.size();
  if (octal && size != (unit == DumpUnit::kOctalBytes ? 3u : 6u)) return false;
  if (unit == DumpUnit::kHexWords && size > 16) return false;
  if (size == 0 || (!octal && size % 2 != 0)) return false;
  if (unit == DumpUnit::kHexBytes) return FromHexDigits(group, bytes);
  uint64_t value = 0;
  const char* end = group.data() + size;
  const auto result = std::from_chars(group.data(), end, value, octal ? 8 : 16);
  if (result.ec != std::errc() || result.ptr != end) return false;
  const size_t count = octal ? size / 3 : size / 2;
  if (value >> 8 >> (8 * (count - 1)) != 0) return false;
  for (size_t i = 0; i < count; ++i) {
    bytes->push_back(static_cast<char>(value >> (8 * i)));
  }
  return true;
}

// Whether a group is a part of a word, as xxd -e has it at the end.
bool IsPartOfWord(std::string_view group) {
  return group.size() != 4 && group.size() != 8 && group.size() != 16;
}

// Whether a text shows the bytes as characters, with a dot for each byte that
// cannot be printed. Blanks at both ends may be missing.
bool Shows(std::string_view text, std::string_view bytes) {
  while (text.size() < bytes.size() && bytes.front() == ' ' &&
         (text.empty() || text.front() != ' ')) {
    bytes.remove_prefix(1);
  }
  if (text.size() > bytes.size()) return false;
  for (size_t i = 0; i < bytes.size(); ++i) {
    const bool printable = bytes[i] >= 0x20 && bytes[i] < 0x7F;
    const char want = printable ? bytes[i] : '.';
    if ((i < text.size() ? text[i] : ' ') != want) return false;
  }
  return !text.empty();
}

// Removes from the line the characters between bars (hexdump) or between > and
// < (od), and returns them.
std::string_view TakeFramed(std::string_view* line) {
  constexpr std::pair<std::string_view, char> kFrames[] = {{" |", '|'},
                                                           {"  >", '<'}};
  for (const auto& [open, close] : kFrames) {
    const size_t at = line->find(open);
    if (at == line->npos || line->back() != close) continue;
    std::string_view text = line->substr(at + open.size());
    text.remove_suffix(text.empty() ? 0 : 1);
    *line = Trim(line->substr(0, at));
    return text;
  }
  return {};
}

class DumpReader {
 public:
  DumpReader(DumpUnit unit, int base, uint64_t max_size, Dump* dump)
      : unit_(unit), base_(base), max_size_(max_size), dump_(*dump) {}

  bool Read(std::string_view text) {
    while (!text.empty()) {
      ++dump_.broken_line;
      const std::string_view line = Trim(TakeLine(&text));
      if (line.empty()) continue;
      if (line == "*") {
        if (row_.empty() || repeated_) return false;
        repeated_ = true;
        continue;
      }
      DumpLine start;
      uint64_t offset;
      if (!SplitDumpLine(line, &start) || !ReadOffset(start, base_, &offset)) {
        if (IsElision(line)) FindGap(text);
        return false;
      }
      if (!ContinueAt(offset) || !Line(start, text)) return false;
    }
    dump_.certain = colons_ || lines_ > 1 || dump_.verified;
    if (base_offset_ <= max_size_) dump_.skipped = base_offset_;
    return !dump_.bytes.empty() && !repeated_ && (ended_ || !odd_) &&
           (base_offset_ == 0 || dump_.certain);
  }

 private:
  // Notes which bytes are left out before the next line.
  void FindGap(std::string_view text) {
    const uint64_t at = base_offset_ + dump_.bytes.size();
    std::string_view line;
    while (line.empty() && !text.empty()) line = Trim(TakeLine(&text));
    DumpLine next;
    uint64_t offset;
    if (dump_.bytes.empty() || !SplitDumpLine(line, &next) ||
        !ReadOffset(next, base_, &offset) || offset <= at) {
      return;
    }
    dump_.gap_begin = at;
    dump_.gap_end = offset;
  }

  // Continues at an offset: that of the next byte, or a later one after a line
  // that stands for repeated lines.
  bool ContinueAt(uint64_t offset) {
    if (ended_) return false;
    if (!begun_) base_offset_ = offset;
    begun_ = true;
    if (offset < base_offset_) return false;
    const uint64_t at = offset - base_offset_;
    if (at > max_size_) return false;
    while (repeated_ && dump_.bytes.size() + row_.size() <= at) {
      dump_.bytes += row_;
    }
    repeated_ = false;
    // The last word may hold one byte and a zero as padding.
    if (odd_ && dump_.bytes.size() == at + 1 && dump_.bytes.back() == '\0') {
      dump_.bytes.pop_back();
    }
    dump_.missing = static_cast<int64_t>(at - dump_.bytes.size());
    return dump_.missing == 0;
  }

  // The number of bytes up to the next offset, if that can be read.
  uint64_t BytesToNextOffset(std::string_view text) const {
    DumpLine next;
    uint64_t offset;
    const std::string_view line = Trim(TakeLine(&text));
    if (!SplitDumpLine(line, &next) || !ReadOffset(next, base_, &offset) ||
        offset <= base_offset_ + dump_.bytes.size()) {
      return kUnknown;
    }
    return offset - base_offset_ - dump_.bytes.size();
  }

  // What is read of a line after its offset.
  struct Groups {
    std::string bytes;
    bool read = false;
    bool pairs = true;
    bool part = false;   // of a word; only characters prove that
    bool shown = false;  // the characters after the digits are of these bytes
  };

  // `framed`: the characters have been removed.
  Groups ReadGroups(std::string_view rest, bool framed,
                    uint64_t expected) const {
    Groups groups;
    bool gap = false;  // before the next group
    while (!rest.empty() && !groups.shown &&
           !(gap && groups.bytes.size() >= expected)) {
      const size_t size = std::min(rest.find_first_of(" \t"), rest.size());
      const std::string_view group = rest.substr(0, size);
      if (!AppendGroup(group, unit_, &groups.bytes)) {
        // The characters do not match the bytes, for example in another
        // alphabet.
        groups.read = !groups.bytes.empty() && gap && !framed;
        return groups;
      }
      groups.part =
          groups.part || (unit_ == DumpUnit::kHexWords && IsPartOfWord(group));
      groups.pairs = groups.pairs && group.size() == 2;
      rest.remove_prefix(size);
      const size_t blanks = rest.find_first_not_of(" \t");
      gap = blanks != rest.npos && (blanks > 1 || rest[0] == '\t');
      rest.remove_prefix(std::min(blanks, rest.size()));
      groups.shown = gap && Shows(rest, groups.bytes);
    }
    groups.read = true;
    return groups;
  }

  bool Line(const DumpLine& start, std::string_view text) {
    ++lines_;
    colons_ = colons_ && start.colon;
    if (start.rest.empty()) {
      ended_ = true;
      return true;
    }
    std::string_view digits = start.rest;
    const std::string_view framed = TakeFramed(&digits);
    const uint64_t expected = BytesToNextOffset(text);
    Groups groups = ReadGroups(digits, !framed.empty(), expected);
    bool shown = groups.shown || Shows(framed, groups.bytes);
    if (!shown && digits.size() < start.rest.size()) {
      // Bars can also be two of the characters.
      Groups whole = ReadGroups(start.rest, false, expected);
      shown = whole.shown;
      if (shown) groups = std::move(whole);
    }
    if (!groups.read || (groups.part && !shown)) return false;
    row_ = std::move(groups.bytes);
    groups_of_pairs_ = groups_of_pairs_ && groups.pairs;
    verified_ = verified_ && shown;
    dump_.verified = verified_;
    dump_.ambiguous = !groups_of_pairs_ && !start.colon;
    odd_ = unit_ == DumpUnit::kHexWords || unit_ == DumpUnit::kOctalWords;
    odd_ = odd_ && row_.back() == '\0';
    if (row_.size() >
        max_size_ - std::min<uint64_t>(max_size_, dump_.bytes.size())) {
      return false;
    }
    dump_.bytes += row_;
    return true;
  }

  const DumpUnit unit_;
  const int base_;  // of the offsets
  const uint64_t max_size_;
  Dump& dump_;
  std::string row_;  // of the last line
  uint64_t base_offset_ = 0;
  bool begun_ = false;
  bool repeated_ = false;  // the last line was "*"
  bool ended_ = false;     // an offset alone, the last
  bool odd_ = false;       // whether the last byte is only padding
  int lines_ = 0;
  bool colons_ = true;
  bool verified_ = true;
  bool groups_of_pairs_ = true;
};

}  // namespace

bool SplitDumpLine(std::string_view line, DumpLine* start) {
  if (line.substr(0, 2) == "0x") line.remove_prefix(2);
  size_t size = 0;
  while (size < line.size() && IsDigit(line[size], 16)) ++size;
  if (size < 4) return false;
  start->digits = line.substr(0, size);
  line.remove_prefix(size);
  start->colon = !line.empty() && line.front() == ':';
  if (start->colon) line.remove_prefix(1);
  if (!line.empty() && !IsSpace(line.front())) return false;
  start->rest = Trim(line);
  return true;
}

bool IsElision(std::string_view line) {
  for (const std::string_view mark :
       {"..", "\xE2\x80\xA6", "snip", "skip", "omit", "cut"}) {
    if (line.find(mark) != line.npos) return true;
  }
  return false;
}

bool ReadDump(std::string_view text, DumpUnit unit, uint64_t max_size,
              Dump* dump) {
  Dump furthest;
  for (const int base : {16, 8, 10}) {
    *dump = Dump();
    if (DumpReader(unit, base, max_size, dump).Read(text)) return true;
    if (base == 16 || (GotFurther(*dump, furthest) &&
                       (dump->gap_end > 0 || dump->broken_line > kByChance))) {
      furthest = std::move(*dump);
    }
  }
  *dump = std::move(furthest);
  return false;
}

bool GotFurther(const Dump& dump, const Dump& other) {
  if (other.gap_end > 0 || dump.gap_end > 0) return other.gap_end == 0;
  return other.broken_line <= 2 && dump.broken_line > other.broken_line;
}

std::string WhyNoDump(const Dump& dump) {
  if (dump.gap_end > 0) {
    char text[96];
    std::snprintf(text, sizeof text,
                  "a dump with a gap: bytes 0x%" PRIx64 " to 0x%" PRIx64
                  " are missing",
                  dump.gap_begin, dump.gap_end - 1);
    return text;
  }
  const std::string line = "line " + std::to_string(dump.broken_line);
  if (dump.missing == 0) {
    return "a dump of which " + line +
           " cannot be read; those of xxd, hexdump and od -t x1 can";
  }
  std::string problem = "a dump whose lines do not follow one another";
  // The offsets can be in another base.
  if (dump.broken_line <= 2) return problem;
  const int64_t count = std::abs(dump.missing);
  return problem + ": " + std::to_string(count) +
         (count == 1 ? " byte is" : " bytes are") +
         (dump.missing > 0 ? " missing before " : " too many before ") + line;
}

bool IsDumpLine(std::string_view line) {
  DumpLine start;
  std::string bytes;
  return SplitDumpLine(line, &start) && !start.rest.empty() &&
         FromHexDigits(start.rest.substr(0, start.rest.find(' ')), &bytes);
}

bool LooksLikeDump(std::string_view text) {
  size_t lines = 0;
  size_t like = 0;
  bool digits = false;  // after an offset
  std::string_view last;
  while (!text.empty()) {
    const std::string_view line = Trim(TakeLine(&text));
    if (line.empty() || line == "*") continue;
    ++lines;
    DumpLine start;
    if (!SplitDumpLine(line, &start)) continue;
    // Offsets grow from line to line; words of a text do not.
    like +=
        start.digits.size() == last.size() ? start.digits > last : last.empty();
    last = start.digits;
    digits = digits || !start.rest.empty();
  }
  return lines > 1 && like == lines && digits;
}

}  // namespace tarn::tool
