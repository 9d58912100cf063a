// Turns the notation into bytes in three steps: words, repetition, bytes. What
// is still open is kept in a list, so that no nesting exhausts the stack.
#include "notation.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>
#include <regex>
#include <string_view>
#include <utility>

#include "reference/wire.h"

namespace notation {
namespace {

constexpr int kMaxRepeat = 1000;
constexpr size_t kMaxWords = 100000;

struct Word {
  int line;
  std::string text;  // as it is written; of quoted ones, the bytes
  bool quoted;
};

int DigitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Splits one line into words.
class LineReader {
 public:
  explicit LineReader(const Line& line) : line_(line) {}

  void AddWords(std::vector<Word>* words) {
    while (SkipSpace()) {
      const char c = text()[at_];
      if (c == '"') {
        words->push_back({line_.number, Quoted(), true});
      } else if (c == '`') {
        words->push_back({line_.number, Digits(), true});
      } else if (c == '{' || c == '}' || c == ']') {
        words->push_back({line_.number, text().substr(at_++, 1), false});
      } else {
        words->push_back({line_.number, Bare(), false});
      }
    }
  }

 private:
  const std::string& text() const { return line_.text; }

  [[noreturn]] void Fail(const std::string& reason) const {
    throw Error(line_.number, reason);
  }

  bool SkipSpace() {
    at_ = text().find_first_not_of(" \t", at_);
    return at_ != std::string::npos && text()[at_] != '#';
  }

  // Ends after an opening bracket, and before anything else that is no part
  // of a number, a field or a name.
  std::string Bare() {
    const size_t begin = at_;
    at_ = text().find_first_of(" \t\"`{}[]#", begin);
    if (at_ == std::string::npos) at_ = text().size();
    const bool opens =
        at_ < text().size() &&
        (text()[at_] == '[' || (text()[at_] == '{' && text()[at_ - 1] == '!'));
    if (opens) ++at_;
    return text().substr(begin, at_ - begin);
  }

  std::string Quoted() {
    static const std::map<char, char> kEscapes = {
        {'n', '\n'}, {'r', '\r'}, {'t', '\t'}, {'"', '"'}, {'\\', '\\'}};
    std::string bytes;
    for (++at_; at_ < text().size(); ++at_) {
      const char c = text()[at_];
      if (c == '"') return ++at_, bytes;
      if (c != '\\') {
        bytes.push_back(c);
        continue;
      }
      const char escape = ++at_ < text().size() ? text()[at_] : '\0';
      const auto found = kEscapes.find(escape);
      if (found != kEscapes.end()) {
        bytes.push_back(found->second);
      } else if (escape == 'x' && at_ + 2 < text().size() &&
                 DigitOf(text()[at_ + 1]) >= 0 &&
                 DigitOf(text()[at_ + 2]) >= 0) {
        bytes += wire::Hex(text().substr(at_ + 1, 2));
        at_ += 2;
      } else {
        Fail("an escape is one of \\n \\r \\t \\\" \\\\ \\x41");
      }
    }
    Fail("a text without its closing quote");
  }

  std::string Digits() {
    const size_t begin = ++at_;
    const size_t end = text().find('`', begin);
    if (end == std::string::npos) Fail("bytes without their closing `");
    at_ = end + 1;
    const std::string inside = text().substr(begin, end - begin);
    size_t digits = 0;
    for (char c : inside) {
      if (c != ' ' && DigitOf(c) < 0) Fail("between ` ` stand hex digits only");
      digits += c != ' ';
      if (c == ' ' && digits % 2 != 0) Fail("a byte has two hex digits");
    }
    if (digits % 2 != 0) Fail("a byte has two hex digits");
    return wire::Hex(inside);
  }

