// Standard output: buffered, and careful about what a terminal gets to see.
#ifndef TOOLS_TARN_OUTPUT_H_
#define TOOLS_TARN_OUTPUT_H_

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace tarn::tool {

enum class Color { kNone, kRed, kGreen, kYellow, kBlue, kCyan, kDim, kBold };

class Output {
 public:
  // A terminal gets colours unless the environment has NO_COLOR; `color` is
  // auto, always or never.
  explicit Output(const std::string& color = "auto");
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  bool terminal() const { return terminal_; }
  bool color() const { return color_; }

  // At least `size` bytes of room; Advance() tells how many were written.
  char* Reserve(size_t size) {
    if (static_cast<size_t>(limit_ - end_) < size) MakeRoom(size);
    return end_;
  }
  void Advance(char* end) { end_ = end; }

  void Write(std::string_view text) {
    char* p = Reserve(text.size());
    end_ = p + text.copy(p, text.size());
  }
  void Write(char c) {
    char* p = Reserve(1);
    *p = c;
    end_ = p + 1;
  }
  template <typename Integer>
  void Number(Integer value) {
    char* p = Reserve(24);
    end_ = std::to_chars(p, p + 24, value).ptr;
  }
  // The shortest digits that give the same float, also to those who read them
  // as a double first.
  void Float(float value);
  void Spaces(size_t count) {
    char* p = Reserve(count);
    std::memset(p, ' ', count);
    end_ = p + count;
  }

  // Switches the colour where there is colour; kNone is back to normal.
  void Paint(Color color);
  // The text in a colour, and back to normal.
  void Painted(Color color, std::string_view text);

  // Untrusted text without quotes, as Escaped() has it.
  void Untrusted(std::string_view text);
  // Text in quotes as a JSON string; `text` must be UTF-8. Escapes what the
  // runtime's JSON does: controls, invisible and direction characters, < and >.
  void JsonString(std::string_view text);
  // The same without the quotes, for text that comes in pieces.
  void JsonText(std::string_view text);
  // Text in quotes as the text format has it. UTF-8 stays readable, all else
  // and what JsonString escapes becomes octal.
  void TextString(std::string_view text);
  void Base64(std::string_view bytes);
  void Hex(std::string_view bytes);

  // Refuses, by a Failure, to put raw bytes on a terminal.
  void ExpectRawBytes() const;

  // Where nobody reads any more, what is written is dropped without a word.
  void Flush();

 private:
  void MakeRoom(size_t size);

  std::unique_ptr<char[]> buffer_;
  size_t capacity_;
  char* end_;
  char* limit_;
  bool terminal_;
  bool color_;
};

// Whether a write has found that nobody reads standard output any more.
bool ReaderHasGone();

// Untrusted text for people, on a terminal or not: characters of the general
// categories Cc, Cf, Zl, Zp and Cs, and bytes that are not UTF-8, become \x1b.
// Each character of `marked` gets a backslash in front; with the backslash
// among them, no two texts look alike. Of what takes more than `columns` only
// the beginning is there, with a mark that no escape looks like.
std::string Escaped(std::string_view text, std::string_view marked = "\\",
                    size_t columns = std::string_view::npos);
// The same in quotes, which are escaped inside.
std::string InQuotes(std::string_view text,
                     size_t columns = std::string_view::npos);

// Columns of a name that stands in a table, or is said again and again; and
// such a name, escaped.
inline constexpr size_t kNameColumns = 64;
std::string Clipped(std::string_view name);

// Characters of a text, for the columns of a table.
size_t Width(std::string_view utf8);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_OUTPUT_H_
