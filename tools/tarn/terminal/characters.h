// What matters of a character for output: whether it is visible, and how much
// room it takes.
#ifndef TOOLS_TARN_CHARACTERS_H_
#define TOOLS_TARN_CHARACTERS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::tool {

// The character at p and its size in bytes; size 0 where it is not UTF-8.
struct Character {
  uint32_t code;
  int size;
};
Character CharacterAt(const char* p, const char* end);

// Characters that text for people must not hold unescaped: the general
// categories Cc, Cf, Zl and Zp of Unicode 15. They are invisible, end lines, or
// change the direction of the text after them. Surrogates (Cs) are not valid
// UTF-8.
bool Invisible(uint32_t c);

// How many columns a visible character takes on a terminal; 2 for those that
// Unicode calls wide. One that combines with the character before it counts, so
// that a line is never longer than it is taken to be.
int ColumnsOf(uint32_t c);

// Appends a byte as \x1b.
void AppendHexEscape(unsigned char byte, std::string* text);

// The columns of a text, for tables.
size_t Width(std::string_view utf8);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_CHARACTERS_H_
