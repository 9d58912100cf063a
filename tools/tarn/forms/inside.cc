// Finds messages that stand inside other text, such as a mail or a line of a
// log.
#include <algorithm>
#include <cctype>

#include "cut_text.h"
#include "dump.h"
#include "forms.h"
#include "log_line.h"

namespace tarn::tool {
namespace {

// The characters that separate independent pieces of a text.
constexpr std::string_view kBetween = "\t\r\n\"'`()[]{}<>;=|";

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
      const std::string_view token =
          WithoutCutMark(part.substr(word, stop - word));
      const bool cut = word + token.size() < stop;
      const bool pair = IsHexPair(token);
      if (pair && row == part.npos) row = word;
      if (row != part.npos && (!pair || cut || stop == part.size())) {
        const size_t end = pair ? word + token.size() : word;
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
    constexpr size_t kLeastCut = 8;
    Form form;
    const size_t end = piece.data() + piece.size() - input_.data();
    form.cut = IsCutAt(end);
    const bool hex = name == std::string_view("hex");
    const auto read = [&] {
      form.bytes.clear();
      return hex ? FromHexDigits(piece, &form.bytes)
                 : FromBase64(piece, &form.bytes);
    };
    if (!read()) {
      // The last digit can be a part of a byte.
      if (!form.cut || piece.empty()) return false;
      piece.remove_suffix(1);
      if (!read()) return false;
    }
    if (form.bytes.size() < (form.cut ? kLeastCut : kLeastBytes)) return false;
    form.name = name;
    form.embedded_at = piece.data() - input_.data();
    form.embedded_size = piece.size();
    forms_.push_back(std::move(form));
    return true;
  }
  // Whether the rest is left out, perhaps after one digit of a byte.
  bool IsCutAt(size_t end) const {
    const std::string_view rest = input_.substr(end);
    return BeginsWithMark(rest) ||
           (rest.size() > 2 && rest[0] == ' ' &&
            std::isxdigit(static_cast<unsigned char>(rest[1])) &&
            BeginsWithMark(rest.substr(2)));
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

bool IsDump(std::string_view line) { return IsDumpLine(Trim(Unquoted(line))); }

// Whether a line of a dump stands for others.
bool IsLeftOut(std::string_view line) {
  line = Trim(Unquoted(line));
  return line == "*" || (IsElision(line) && !IsDumpLine(line));
}

// Whether two lines of dumps have the same offset.
bool IsSameOffset(std::string_view a, std::string_view b) {
  DumpLine first, second;
  return SplitDumpLine(Trim(Unquoted(a)), &first) &&
         SplitDumpLine(Trim(Unquoted(b)), &second) &&
         first.digits == second.digits;
}

// Finds the rows of lines that together can be one message. Lines of a log must
// have one sender.
class Blocks {
 public:
  Blocks(std::string_view input, std::vector<Form>* forms)
      : input_(input), forms_(*forms) {}

  void Add() {
    std::string_view rest = input_;
    while (!rest.empty()) {
      const size_t at = input_.size() - rest.size();
      const LogLine line = ReadLogLine(TakeLine(&rest));
      Line(line, at, input_.size() - rest.size());
    }
    End(false);
  }

 private:
  void Line(const LogLine& line, size_t at, size_t next) {
    const bool follows = lines_ > 0 && line.sender == first_.sender;
    const bool digits = IsDigitLine(line.text, false);
    if (digits && follows && !(dump_ && IsSameOffset(first_.text, line.text))) {
      ++lines_;
      end_ = next;
      return;
    }
    // Lines of the dump can follow.
    if (lines_ > 0 && dump_ && IsLeftOut(line.text)) return;
    // The last one can be short, or a word below them that looks like digits:
    // the row is also tried without it.
    const bool read =
        follows && !digits && IsDigitLine(line.text, true) && Try(begin_, next);
    End(read);
    lines_ = digits ? 1 : 0;
    dump_ = digits && IsDump(line.text);
    first_ = line;
    begin_ = at;
    end_ = next;
  }

  // `read`: whether the row can be read with one more line.
  void End(bool read) {
    const bool rows = lines_ > (dump_ ? 0 : 1);
    if (rows && !Try(begin_, end_) && !read && dump_) AddBroken();
    lines_ = 0;
  }

  // Adds the ways to read the lines from `begin` to `end`.
  bool Try(size_t begin, size_t end) {
    std::string_view block = input_.substr(begin, end - begin);
    std::string plain;
    const bool log = Unlog(block, &plain);
    if (log) block = plain;
    bool read = false;
    for (Form& form : FormsOf(block, input_.size())) {
      if (!form.problem.empty() || !form.text.empty()) continue;
      form.embedded_at = begin;
      form.embedded_size = end - begin;
      form.joined = log && form.layout.empty();
      forms_.push_back(std::move(form));
      read = true;
    }
    return read;
  }

  // Adds the first dump that cannot be read. Its lines are counted from the
  // start of the text.
  void AddBroken() {
    if (broken_) return;
    const std::string_view block = input_.substr(begin_, end_ - begin_);
    std::string plain;
    if (!Unlog(block, &plain)) plain = block;
    // Of the problems, only those of sure dumps come with a layout.
    const auto is_broken = [](const Form& form) {
      return !form.problem.empty() && !form.layout.empty();
    };
    const std::vector<Form> alone = FormsOf(plain, input_.size());
    if (std::none_of(alone.begin(), alone.end(), is_broken)) return;
    const size_t before =
        std::count(input_.begin(), input_.begin() + begin_, '\n');
    plain.insert(0, before, '\n');
    for (Form& form : FormsOf(plain, input_.size() + plain.size())) {
      if (!is_broken(form)) continue;
      form.embedded_at = begin_;
      form.embedded_size = end_ - begin_;
      forms_.push_back(std::move(form));
      broken_ = true;
      break;
    }
  }

  std::string_view input_;
  std::vector<Form>& forms_;
  LogLine first_;
  size_t begin_ = 0;
  size_t end_ = 0;
  size_t lines_ = 0;
  bool dump_ = false;    // whether the first line is one of a dump
  bool broken_ = false;  // whether a dump that cannot be read was added
};

}  // namespace

std::vector<Form> FormsInside(std::string_view input) {
  if (input.size() > kMostText || !IsText(input)) return {};
  std::vector<Form> forms;
  Blocks(input, &forms).Add();
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