  const Line& line_;
  size_t at_ = 0;
};

// Writes out what stands in 3*[ ... ].
std::vector<Word> Repeated(const std::vector<Word>& words) {
  static const std::regex kRepeat("([0-9]{1,4})\\*\\[");
  std::vector<Word> result;
  for (size_t i = 0; i < words.size(); ++i) {
    std::smatch match;
    const Word& word = words[i];
    if (word.quoted || !std::regex_match(word.text, match, kRepeat)) {
      result.push_back(word);
      continue;
    }
    const int count = std::stoi(match[1]);
    if (count > kMaxRepeat) {
      throw Error(word.line, "repeats more than 1000 times");
    }
    size_t end = i + 1;
    while (end < words.size() && (words[end].quoted || words[end].text != "]"))
      ++end;
    if (end == words.size()) throw Error(word.line, "a [ without its ]");
    if ((end - i) * count + result.size() > kMaxWords) {
      throw Error(word.line, "repeats too much");
    }
    for (int n = 0; n < count; ++n) {
      result.insert(result.end(), words.begin() + i + 1, words.begin() + end);
    }
    i = end;
  }
  return result;
}

// The bits of a number, and what may follow it: nothing, i32 or i64.
struct Number {
  uint64_t bits;
  wire::Type type;
};

std::optional<uint64_t> Integer(const std::string& digits, bool negative) {
  const bool hex = digits.rfind("0x", 0) == 0;
  uint64_t value = 0;
  for (char c : digits.substr(hex ? 2 : 0)) {
    const uint64_t base = hex ? 16 : 10;
    const auto digit = static_cast<uint64_t>(DigitOf(c));
    if (value > (UINT64_MAX - digit) / base) return std::nullopt;
    value = value * base + digit;
  }
  if (!negative) return value;
  if (value > uint64_t{1} << 63) return std::nullopt;
  return 0 - value;
}

std::optional<Number> NumberOf(const Word& word) {
  static const std::regex kInteger(
      "(-?)([0-9]{1,20}|0x[0-9A-Fa-f]{1,16})(i32|i64)?");
  static const std::regex kFloat("(-?[0-9]{1,20}\\.[0-9]{1,20})i32");
  std::smatch match;
  if (word.quoted) return std::nullopt;
  if (std::regex_match(word.text, match, kFloat)) {
    const float value = std::stof(match[1]);
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return Number{bits, wire::kFixed32};
  }
  if (!std::regex_match(word.text, match, kInteger)) return std::nullopt;
  const bool negative = match[1].length() != 0;
  const auto value = Integer(match[2], negative);
  if (!value) throw Error(word.line, word.text + " takes more than 64 bits");
  if (match[3] == "i64") return Number{*value, wire::kFixed64};
  if (match[3] != "i32") return Number{*value, wire::kVarint};
  const bool fits =
      negative ? *value >= 0 - (uint64_t{1} << 31) : *value <= UINT32_MAX;
  if (!fits) throw Error(word.line, word.text + " takes more than 32 bits");
  return Number{*value & UINT32_MAX, wire::kFixed32};
}

// Writes the bytes of words, one after another.
class ByteWriter {
 public:
  ByteWriter() : open_(1) {}

  void Add(const Word& word) {
    line_ = word.line;
    if (word.quoted) {
      NoFieldBefore(word);
      out().Raw(word.text);
    } else if (word.text == "{") {
      PutKeyBefore(wire::kLength);
      open_.push_back({{}, line_, {}, std::exchange(extra_, 0)});
    } else if (word.text == "!{") {
      if (!field_) throw Error(line_, "a group needs a field: 5: !{}");
      const int number = field_->number;
      PutKeyBefore(wire::kStart);
      open_.push_back({{}, line_, number, 0});
    } else if (word.text == "}") {
      NoFieldBefore(word);
      Close();
    } else if (const auto number = NumberOf(word)) {
      Put(*number);
    } else {
      AddFieldOrForm(word);
    }
  }

  std::string Finish() {
    if (open_.size() > 1) throw Error(open_.back().line, "a { without its }");
    NoFieldBefore({line_, "the end", false});
    return open_.back().content.bytes();
  }

 private:
  struct Open {
    wire::Writer content;
    int line = 0;
    std::optional<int> group = {};  // its number; a record otherwise
    int extra = 0;                  // bytes by which the length is stretched
  };

