// Text of others, made fit for a terminal.
#ifndef SITE_OFFICE_TEXT_H_
#define SITE_OFFICE_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace site_office {

enum class Tone { kPlain, kFaint, kGood, kWaiting, kBad };

// Replaces what a terminal would obey instead of show (control characters,
// marks that change the direction of text) by its code, such as \u{1b}, and
// bytes that are not UTF-8 by \x and their value.
std::string Escape(std::string_view text);

// The columns that escaped text takes on a terminal.
size_t Columns(std::string_view text);

// Shortens escaped text to `columns`, with … at the end of what is cut.
std::string Clip(std::string_view text, size_t columns);

// Gives text a colour, or leaves it alone where `colour` is false.
std::string Paint(std::string text, Tone tone, bool colour);

// Lets the functions above know characters beyond ASCII. Call it once.
void UseUtf8();

}  // namespace site_office

#endif  // SITE_OFFICE_TEXT_H_
