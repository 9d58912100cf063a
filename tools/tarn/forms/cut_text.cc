// Looks for three dots, and for a few words in brackets.
#include "cut_text.h"

#include <algorithm>
#include <string>

#include "forms.h"

namespace tarn::tool {
namespace {

constexpr std::string_view kEllipsis = "\xE2\x80\xA6";
// The longest remark in brackets.
constexpr size_t kMost = 60;

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() &&
         text.substr(text.size() - end.size()) == end;
}

// Whether a remark says that something is left out.
bool IsRemark(std::string_view text) {
  std::string small(text);
  for (char& c : small) {
    if (c >= 'A' && c <= 'Z') c |= 0x20;
  }
  for (const std::string_view word :
       {std::string_view("trunc"), std::string_view("cut"),
        std::string_view("snip"), std::string_view("more"),
        std::string_view("omit"), std::string_view("..."), kEllipsis}) {
    if (small.find(word) != small.npos) return true;
  }
  return false;
}

// The size of a text without a remark in brackets at its end.
size_t SizeWithoutRemark(std::string_view text) {
  constexpr std::string_view kOpen = "([<";
  constexpr std::string_view kClose = ")]>";
  const size_t kind = text.empty() ? kClose.npos : kClose.find(text.back());
  if (kind == kClose.npos) return text.size();
  const size_t open = text.rfind(kOpen[kind]);
  if (open == text.npos || text.size() - open > kMost ||
      !IsRemark(text.substr(open + 1))) {
    return text.size();
  }
  return open;
}

std::string_view TrimEnd(std::string_view text) {
  while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

std::string_view WithoutCutMark(std::string_view text) {
  const std::string_view whole = TrimEnd(text);
  std::string_view rest = TrimEnd(whole.substr(0, SizeWithoutRemark(whole)));
  if (EndsWith(rest, kEllipsis)) {
    rest.remove_suffix(kEllipsis.size());
  } else if (EndsWith(rest, "...")) {
    while (!rest.empty() && rest.back() == '.') rest.remove_suffix(1);
  } else if (EndsWith(rest, " truncated")) {
    rest.remove_suffix(10);
  }
  return rest.size() == whole.size() ? text : TrimEnd(rest);
}

bool BeginsWithMark(std::string_view text) {
  text = text.substr(0, kMost);
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  if (text.substr(0, 3) == "..." ||
      text.substr(0, kEllipsis.size()) == kEllipsis) {
    return true;
  }
  const size_t close = text.find_first_of(")]>\n");
  return close != text.npos && text[close] != '\n' &&
         SizeWithoutRemark(text.substr(0, close + 1)) == 0;
}

}  // namespace tarn::tool
