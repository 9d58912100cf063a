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
  bool certain = false;      // the layout is unmistakable
  size_t embedded_at = 0;    // where it stands in other text
  std::string problem = {};  // why it cannot be read, though recognized
};

// All ways to read an input other than as binary, the likeliest first. None
// where it is no text at all. A dump that stands for more than `max_size`
// bytes is none.
std::vector<Form> FormsOf(std::string_view input, uint64_t max_size);

// Reads an input as the one form of bytes that is named: hex, words, octal,
// source or base64. False when it is not that.
bool FromForm(std::string_view name, std::string_view input, uint64_t max_size,
              std::string* bytes);

// Digits and numbers as somebody cut them out of a line of other text, each
// with its place.
std::vector<Form> FormsInside(std::string_view input);

// What bytes are that no message can be, as "compressed by gzip"; empty where
// nothing is known of them.
std::string_view KnownFormat(std::string_view bytes);

// The wire bytes of hexadecimal digits with spaces, commas, colons or 0x
// between them, added to `bytes`; of base64; of an array of numbers or strings
// with escapes, as in the source of a program. False when the text is not that.
bool FromHexDigits(std::string_view text, std::string* bytes);
bool FromBase64(std::string_view text, std::string* bytes);
bool FromArray(std::string_view text, std::string* bytes);
bool FromEscapes(std::string_view text, std::string* bytes);

// Whether nothing is in it that no keyboard types. It may be in any language.
bool IsText(std::string_view input);
bool IsSpace(char c);
std::string_view Trim(std::string_view text);
// Takes the first line away, without its end.
std::string_view TakeLine(std::string_view* text);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_FORMS_H_
