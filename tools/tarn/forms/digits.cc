// Digits, numbers and strings turned into bytes.
#include <algorithm>
#include <charconv>
#include <cstdint>

#include "forms.h"

namespace tarn::tool {
namespace {

// Why a text is not made of digits.
std::string NotDigits(std::string_view text, std::string_view digits,
                      const std::string& form) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (digits.find(text[i]) != digits.npos || IsSpace(text[i])) continue;
    return "byte " + std::to_string(i) + ": not a " + form + " digit";
  }
  return "the number of " + form + " digits does not make whole bytes";
}

bool IsHexDigit(char c) {
  return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f');
}

int HexValue(char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; }

// Appends one number of an array, from -128 (a byte in Java) to 255.
bool AppendNumber(std::string_view token, std::string* bytes) {
  const bool negative = token.substr(0, 1) == "-";
  if (negative) token.remove_prefix(1);
  const bool hex = token.substr(0, 2) == "0x" || token.substr(0, 2) == "0X";
  if (hex) token.remove_prefix(2);
  int value = 0;
  const char* end = token.data() + token.size();
  const auto result = std::from_chars(token.data(), end, value, hex ? 16 : 10);
  if (result.ec != std::errc() || result.ptr != end || value < 0 ||
      value > (negative ? 128 : 255)) {
    return false;
  }
  bytes->push_back(static_cast<char>(negative ? -value : value));
  return true;
}

// Whether the bracket at `open` begins an array of bytes, with little else
// around it. Members of a message in the text format or in JSON do not count,
// nor does what strings hold.
bool IsArray(std::string_view text, size_t open, std::string* bytes) {
  bytes->clear();
  const std::string_view head = text.substr(0, open);
  if (head.find_first_of("\"'") != head.npos ||
      (head.find(':') != head.npos && head.find('=') == head.npos)) {
    return false;
  }
  const size_t close = text.find(text[open] == '{' ? '}' : ']', open);
  if (close == text.npos) return false;
  std::string_view inside = text.substr(open + 1, close - open - 1);
  size_t commas = 0;
  while (!Trim(inside).empty()) {
    const size_t comma = inside.find(',');
    if (!AppendNumber(Trim(inside.substr(0, comma)), bytes)) return false;
    if (comma == inside.npos) break;
    ++commas;
    inside.remove_prefix(comma + 1);
  }
  std::string_view tail = text.substr(close + 1);
  const size_t word = tail.find_first_not_of(" \t\r\n);");
  tail.remove_prefix(std::min(word, tail.size()));
  // xxd -i writes the number of bytes after the array.
  constexpr std::string_view kLength = "_len = ";
  if (const size_t length = tail.find(kLength); length != tail.npos) {
    uint64_t count = 0;
    std::from_chars(tail.data() + length + kLength.size(),
                    tail.data() + tail.size(), count);
    if (count != bytes->size()) return false;
    tail = {};
  }
  return tail.empty() && (commas > 0 || (!bytes->empty() && open > 0));
}

// Takes one character or escape from a string and appends its bytes.
bool TakeEscaped(std::string_view* text, std::string* bytes) {
  constexpr std::string_view kLetters = "abefnrtv\\\"'?";
  constexpr std::string_view kMeanings = "\a\b\x1B\f\n\r\t\v\\\"'?";
  std::string_view& rest = *text;
  const char c = rest.front();
  rest.remove_prefix(1);
  if (c != '\\') {
    bytes->push_back(c);
    return true;
  }
  if (rest.empty()) return false;
  const char kind = rest.front();
  if (kind == 'x') {
    if (rest.size() < 3 || !IsHexDigit(rest[1]) || !IsHexDigit(rest[2])) {
      return false;
    }
    bytes->push_back(
        static_cast<char>(HexValue(rest[1]) << 4 | HexValue(rest[2])));
    rest.remove_prefix(3);
    return true;
  }
  if (kind >= '0' && kind <= '7') {
    int value = 0;
    for (int i = 0; i < 3 && !rest.empty() && rest[0] >= '0' && rest[0] <= '7';
         ++i) {
      value = value << 3 | (rest[0] - '0');
      rest.remove_prefix(1);
    }
    bytes->push_back(static_cast<char>(value));
    return value < 256;
  }
  const size_t letter = kLetters.find(kind);
  if (letter == kLetters.npos) return false;
  bytes->push_back(kMeanings[letter]);
  rest.remove_prefix(1);
  return true;
}

}  // namespace

bool FromHexDigits(std::string_view text, std::string* bytes) {
  int half = -1;
  const bool dashes = text.size() > 2 && text[2] == '-';  // else of a uuid
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (IsSpace(c) || c == ',' || c == ':' || (c == '-' && dashes)) {
      if (half >= 0) return false;
    } else if (c == '0' && i + 1 < text.size() && (text[i + 1] | 0x20) == 'x' &&
               half < 0) {
      ++i;
    } else if (!IsHexDigit(c)) {
      return false;
    } else if (half < 0) {
      half = HexValue(c);
    } else {
      bytes->push_back(static_cast<char>(half << 4 | HexValue(c)));
      half = -1;
    }
  }
  return half < 0;
}

