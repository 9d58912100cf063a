// Finds messages that stand inside other text, such as a mail or a line of a
// log.
#include <algorithm>

#include "dump.h"
#include "forms.h"
#include "log_line.h"

namespace tarn::tool {
namespace {

// The characters that separate independent pieces of a text.
constexpr std::string_view kBetween = "\t\r\n\"'`()[]{}<>;=|";

// Whether a token is hardly base64, but a word, a name or words with strokes
// between them: in base64, capitals, small letters and digits change often.
bool IsProse(std::string_view token) {
  size_t changes = 0;
  int last = 0;
  for (const char c : token) {
    int kind = last;
    if (c >= 'a' && c <= 'z') kind = 1;
    if (c >= 'A' && c <= 'Z') kind = 2;
    if (c >= '0' && c <= '9') kind = 3;
    changes += last != 0 && kind != last;
    last = kind;
  }
  return 3 * changes < token.size();
}

// Collects the pieces of a text that can be digits, with their places.
class Pieces {
 public:
  explicit Pieces(std::string_view input) : input_(input) {}

  // Adds the pieces of a part without any of kBetween: the longest rows of
  // pairs that are separated by blanks, commas or colons, and every word.
  void AddFrom(std::string_view part) {
    size_t row = part.npos;  // where a row of pairs begins
    for (size_t word = 0; word <= part.size();) {
      const size_t stop =
          std::min(part.find_first_of(" ,:", word), part.size());
      const std::string_view token = part.substr(word, stop - word);
      const bool pair = IsHexPair(token);
      if (pair && row == part.npos) row = word;
      if (row != part.npos && (!pair || stop == part.size())) {
        const size_t end = pair ? stop : word;
        Add("hex", Trim(part.substr(row, end - row)));
        row = part.npos;
      }
      if (!pair && !Add("hex", token)) AddBase64(token);
      word = stop + 1;
    }
  }

  std::vector<Form> Take() { return std::move(forms_); }

 private:
  bool Add(const char* name, std::string_view piece) {
    constexpr size_t kLeastBytes = 4;
    Form form;
    const bool hex = name == std::string_view("hex");
    if (hex ? !FromHexDigits(piece, &form.bytes)
            : !FromBase64(piece, &form.bytes)) {
      return false;
    }
    if (form.bytes.size() < kLeastBytes) return false;
    form.name = name;
    form.embedded_at = piece.data() - input_.data();
    form.embedded_size = piece.size();
    forms_.push_back(std::move(form));
    return true;
  }
  // Adds a word with the = at its end; the part before the = and the part after
  // it are words of their own.
  void AddBase64(std::string_view token) {
    const size_t at = token.data() - input_.data();
    size_t size = token.size();
    while (at + size < input_.size() && input_[at + size] == '=') ++size;
    if (size == token.size() && IsProse(token)) return;
    Add("base64", input_.substr(at, size));
  }

  std::string_view input_;
  std::vector<Form> forms_;
};

// Whether a line can be one of many with digits: hexadecimal, also of a dump,
// or base64. The last one can be short.
bool IsDigitLine(std::string_view line, bool last) {
  constexpr size_t kLeast = 16;
  line = Trim(Unquoted(line));
  if (line.empty()) return false;
  std::string bytes;
  if (ArePairs(line) || IsDumpLine(line)) return true;
  if (line.size() < kLeast && !last) return false;
  return FromHexDigits(line, &bytes) ||
         (line.find(' ') == line.npos && FromBase64(line, &bytes));
}

// Adds the ways to read the lines of `input` from `begin` to `end`.
void AddBlock(std::string_view input, size_t begin, size_t end,
              std::vector<Form>* forms) {
  std::string_view block = input.substr(begin, end - begin);
  std::string plain;
  const bool log = Unlog(block, &plain);
  if (log) block = plain;
  for (Form& form : FormsOf(block, input.size())) {
    if (!form.problem.empty() || !form.text.empty()) continue;
    form.embedded_at = begin;
    form.embedded_size = end - begin;
    form.joined = log && form.layout.empty();
    forms->push_back(std::move(form));
  }
}

// Adds the rows of lines that together can be one message; lines of a log must
// have one sender. The last one can be short, or a word below them that looks
// like digits: the row is also tried without it.
void AddBlocks(std::string_view input, std::vector<Form>* forms) {
  size_t begin = 0, lines = 0;
  std::string_view sender;
  std::string_view rest = input;
  while (true) {
    const size_t at = input.size() - rest.size();
    const bool end = rest.empty();
    const LogLine line = ReadLogLine(TakeLine(&rest));
    const bool digits = !end && IsDigitLine(line.text, false);
    const bool follows = !end && lines > 0 && line.sender == sender;
    if (digits && follows) {
      ++lines;
      continue;
    }
    if (follows && IsDigitLine(line.text, true)) {
      AddBlock(input, begin, input.size() - rest.size(), forms);
    }
    if (lines > 1) AddBlock(input, begin, at, forms);
    if (end) break;
    lines = digits ? 1 : 0;
    begin = at;
    sender = line.sender;
  }
}

}  // namespace

std::vector<Form> FormsInside(std::string_view input) {
  if (input.size() > kMostText || !IsText(input)) return {};
  std::vector<Form> forms;
  AddBlocks(input, &forms);
  Pieces pieces(input);
  size_t begin = 0;
  while (begin < input.size()) {
    const size_t end =
        std::min(input.find_first_of(kBetween, begin), input.size());
    pieces.AddFrom(input.substr(begin, end - begin));
    begin = end + 1;
  }
  for (Form& form : pieces.Take()) forms.push_back(std::move(form));
  return forms;
}

}  // namespace tarn::tool
