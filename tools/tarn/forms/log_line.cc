// Takes lines of a log apart.
#include "log_line.h"

#include <algorithm>
#include <iterator>

#include "dump.h"
#include "forms.h"

namespace tarn::tool {
namespace {

// Whether a text begins like a pattern, in which 0 stands for any digit, and a
// blank for a blank or the T between date and time.
bool BeginsLike(std::string_view pattern, std::string_view text) {
  return text.size() >= pattern.size() &&
         std::equal(pattern.begin(), pattern.end(), text.begin(),
                    [](char expected, char c) {
                      if (expected == '0') return c >= '0' && c <= '9';
                      return c == expected || (expected == ' ' && c == 'T');
                    });
}

// Size of the time that a line begins with; 0: there is none.
size_t TimeSize(std::string_view line) {
  constexpr std::string_view kMonths[] = {"Jan", "Feb", "Mar", "Apr",
                                          "May", "Jun", "Jul", "Aug",
                                          "Sep", "Oct", "Nov", "Dec"};
  constexpr std::string_view kIso = "0000-00-00 00:00:00";
  if (BeginsLike(kIso, line)) {
    // Parts of a second, and the zone.
    return std::min(line.find_first_not_of("0123456789.,+-:Z", kIso.size()),
                    line.size());
  }
  if (std::find(std::begin(kMonths), std::end(kMonths), line.substr(0, 3)) ==
      std::end(kMonths)) {
    return 0;
  }
  for (const std::string_view pattern : {" 00 00:00:00", "  0 00:00:00"}) {
    if (BeginsLike(pattern, line.substr(3))) return 3 + pattern.size();
  }
  return 0;
}

// Takes two words and the blanks after them. Returns false if they are not
// there.
bool TakeTwoWords(std::string_view* text) {
  for (int i = 0; i < 2; ++i) {
    const size_t size = text->find(' ');
    if (size == text->npos || size == 0) return false;
    text->remove_prefix(size + 1);
  }
  return true;
}

// A line of a dump after other text, such as a time or a name. All of these
// have one sender: the offsets tell whether they belong together.
LogLine ReadDumpLine(std::string_view line) {
  constexpr size_t kMostBefore = 200;
  constexpr std::string_view kMarks = " \t|>:])";
  LogLine found{{}, line};
  if (IsDumpLine(Trim(Unquoted(line)))) return found;
  for (size_t at = 1; at < std::min(line.size(), kMostBefore); ++at) {
    if (kMarks.find(line[at - 1]) == kMarks.npos) continue;
    const std::string_view rest = line.substr(at);
    DumpLine start;
    if (!IsDumpLine(rest) || !SplitDumpLine(rest, &start)) continue;
    if (!found.sender.empty() && !start.colon) continue;
    found = {"a dump", rest};
    // The time can look like an offset, but has no colon.
    if (start.colon) break;
  }
  return found;
}

}  // namespace

LogLine ReadLogLine(std::string_view line) {
  const LogLine none = ReadDumpLine(line);
  std::string_view rest = line;
  if (BeginsLike("<0", rest)) {
    rest.remove_prefix(std::min(rest.find('>') + 1, rest.size()));
  }
  const size_t time = TimeSize(rest);
  if (time == 0 || rest.substr(time, 1) != " ") return none;
  rest.remove_prefix(time + 1);
  const std::string_view sender = rest;
  if (!TakeTwoWords(&rest)) return none;
  const size_t size = rest.data() - sender.data() - 2;
  if (sender[size] != ':') return none;
  return {sender.substr(0, size), rest};
}

bool Unlog(std::string_view text, std::string* plain) {
  plain->clear();
  std::string_view sender;
  while (!text.empty()) {
    const std::string_view line = TakeLine(&text);
    if (Trim(line).empty()) continue;
    const LogLine log = ReadLogLine(line);
    if (log.sender.empty()) return false;
    if (sender.empty()) sender = log.sender;
    if (log.sender != sender) return false;
    plain->append(log.text);
    *plain += '\n';
  }
  return !plain->empty();
}

}  // namespace tarn::tool
