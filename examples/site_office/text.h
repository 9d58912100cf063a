// Makes text from other programs safe for a terminal.
#ifndef SITE_OFFICE_TEXT_H_
#define SITE_OFFICE_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace site_office {

enum class Tone { kPlain, kFaint, kGood, kWaiting, kBad };

// Replaces each character that would control the terminal (control characters,
// marks that change the direction of text) by its code, such as \u{1b}, and
// each byte that is not UTF-8 by \x and its value.
std::string Escape(std::string_view text);

// The columns that escaped text takes on a terminal.
size_t Columns(std::string_view text);

// Shortens escaped text to `columns`, with … at the end of what is cut.
std::string Clip(std::string_view text, size_t columns);

// Gives text a colour; returns it unchanged if `colour` is false.
std::string Paint(std::string text, Tone tone, bool colour);

// Makes the functions above work for characters beyond ASCII. Call it once.
void UseUtf8();

}  // namespace site_office

#endif  // SITE_OFFICE_TEXT_H_
