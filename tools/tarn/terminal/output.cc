// Writing to standard output and files, and the escapes of text, JSON and
// terminals.
#include "output.h"

#include <fcntl.h>
#include <google/protobuf/stubs/strutil.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <system_error>

#include "characters.h"
#include "failure.h"
#include "pager.h"

namespace tarn::tool {
namespace {

constexpr size_t kBufferSize = 1 << 16;
constexpr char kHex[] = "0123456789abcdef";

// Bytes that no format escapes: printable ASCII without quotes, backslash, <
// and >.
constexpr std::array<bool, 256> MakePlain() {
  std::array<bool, 256> plain{};
  for (int c = 0x20; c < 0x7F; ++c) plain[c] = true;
  for (char c : {'"', '\'', '\\', '<', '>'}) plain[c] = false;
  return plain;
}
constexpr std::array<bool, 256> kPlain = MakePlain();

const char* SkipPlain(const char* p, const char* end) {
  while (p < end && kPlain[static_cast<unsigned char>(*p)]) ++p;
  return p;
}

// The letter after the backslash in the escape of a character; 0 if there is no
// such letter.
char JsonEscape(char c) {
  switch (c) {
    case '"':
    case '\\':
      return c;
    case '\b':
      return 'b';
    case '\f':
      return 'f';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    default:
      return 0;
  }
}

char* PutUnicodeEscape(char* out, uint32_t unit) {
  *out++ = '\\';
  *out++ = 'u';
  for (int shift = 12; shift >= 0; shift -= 4) {
    *out++ = kHex[unit >> shift & 15];
  }
  return out;
}

// Of a file that is not finished.
std::string NameOfPart(const std::string& file) { return file + ".part"; }

[[noreturn]] void Fail(const std::string& name) {
  throw Failure(kInputOutput, name + ": " + std::strerror(errno));
}

// Global, because there is only one standard output.
bool reader_has_gone = false;

}  // namespace

Output::Output(int fd, const std::string& name, bool file)
    : fd_(fd),
      file_(file),
      name_(name),
      buffer_(new char[kBufferSize]),
      capacity_(kBufferSize),
      end_(buffer_.get()),
      limit_(end_ + kBufferSize),
      screen_(Screen::Of(fd)),
      ascii_(screen_ != nullptr && screen_->ascii()),
      color_(false) {}

Output::Output(const std::string& color)
    : Output(STDOUT_FILENO, "standard output", false) {
  const char* no_color = std::getenv("NO_COLOR");
  color_ = color == "always" || (color == "auto" && terminal() &&
                                 (no_color == nullptr || *no_color == '\0'));
}

std::unique_ptr<Output> Output::InFolder(const std::string& folder,
                                         const std::string& name) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw Failure(kInputOutput, folder + ": " + error.message());
  const std::string file = folder + '/' + name;
  const int fd = ::open(NameOfPart(file).c_str(),
                        O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) Fail(file);
  return std::unique_ptr<Output>(new Output(fd, file, true));
}

Output::~Output() {
  if (!file_ || fd_ < 0) return;
  ::close(fd_);
  ::unlink(NameOfPart(name_).c_str());
}

void Output::Finish() {
  Flush();
  if (!file_) return;
  const std::string part = NameOfPart(name_);
  const bool whole = ::close(fd_) == 0 || errno == EINTR;
  fd_ = -1;
  if (whole && std::rename(part.c_str(), name_.c_str()) == 0) return;
  const int error = errno;
  ::unlink(part.c_str());
  errno = error;
  Fail(name_);
}

void Output::CloseStandardOutput() {
  // One that was closed from the start has nothing to lose.
  if (::close(STDOUT_FILENO) != 0 && errno != EBADF && errno != EINTR) {
    Fail("standard output");
  }
}

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(written);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

void Output::WriteOut(std::string_view bytes) const {
  const bool unread = !file_ && reader_has_gone;
  if (unread || WriteAll(fd_, bytes)) return;
  if (errno != EPIPE || file_) Fail(name_);
  reader_has_gone = true;
  EndPager();
}

void Output::MakeRoom(size_t size) {
  Drain(false);
  if (size <= capacity_) return;
  capacity_ = size;
  buffer_.reset(new char[size]);
  end_ = buffer_.get();
  limit_ = end_ + size;
}

void Output::Flush() { Drain(true); }

void Output::Drain(bool all) {
  const size_t size = end_ - buffer_.get();
  end_ = buffer_.get();
  if (screen_ == nullptr) return WriteOut({end_, size});
  WriteOut(screen_->Show({end_, size}, all));
}

size_t Output::columns() const {
  return screen_ == nullptr ? std::string_view::npos : screen_->columns();
}

size_t Output::TextColumns(size_t most, size_t indent) const {
  constexpr size_t kLeast = 20;
  return std::max(std::min(most, columns()), indent + kLeast) - indent;
}

void Output::ClipLines(bool clip) {
  if (screen_ == nullptr) return;
  Drain(false);
  screen_->ClipLines(clip);
}

void Output::WrapLines(size_t indent) {
  if (screen_ == nullptr) return;
  Drain(false);
  screen_->WrapLines(indent);
}

bool ReaderHasGone() { return reader_has_gone; }

void Output::ExpectRawBytes() const {
  if (!terminal()) return;
  throw Failure(kUsage,
                "raw bytes do no good on a terminal: send them to a file or a "
                "pipe, or ask for --to hex");
}

void Output::Float(float value) {
  // The runtime's nine digits are larger than the largest float: a program that
  // reads them as a double first finds them out of range.
  if (std::abs(value) == std::numeric_limits<float>::max()) {
    return Write(value > 0 ? "3.4028234663852886e+38"
                           : "-3.4028234663852886e+38");
  }
  Write(google::protobuf::SimpleFtoa(value));
}

