// Escapes by the rules of CommonMark, and of GitHub for tables.
#include "markdown.h"

#include <algorithm>

namespace tarn::tool {
namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kSpecial = "\\*[]<&~|$";
constexpr std::string_view kStarts = "#>+-=";

bool IsWord(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
         (c >= 'a' && c <= 'z') || static_cast<unsigned char>(c) >= 0x80;
}

// The size of the run of backticks at a place.
size_t RunAt(std::string_view text, size_t at) {
  return std::min(text.find_first_not_of('`', at), text.size()) - at;
}

// The end of the code that the run of backticks at a place begins; npos if no
// run of the same size ends it.
size_t EndOfCode(std::string_view text, size_t at) {
  const size_t size = RunAt(text, at);
  for (at = text.find('`', at + size); at != text.npos;) {
    const size_t run = RunAt(text, at);
    if (run == size) return at + run;
    at = text.find('`', at + run);
  }
  return at;
}

// An underscore within a word, as in the names of fields, means nothing.
bool NeedsBackslash(std::string_view text, size_t at) {
  if (text[at] != '_') return kSpecial.find(text[at]) != kSpecial.npos;
  return at == 0 || at + 1 == text.size() || !IsWord(text[at - 1]) ||
         !IsWord(text[at + 1]);
}

}  // namespace

std::string MarkdownText(std::string_view text) {
  std::string markdown;
  for (size_t at = 0; at < text.size();) {
    size_t end = at + 1;
    if (text[at] == '`') {
      const size_t run = RunAt(text, at);
      end = EndOfCode(text, at);
      if (end == text.npos) {
        end = at + run;
        for (size_t i = 0; i < run; ++i) markdown += "\\`";
        at = end;
      }
    } else if (NeedsBackslash(text, at)) {
      markdown += '\\';
    }
    markdown += text.substr(at, end - at);
    at = end;
  }
  return markdown;
}

std::string MarkdownCell(std::string_view text) {
  std::string cell;
  for (const char c : MarkdownText(text)) {
    if (c == '|' && (cell.empty() || cell.back() != '\\')) cell += '\\';
    if (c != '\n') {
      cell += c;
    } else if (!cell.empty() && cell.back() != ' ') {
      cell += ' ';
    }
  }
  return cell;
}

std::string MarkdownLine(std::string_view line) {
  std::string escaped(line);
  size_t at = 0;
  if (line.empty()) return escaped;
  if (kStarts.find(line.front()) == kStarts.npos) {
    at = line.find_first_not_of(kDigits);
    if (at == 0 || at == line.npos || (line[at] != '.' && line[at] != ')')) {
      return escaped;
    }
  }
  escaped.insert(at, 1, '\\');
  return escaped;
}

std::string MarkdownAnchor(std::string_view heading) {
  std::string anchor;
  for (const char c : heading) {
    if (c == ' ') anchor += '-';
    if (IsWord(c) || c == '_' || c == '-') {
      anchor += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
  }
  return anchor;
}

}  // namespace tarn::tool
