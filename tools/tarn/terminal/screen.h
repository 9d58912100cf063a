// A terminal at standard output: what fits it, and which characters it has.
#ifndef TOOLS_TARN_SCREEN_H_
#define TOOLS_TARN_SCREEN_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace tarn::tool {

// Whether the locale of the environment has UTF-8.
bool LocaleHasUtf8();

// The text in ASCII: drawing characters become similar ones, and the bytes of
// all others \xe2.
std::string InAscii(std::string_view text);

// Prepares text for a terminal, and starts a pager for what is longer than it.
class Screen {
 public:
  // Null if the file is no terminal.
  static std::unique_ptr<Screen> Of(int fd);

  // Of a line; npos if that is not known.
  size_t columns() const { return columns_; }
  bool ascii() const { return ascii_; }

  // Whether lines that end from now on are cut off at the width of the screen.
  void ClipLines(bool clip) { clip_ = clip; }
  // Whether they are broken between words instead, and how many blanks are
  // before what follows; npos: they are not.
  void WrapLines(size_t indent) { wrap_ = indent; }

  // Takes text, and returns what is to be written now: nothing until it is
  // known whether a pager is needed. `all`: no more text may come.
  std::string Show(std::string_view text, bool all);

 private:
  Screen() = default;
  void EndLine();

  size_t columns_ = std::string_view::npos;
  size_t rows_ = std::string_view::npos;  // npos: no pager is to be started
  bool ascii_ = false;
  bool clip_ = false;
  size_t wrap_ = std::string_view::npos;
  std::string line_;   // that is not complete
  std::string held_;   // lines that are not written
  size_t height_ = 0;  // rows that they take
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SCREEN_H_