void Output::Paint(Color color) {
  if (!color_) return;
  constexpr std::string_view kCodes[] = {"\033[0m",  "\033[31m", "\033[32m",
                                         "\033[33m", "\033[34m", "\033[36m",
                                         "\033[2m",  "\033[1m"};
  Write(kCodes[static_cast<int>(color)]);
}

void Output::Painted(Color color, std::string_view text) {
  if (color == Color::kNone || text.empty()) return Write(text);
  Paint(color);
  Write(text);
  Paint(Color::kNone);
}

void Output::Untrusted(std::string_view text) { Write(Escaped(text)); }

void Output::JsonString(std::string_view text) {
  Write('"');
  JsonText(text);
  Write('"');
}

void Output::JsonText(std::string_view text) {
  const char* p = text.data();
  const char* const end = p + text.size();
  while (true) {
    const char* plain = SkipPlain(p, end);
    Write(std::string_view(p, plain - p));
    if (plain == end) break;
    p = plain;
    char* out = Reserve(16);
    const Character character = CharacterAt(p, end);
    const char c = *p;
    p += std::max(character.size, 1);
    if (const char letter = JsonEscape(c); letter != 0) {
      *out++ = '\\';
      *out++ = letter;
    } else if (c == '<' || c == '>' || Invisible(character.code) ||
               (ascii_ && character.code >= 0x80)) {
      if (character.code < 0x10000) {
        out = PutUnicodeEscape(out, character.code);
      } else {
        const uint32_t code = character.code - 0x10000;
        out = PutUnicodeEscape(out, 0xD800 + (code >> 10));
        out = PutUnicodeEscape(out, 0xDC00 + (code & 0x3FF));
      }
    } else {
      std::memcpy(out, p - character.size, character.size);
      out += character.size;
    }
    Advance(out);
  }
}

void Output::TextString(std::string_view text) {
  const char* p = text.data();
  const char* const end = p + text.size();
  Write('"');
  while (true) {
    const char* plain = SkipPlain(p, end);
    Write(std::string_view(p, plain - p));
    if (plain == end) break;
    p = plain;
    char* out = Reserve(16);
    const Character character = CharacterAt(p, end);
    const char* next = p + std::max(character.size, 1);
    const char c = *p;
    if (c == '\n' || c == '\r' || c == '\t') {
      *out++ = '\\';
      *out++ = c == '\n' ? 'n' : c == '\r' ? 'r' : 't';
    } else if (c == '"' || c == '\'' || c == '\\') {
      *out++ = '\\';
      *out++ = c;
    } else if (character.size == 0 || Invisible(character.code) ||
               (ascii_ && character.code >= 0x80)) {
      for (; p < next; ++p) {
        const unsigned char byte = *p;
        *out++ = '\\';
        *out++ = '0' + (byte >> 6);
        *out++ = '0' + (byte >> 3 & 7);
        *out++ = '0' + (byte & 7);
      }
    } else {
      std::memcpy(out, p, next - p);
      out += next - p;
    }
    p = next;
    Advance(out);
  }
  Write('"');
}

void Output::Base64(std::string_view bytes) {
  std::string digits;
  google::protobuf::Base64Escape(
      reinterpret_cast<const unsigned char*>(bytes.data()),
      static_cast<int>(bytes.size()), &digits, true);
  Write(digits);
}

void Output::Hex(std::string_view bytes) {
  for (const unsigned char byte : bytes) {
    char* out = Reserve(2);
    out[0] = kHex[byte >> 4];
    out[1] = kHex[byte & 15];
    Advance(out + 2);
  }
}

std::string Escaped(std::string_view text, std::string_view marked,
                    size_t columns) {
  std::string escaped;
  size_t width = 0;
  const char* p = text.data();
  const char* const end = p + text.size();
  while (p < end) {
    const Character character = CharacterAt(p, end);
    const char* next = p + std::max(character.size, 1);
    const bool hidden = character.size == 0 || Invisible(character.code);
    const bool slash = !hidden && marked.find(*p) != marked.npos;
    width += hidden ? 4 * (next - p) : slash ? 2 : ColumnsOf(character.code);
    if (width > columns) return escaped + "\\…";
    if (hidden) {
      for (; p < next; ++p) {
        AppendHexEscape(*p, &escaped);
      }
    } else {
      if (slash) escaped += '\\';
      escaped.append(p, next);
    }
    p = next;
  }
  return escaped;
}

std::string InQuotes(std::string_view text, size_t columns) {
  return '"' + Escaped(text, "\\\"", columns) + '"';
}

std::string Clipped(std::string_view name) {
  return Escaped(name, "\\", kNameColumns);
}

size_t RoomAfter(size_t columns, size_t used) {
  constexpr size_t kLeast = 8;
  if (columns == std::string_view::npos) return columns;
  return columns > used + kLeast ? columns - used : kLeast;
}

std::string RecordStart(uint64_t number) {
  return number == 0 ? "" : "record " + std::to_string(number) + ": ";
}

void Complain(const std::string& message) {
  static const std::unique_ptr<Screen> screen = Screen::Of(STDERR_FILENO);
  std::string line = "tarn: " + Escaped(message) + "\n";
  if (screen != nullptr) {
    screen->WrapLines(Output::kHanging);
    line = screen->Show(line, true);
  } else if (PagerRuns() && !LocaleHasUtf8()) {
    line = InAscii(line);
  }
  // If stderr fails, there is no way left to report it.
  [[maybe_unused]] const ssize_t written =
      ::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace tarn::tool
