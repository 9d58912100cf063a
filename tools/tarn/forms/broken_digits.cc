// Finds the letter or the group that makes digits unreadable.
#include "broken_digits.h"

#include <algorithm>

#include "forms.h"
#include "json_check.h"

namespace tarn::tool {
namespace {

constexpr std::string_view kDigits = "0123456789abcdefABCDEF";

bool TouchesDigit(std::string_view text, size_t at) {
  const auto is_digit = [](std::string_view c) {
    return c.find_first_of(kDigits) != c.npos;
  };
  return (at > 0 && is_digit(text.substr(at - 1, 1))) ||
         is_digit(text.substr(at + 1, 1));
}

// The only character that is no digit among so many digits that they are no
// base64; npos: there is none or another one.
size_t FindWrongDigit(std::string_view text) {
  constexpr size_t kLeast = 15;
  size_t digits = 0, wrong = text.npos;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (kDigits.find(c) != kDigits.npos) {
      ++digits;
    } else if (!IsSpace(c) && c != ',' && c != ':') {
      const char small = c | 0x20;
      if (wrong != text.npos || small < 'a' || small > 'z') return text.npos;
      wrong = i;
    }
  }
  if (wrong == text.npos || !TouchesDigit(text, wrong)) return text.npos;
  std::string bytes;  // 0x is no slip
  return digits >= kLeast && text.find_first_of("0123456789") != text.npos &&
                 !FromHexDigits(text, &bytes)
             ? wrong
             : text.npos;
}

}  // namespace

std::string OddDigits(std::string_view text) {
  constexpr size_t kLeast = 7;
  size_t count = 0, groups = 0, odd = 0, line = 1, group = 0;
  std::string place;
  for (size_t at = 0; at < text.size();) {
    const size_t end =
        std::min(text.find_first_not_of(kDigits, at), text.size());
    const size_t size = end - at;
    if (size == 0) {
      if (!IsSpace(text[at]) && text[at] != ':') return "";
      if (text[at++] != '\n') continue;
      group = 0;
      ++line;
      continue;
    }
    ++groups;
    ++group;
    count += size;
    if (size % 2 != 0 && ++odd == 1) {
      place = ", in group " + std::to_string(group) + " of line " +
              std::to_string(line);
    }
    at = end;
  }
  if (odd != 1 || groups == 2 || count < kLeast ||
      text.find_first_of("0123456789") == text.npos) {
    return "";
  }
  return std::to_string(count) +
         " hexadecimal digits, which are not whole bytes: one is missing or "
         "too many" +
         (groups > 1 ? place : "");
}

std::string WrongDigit(std::string_view text, std::string_view digits) {
  const size_t wrong = FindWrongDigit(digits);
  if (wrong == digits.npos) return "";
  return "hexadecimal digits with one character among them that is none: " +
         LineAndColumn(text, digits.data() - text.data() + wrong);
}

bool LooksScanned(std::string_view text) {
  std::string digits(text);
  for (char& c : digits) {
    if (c == 'O' || c == 'o') c = '0';
    if (c == 'l' || c == 'I') c = '1';
  }
  return digits != text && ArePairs(digits);
}

}  // namespace tarn::tool