bool IsHexPair(std::string_view token) {
  if (token.size() == 4 && token[0] == '0' && (token[1] | 0x20) == 'x') {
    token.remove_prefix(2);
  }
  return token.size() == 2 && IsHexDigit(token[0]) && IsHexDigit(token[1]);
}

bool ArePairs(std::string_view digits) {
  size_t pairs = 0;
  while (!digits.empty()) {
    const size_t size =
        std::min(digits.find_first_of(" \t\r\n,:-"), digits.size());
    const std::string_view group = digits.substr(0, size);
    if (size != 0 && !IsHexPair(group)) return false;
    pairs += size != 0;
    digits.remove_prefix(std::min(size + 1, digits.size()));
  }
  return pairs > 1;
}

bool FromBase64(std::string_view text, std::string* bytes) {
  bytes->clear();
  uint32_t bits = 0;
  int digits = 0;
  int padding = 0;
  for (const char c : text) {
    if (IsSpace(c)) continue;
    int value = -1;
    if (c >= 'A' && c <= 'Z') value = c - 'A';
    if (c >= 'a' && c <= 'z') value = c - 'a' + 26;
    if (c >= '0' && c <= '9') value = c - '0' + 52;
    if (c == '+' || c == '-') value = 62;
    if (c == '/' || c == '_') value = 63;
    if (c == '=') {
      ++padding;
      continue;
    }
    if (value < 0 || padding > 0) return false;
    bits = bits << 6 | value;
    digits = (digits + 1) % 4;
    if (digits == 0) {
      for (int shift = 16; shift >= 0; shift -= 8) {
        bytes->push_back(static_cast<char>(bits >> shift));
      }
      bits = 0;
    }
  }
  if (digits == 1 || (padding > 0 && padding != (4 - digits) % 4)) return false;
  for (int i = 0; i + 1 < digits; ++i) {
    bytes->push_back(
        static_cast<char>(bits << (24 - 6 * digits) >> (16 - 8 * i)));
  }
  return !bytes->empty();
}

// In base64, capitals, small letters and digits change often.
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

bool FromArray(std::string_view text, std::string* bytes) {
  // "new byte[] {" has brackets before those of the array.
  constexpr int kMostBrackets = 4;
  size_t open = text.find_first_of("{[");
  for (int i = 0; i < kMostBrackets && open != text.npos; ++i) {
    if (IsArray(text, open, bytes)) return true;
    open = text.find_first_of("{[", open + 1);
  }
  return false;
}

bool FromNumbers(std::string_view text, std::string* bytes) {
  constexpr size_t kLeast = 4;
  bytes->clear();
  text = Trim(text);
  bool pairs = true;
  if (text.size() > 2 && text.front() == '[' && text.back() == ']') {
    text = Trim(text.substr(1, text.size() - 2));
    pairs = false;
  }
  while (!text.empty()) {
    const size_t size = std::min(text.find_first_of(" \t\r\n"), text.size());
    const std::string_view number = text.substr(0, size);
    if (number.find_first_not_of("0123456789") != number.npos ||
        (size > 1 && number.front() == '0') || size > 3 ||
        !AppendNumber(number, bytes)) {
      return false;
    }
    pairs = pairs && size == 2;
    text = Trim(text.substr(size));
  }
  return bytes->size() >= kLeast && !pairs;
}

bool FromEscapes(std::string_view text, std::string* bytes) {
  bytes->clear();
  text = Trim(text);
  if (text.find('\\') == text.npos) return false;
  // Before the quotes may stand b (Python), $ (shells) or "char data[] =" (C).
  const size_t quote = text.find_first_of("\"'");
  if (text.front() == '\\') {
    while (!text.empty()) {
      if (!TakeEscaped(&text, bytes)) return false;
    }
    return true;
  }
  if (quote == text.npos) return false;
  const std::string_view head = Trim(text.substr(0, quote));
  if (head.size() > 2 && head.back() != '=' && head.back() != '(') return false;
  // Strings that follow one another are joined.
  text.remove_prefix(quote);
  while (!text.empty()) {
    const char mark = text.front();
    if (mark != '"' && mark != '\'') {
      return text == ";" || text == ")" || text == ");";
    }
    text.remove_prefix(1);
    while (!text.empty() && text.front() != mark) {
      if (!TakeEscaped(&text, bytes)) return false;
    }
    if (text.empty()) return false;
    text.remove_prefix(1);
    text = Trim(text);
  }
  return true;
}

std::string WhyNoForm(const std::string& form, std::string_view input) {
  constexpr std::string_view kBase64 =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/-_=";
  if (form == "hex") {
    return NotDigits(input, "0123456789abcdefABCDEFxX,:", "hexadecimal");
  }
  if (form == "base64") return NotDigits(input, kBase64, "base64");
  if (form == "source") {
    return "no array of numbers, and no strings with escapes";
  }
  return "no dump of " + std::string(form == "words" ? "words in hexadecimal"
                                                     : "octal numbers");
}

}  // namespace tarn::tool
