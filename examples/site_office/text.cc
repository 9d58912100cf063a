// Makes text from other programs safe for a terminal.
#include "text.h"

#include <uchar.h>
#include <wchar.h>

#include <clocale>
#include <cstdio>

namespace site_office {
namespace {

// The first character of a text: its bytes and its code. The code is -1 if the
// first byte does not begin a character.
struct Character {
  std::string_view bytes;
  int32_t code;
};

Character TakeCharacter(std::string_view* text) {
  mbstate_t state = {};
  char32_t wide = 0;
  size_t length = mbrtoc32(&wide, text->data(), text->size(), &state);
  int32_t code = static_cast<int32_t>(wide);
  if (length == 0) length = 1;  // The character NUL.
  if (length > text->size()) {
    length = 1;
    code = -1;
  }
  const Character character = {text->substr(0, length), code};
  text->remove_prefix(length);
  return character;
}

bool ControlsTerminal(int32_t code) {
  return code < 0x20 || (code >= 0x7f && code <= 0x9f) || code == 0x61c ||
         (code >= 0x200b && code <= 0x200f) ||
         (code >= 0x2028 && code <= 0x202e) ||
         (code >= 0x2060 && code <= 0x206f) || code == 0xfeff;
}

}  // namespace

std::string Escape(std::string_view text) {
  std::string escaped;
  while (!text.empty()) {
    const Character character = TakeCharacter(&text);
    char code[24] = "";
    if (character.code < 0) {
      std::snprintf(code, sizeof code, "\\x%02x",
                    static_cast<unsigned char>(character.bytes[0]));
    } else if (ControlsTerminal(character.code)) {
      std::snprintf(code, sizeof code, "\\u{%lx}",
                    static_cast<unsigned long>(character.code));
    }
    escaped += code[0] == '\0' ? std::string(character.bytes) : code;
  }
  return escaped;
}

size_t Columns(std::string_view text) {
  size_t columns = 0;
  while (!text.empty()) {
    const int width = wcwidth(static_cast<wchar_t>(TakeCharacter(&text).code));
    columns += width < 0 ? 1 : static_cast<size_t>(width);
  }
  return columns;
}

std::string Clip(std::string_view text, size_t columns) {
  if (Columns(text) <= columns) return std::string(text);
  std::string clipped;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string_view next = TakeCharacter(&rest).bytes;
    if (Columns(clipped) + Columns(next) + 1 > columns) break;
    clipped += next;
  }
  return clipped + "…";
}

std::string Paint(std::string text, Tone tone, bool colour) {
  if (!colour || tone == Tone::kPlain || text.empty()) return text;
  const char* code = tone == Tone::kFaint     ? "\033[2m"
                     : tone == Tone::kGood    ? "\033[32m"
                     : tone == Tone::kWaiting ? "\033[33m"
                                              : "\033[1;31m";
  return code + text + "\033[0m";
}

void UseUtf8() { std::setlocale(LC_CTYPE, "C.UTF-8"); }

}  // namespace site_office