  struct Field {
    int number;
    int extra;  // bytes by which the key is stretched
  };

  wire::Writer& out() { return open_.back().content; }

  void NoFieldBefore(const Word& word) const {
    const std::string what = word.quoted        ? "text or bytes"
                             : word.text == "}" ? "a }"
                                                : "the end";
    if (field_) {
      throw Error(word.line, "field " + std::to_string(field_->number) +
                                 " before " + what +
                                 " has no number and no { }");
    }
    if (extra_ != 0) throw Error(word.line, "long-form before " + what);
  }

  void PutVarint(uint64_t value) {
    const int extra = std::exchange(extra_, 0);
    const auto size =
        static_cast<int>(wire::Writer().Varint(value).bytes().size());
    if (size + extra > 10) throw Error(line_, "a varint of more than 10 bytes");
    out().Overlong(value, size + extra);
  }

  // The key of the field whose value comes next, if there is one.
  void PutKeyBefore(wire::Type type) {
    if (!field_) return;
    const int extra = std::exchange(extra_, field_->extra);
    PutVarint(static_cast<uint64_t>(field_->number) << 3 | type);
    extra_ = extra;
    field_.reset();
  }

  void Put(const Number& number) {
    PutKeyBefore(number.type);
    if (number.type == wire::kVarint) return PutVarint(number.bits);
    if (extra_ != 0) throw Error(line_, "long-form before a fixed number");
    for (int i = 0; i < (number.type == wire::kFixed32 ? 4 : 8); ++i) {
      out().Raw(std::string(1, static_cast<char>(number.bits >> 8 * i)));
    }
  }

  void Close() {
    if (open_.size() == 1) throw Error(line_, "a } without its {");
    const Open closed = std::move(open_.back());
    open_.pop_back();
    if (closed.group) {
      out().Raw(closed.content.bytes()).Tag(*closed.group, wire::kEnd);
      return;
    }
    extra_ = closed.extra;
    PutVarint(closed.content.bytes().size());
    out().Raw(closed.content.bytes());
  }

  // 5: as well as 5:LEN and long-form:2.
  void AddFieldOrForm(const Word& word) {
    static const std::map<std::string, wire::Type> kTypes = {
        {"VARINT", wire::kVarint}, {"I64", wire::kFixed64},
        {"LEN", wire::kLength},    {"SGROUP", wire::kStart},
        {"EGROUP", wire::kEnd},    {"I32", wire::kFixed32}};
    static const std::regex kField("([0-9]{1,9}):([A-Z0-9]*)");
    static const std::regex kForm("long-form:([1-9])");
    std::smatch match;
    if (std::regex_match(word.text, match, kForm)) {
      extra_ = std::stoi(match[1]);
      return;
    }
    if (!std::regex_match(word.text, match, kField)) {
      throw Error(line_, "not a word of the notation: " + word.text);
    }
    const int number = std::stoi(match[1]);
    if (number >= 1 << 29) throw Error(line_, "a field number above 2^29 - 1");
    if (field_) {
      throw Error(line_,
                  "field " + std::to_string(field_->number) + " has no value");
    }
    if (match[2].length() == 0) {
      field_ = Field{number, std::exchange(extra_, 0)};
    } else if (const auto type = kTypes.find(match[2]); type != kTypes.end()) {
      PutVarint(static_cast<uint64_t>(number) << 3 | type->second);
    } else {
      throw Error(line_, "not a wire type: " + match[2].str());
    }
  }

  std::vector<Open> open_;
  std::optional<Field> field_;  // whose value comes next
  int extra_ = 0;               // of long-form, for what comes next
  int line_ = 0;
};

}  // namespace

std::string ToBytes(const std::vector<Line>& lines) {
  std::vector<Word> words;
  for (const Line& line : lines) LineReader(line).AddWords(&words);
  ByteWriter writer;
  for (const Word& word : Repeated(words)) writer.Add(word);
  return writer.Finish();
}

}  // namespace notation
