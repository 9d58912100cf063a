// The forms in which people keep the bytes of a message: recognized by their
// layout, and turned back into bytes. Nothing here reads a file or knows a
// type.
#ifndef TOOLS_TARN_FORMS_H_
#define TOOLS_TARN_FORMS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::tool {

// One way to read an input.
struct Form {
  std::string name;          // as --from names it
  std::string bytes;         // the wire bytes; those of text and json are not
                             // known without a type
  std::string text;          // of text and json: the message as it was written
  std::string digits = {};   // of several lines of digits: as written
  std::string layout = {};   // what is around the digits, for people
  uint64_t skipped = 0;      // bytes before those of a dump, by its offsets
  bool certain = false;      // the layout is unmistakable
  bool cut = false;          // a mark says that the rest is left out
  size_t embedded_at = 0;    // its offset in other text, and how many bytes
  size_t embedded_size = 0;  // of that it takes
  bool joined = false;       // from lines of a log, which can also be messages
                             // of their own
  std::string problem = {};  // why a recognized form cannot be read
  std::string remedy = {};   // a command that makes it readable
};

// All ways to read an input other than as binary, the likeliest first. The list
// is empty if the input is not text. A dump of more than `max_size` bytes is
// left out.
std::vector<Form> FormsOf(std::string_view input, uint64_t max_size);

// Reads an input as the named form: hex, words, octal, source or base64.
// Returns false if the input does not have that form.
bool FromForm(std::string_view name, std::string_view input, uint64_t max_size,
              std::string* bytes);
// Why an input does not have the named form.
std::string WhyNoForm(const std::string& form, std::string_view input);

// The longest text in which messages are looked for.
constexpr size_t kMostText = 1 << 20;
// Digits and numbers inside other text, such as a line of a log, each with its
// place: first those that take several lines, then the pieces of lines.
std::vector<Form> FormsInside(std::string_view input);

// Append to `bytes` what a text stands for: hexadecimal digits, also with
// spaces, commas, colons or 0x between them, and pairs with dashes; base64; an
// array of numbers or strings with escapes, as in the source of a program. They
// return false if the text has another form.
bool FromHexDigits(std::string_view text, std::string* bytes);
// Whether a word is two hexadecimal digits, also after 0x.
bool IsHexPair(std::string_view token);
// Whether a text is several such words.
bool ArePairs(std::string_view digits);
bool FromBase64(std::string_view text, std::string* bytes);
// Whether a word is hardly base64, but a word, a name or words with strokes
// between them.
bool IsProse(std::string_view token);
bool FromArray(std::string_view text, std::string* bytes);
bool FromEscapes(std::string_view text, std::string* bytes);
// Decimal numbers of bytes with blanks between them, also in brackets, as Go
// prints them. Pairs of digits alone are no numbers, but in brackets.
bool FromNumbers(std::string_view text, std::string* bytes);

// Whether the input holds only characters that a person can type, in any
// language.
bool IsText(std::string_view input);
// A text without the mark of the order of bytes that some editors put first.
std::string_view WithoutMark(std::string_view text);
bool IsSpace(char c);
std::string_view Trim(std::string_view text);
// Removes the first line and returns it without its end.
std::string_view TakeLine(std::string_view* text);
// A line without the marks of a quotation in a mail.
std::string_view Unquoted(std::string_view line);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_FORMS_H_
