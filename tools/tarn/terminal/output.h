// Standard output or a file: buffered, with escapes that protect the terminal.
#ifndef TOOLS_TARN_OUTPUT_H_
#define TOOLS_TARN_OUTPUT_H_

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "characters.h"
#include "screen.h"

namespace tarn::tool {

enum class Color { kNone, kRed, kGreen, kYellow, kBlue, kCyan, kDim, kBold };

class Output {
 public:
  // `color` is auto, always or never; auto uses colours on a terminal unless
  // NO_COLOR is set.
  explicit Output(const std::string& color = "auto");
  // Writes to a file in a folder instead, which is made if it is missing. The
  // file gets its name by Finish(); without that, none of it stays.
  static std::unique_ptr<Output> InFolder(const std::string& folder,
                                          const std::string& name);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  bool terminal() const { return screen_ != nullptr; }
  bool color() const { return color_; }
  // Of a line on the terminal; npos if there is no limit.
  size_t columns() const;
  // For sentences after `indent` columns, in lines of at most `most`: as many
  // as the terminal has, but enough for words.
  size_t TextColumns(size_t most, size_t indent) const;
  // Whether lines that are longer than the terminal is wide are cut off.
  void ClipLines(bool clip);
  // Breaks them between words instead; what follows is after `indent` blanks.
  // npos: no longer.
  void WrapLines(size_t indent);
  // The indent of a line that goes on.
  static constexpr size_t kHanging = 2;

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
  // The shortest digits that give the same float, also to a program that reads
  // them as a double first.
  void Float(float value);
  void Spaces(size_t count) {
    char* p = Reserve(count);
    std::memset(p, ' ', count);
    end_ = p + count;
  }
  // From one column to another; nothing if that is passed already.
  void SpacesUpTo(size_t from, size_t to) { Spaces(from < to ? to - from : 0); }

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
  // Text in quotes as in the text format. UTF-8 stays readable; other bytes,
  // and the characters that JsonString escapes, become octal.
  void TextString(std::string_view text);
  void Base64(std::string_view bytes);
  void Hex(std::string_view bytes);

  // Throws a Failure if standard output is a terminal: raw bytes do not go
  // there.
  void ExpectRawBytes() const;

  // If nobody reads standard output any more, drops what is written silently.
  // What is not flushed is lost.
  void Flush();
  // The same; a file is then whole, and nothing can be written any more.
  void Finish();
  // Only this tells whether all that was written to standard output has
  // arrived.
  static void CloseStandardOutput();

 private:
  Output(int fd, const std::string& name, bool file);
  void MakeRoom(size_t size);
  void Drain(bool all);
  void WriteOut(std::string_view bytes) const;

  int fd_;           // -1: closed
  const bool file_;  // not standard output, whatever the number is
  const std::string name_;
  std::unique_ptr<char[]> buffer_;
  size_t capacity_;
  char* end_;
  char* limit_;
  const std::unique_ptr<Screen> screen_;  // null: no terminal
  const bool ascii_;  // whether the terminal shows nothing else
  bool color_;
};

// Writes all of the bytes to a file. False: errno says why not.
bool WriteAll(int fd, std::string_view bytes);

// Whether a write has failed because nobody reads standard output any more.
bool ReaderHasGone();

// Untrusted text for people, on a terminal or not: characters of the general
// categories Cc, Cf, Zl, Zp and Cs, and bytes that are not UTF-8, become \x1b.
// Each character of `marked` gets a backslash before it. If the backslash is
// one of them, different texts never look the same. A text that takes more than
// `columns` is cut off, with a mark that differs from every escape.
std::string Escaped(std::string_view text, std::string_view marked = "\\",
                    size_t columns = std::string_view::npos);
// The same in quotes, which are escaped inside.
std::string InQuotes(std::string_view text,
                     size_t columns = std::string_view::npos);

// Most columns of a name in a table or in repeated lines; and such a name,
// escaped and cut off.
inline constexpr size_t kNameColumns = 64;
std::string Clipped(std::string_view name);

// What is left of `columns` for a name beside others that take `used`. There is
// always room for the beginning of a name; npos is left of npos.
size_t RoomAfter(size_t columns, size_t used);

// "record 3: ", with which the lines about a message of a stream begin; empty
// for 0, the only message.
std::string RecordStart(uint64_t number);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_OUTPUT_H_
