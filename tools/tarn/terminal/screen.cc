// Cuts lines off, draws in ASCII, and counts the rows of the screen.
#include "screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "characters.h"
#include "pager.h"

namespace tarn::tool {
namespace {

// Size of the escape sequence of a colour at p; 0 if there is none.
size_t ColorSize(std::string_view text, size_t p) {
  if (text[p] != '\033') return 0;
  const size_t end = text.find('m', p);
  return end == text.npos ? 0 : end + 1 - p;
}

// Calls `take` for each piece of a line, a colour or a character, with the
// piece and its columns.
template <class Take>
void ForEachPiece(std::string_view line, const Take& take) {
  for (size_t p = 0; p < line.size();) {
    size_t size = ColorSize(line, p);
    int columns = 0;
    if (size == 0) {
      const Character character =
          CharacterAt(line.data() + p, line.data() + line.size());
      size = std::max(character.size, 1);
      columns = ColumnsOf(character.code);
    }
    take(line.substr(p, size), columns);
    p += size;
  }
}

size_t VisibleWidth(std::string_view line) {
  size_t width = 0;
  ForEachPiece(line, [&](std::string_view, int columns) { width += columns; });
  return width;
}

// The beginning of a line, a mark, and the colours of the rest.
std::string ClippedLine(std::string_view line, size_t columns,
                        std::string_view mark) {
  std::string clipped;
  size_t width = 0;
  bool marked = false;
  ForEachPiece(line, [&](std::string_view piece, int takes) {
    width += takes;
    if (takes == 0 || width < columns) {
      clipped += piece;
    } else if (!std::exchange(marked, true)) {
      clipped += mark;
    }
  });
  return clipped;
}

// Rows of at most `columns`, broken at blanks; those after the first begin with
// `indent` blanks. A longer word stands as it is.
std::string WrappedLine(std::string_view line, size_t columns, size_t indent) {
  std::string wrapped;
  std::string word;
  size_t width = 0;  // of the row
  size_t blanks = 0;
  size_t word_width = 0;
  bool words = false;  // whether the row has one
  const auto end_word = [&] {
    if (words && width + blanks + word_width > columns) {
      wrapped += '\n';
      width = 0;
      blanks = indent;
    }
    wrapped.append(blanks, ' ');
    wrapped += word;
    width += blanks + word_width;
    words = words || word_width > 0;
    word.clear();
    blanks = word_width = 0;
  };
  ForEachPiece(line, [&](std::string_view piece, int takes) {
    if (piece != " ") {
      word += piece;
      word_width += takes;
      return;
    }
    if (word_width > 0) end_word();
    ++blanks;
  });
  end_word();
  return wrapped;
}

}  // namespace

bool LocaleHasUtf8() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') continue;
    std::string locale;
    for (const char c : std::string_view(value)) {
      if (c != '-') locale += static_cast<char>(c | 0x20);
    }
    return locale.find("utf8") != locale.npos;
  }
  return false;
}

std::string InAscii(std::string_view text) {
  constexpr std::pair<std::string_view, char> kSimilar[] = {
      {"─", '-'}, {"│", '|'}, {"├", '|'}, {"└", '`'}, {"→", '>'}, {"…", '~'},
  };
  std::string ascii;
  while (!text.empty()) {
    const unsigned char byte = text.front();
    const auto* similar = std::find_if(
        std::begin(kSimilar), std::end(kSimilar), [&](const auto& entry) {
          return text.substr(0, entry.first.size()) == entry.first;
        });
    if (similar != std::end(kSimilar)) {
      ascii += similar->second;
      text.remove_prefix(similar->first.size());
      continue;
    }
    if (byte < 0x80) {
      ascii += text.front();
    } else {
      AppendHexEscape(text.front(), &ascii);
    }
    text.remove_prefix(1);
  }
  return ascii;
}

std::unique_ptr<Screen> Screen::Of(int fd) {
  if (::isatty(fd) == 0) return nullptr;
  std::unique_ptr<Screen> screen(new Screen);
  screen->ascii_ = !LocaleHasUtf8();
  winsize size;
  if (::ioctl(fd, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return screen;
  screen->columns_ = size.ws_col;
  const bool pages = fd == STDOUT_FILENO && CanPage();
  if (size.ws_row > 0 && pages) screen->rows_ = size.ws_row;
  return screen;
}

std::string Screen::Show(std::string_view text, bool all) {
  for (size_t end; (end = text.find('\n')) != text.npos;) {
    line_ += text.substr(0, end);
    text.remove_prefix(end + 1);
    EndLine();
    held_ += '\n';
  }
  line_ += text;
  if (all && !line_.empty()) EndLine();
  // The last row is for the prompt of the shell.
  if (height_ >= rows_) {
    StartPager();
    rows_ = std::string::npos;
  }
  if (!all && rows_ != std::string::npos) return "";
  height_ = 0;
  return std::exchange(held_, {});
}

// Moves the line to those that are held.
void Screen::EndLine() {
  if (ascii_) line_ = InAscii(line_);
  const size_t width = VisibleWidth(line_);
  if (clip_ && width > columns_) {
    held_ += ClippedLine(line_, columns_, ascii_ ? "~" : "…");
    ++height_;
  } else if (wrap_ != std::string::npos && width > columns_) {
    const std::string rows =
        WrappedLine(line_, columns_, std::min(wrap_, columns_ / 2));
    held_ += rows;
    height_ += 1 + std::count(rows.begin(), rows.end(), '\n');
  } else {
    held_ += line_;
    height_ += width == 0 ? 1 : (width - 1) / columns_ + 1;
  }
  line_.clear();
}

}  // namespace tarn::tool
