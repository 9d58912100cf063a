// Tells hexadecimal digits with a slip in them from other text.
#ifndef TOOLS_TARN_BROKEN_DIGITS_H_
#define TOOLS_TARN_BROKEN_DIGITS_H_

#include <string>
#include <string_view>

namespace tarn::tool {

// Says that a digit of hexadecimal digits is missing or too many, in one row or
// in one of several groups; empty if that is not so.
std::string OddDigits(std::string_view text);

// Says that one character among many hexadecimal digits is none; empty if that
// is not so. `text`: where the digits stand, for the place of the character.
std::string WrongDigit(std::string_view text, std::string_view digits);

// Whether digits are in pairs but for letters that look like 0 and 1, as a scan
// has them.
bool LooksScanned(std::string_view text);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_BROKEN_DIGITS_H_
