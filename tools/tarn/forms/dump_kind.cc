// Looks at the groups in the first line of a dump.
#include "dump_kind.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "dump.h"
#include "forms.h"

namespace tarn::tool {
namespace {

constexpr std::string_view kDecimal = "0123456789";

bool IsMadeOf(std::string_view text, std::string_view characters) {
  return text.find_first_not_of(characters) == text.npos;
}

bool IsBits(std::string_view group) {
  return group.size() == 8 && IsMadeOf(group, "01");
}

bool IsNumber(std::string_view group) {
  if (group.size() > 1 && group.front() == '-') group.remove_prefix(1);
  return group.size() <= 5 && IsMadeOf(group, kDecimal);
}

// A character, an escape such as \n, three octal digits, or the name of a
// control character.
bool IsCharacter(std::string_view group) {
  constexpr std::string_view kNames[] = {
      "nul", "soh", "stx", "etx", "eot", "enq", "ack", "bel", "bs",
      "ht",  "nl",  "vt",  "ff",  "cr",  "so",  "si",  "dle", "dc1",
      "dc2", "dc3", "dc4", "nak", "syn", "etb", "can", "em",  "sub",
      "esc", "fs",  "gs",  "rs",  "us",  "sp",  "del"};
  return group.size() == 1 || (group.size() == 2 && group.front() == '\\') ||
         (group.size() == 3 && IsMadeOf(group, "01234567")) ||
         std::find(std::begin(kNames), std::end(kNames), group) !=
             std::end(kNames);
}

std::vector<std::string_view> GroupsOf(std::string_view line) {
  std::vector<std::string_view> groups;
  while (!line.empty()) {
    const size_t size = std::min(line.find_first_of(" \t"), line.size());
    groups.push_back(line.substr(0, size));
    line = Trim(line.substr(size));
  }
  return groups;
}

}  // namespace

std::string WhyUnreadable(std::string_view dump) {
  constexpr size_t kMostGroups = 16;
  DumpLine line;
  if (!SplitDumpLine(Trim(TakeLine(&dump)), &line)) return "";
  const std::vector<std::string_view> groups = GroupsOf(line.rest);
  const auto all = [&](bool (*is)(std::string_view)) {
    return std::all_of(groups.begin(), groups.end(), is);
  };
  const char* kind = nullptr;
  if (line.colon && groups.size() > 1 && IsBits(groups[0]) &&
      IsBits(groups[1])) {
    kind = "bits, as xxd -b prints them";
  } else if (groups.size() < 4 || groups.size() > kMostGroups) {
    return "";
  } else if (all(IsNumber) && std::any_of(groups.begin(), groups.end(),
                                          [](std::string_view group) {
                                            return group.size() % 2 != 0;
                                          })) {
    kind = "decimal numbers, as hexdump -d and od -d print them";
  } else if (all(IsCharacter)) {
    kind = "characters, as hexdump -c, od -c and od -a print them";
  } else {
    return "";
  }
  return std::string("a dump of ") + kind +
         ": make one of hexadecimal digits, by xxd, hexdump -C or od -A x -t "
         "x1";
}

}  // namespace tarn::tool
