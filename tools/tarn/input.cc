// Reads files and pipes, finds out the form of what is there, and takes
// streams apart.
#include "input.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>

#include "encoding.h"
#include "walker.h"

namespace inspector {
namespace {

// Of the buffer: enough for most messages, and what a stream is read with.
constexpr size_t kFirst = 16 << 10;
constexpr size_t kChunk = 256 << 10;
constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/-_=";

std::string NameOf(const std::string& file) {
  return file == "-" ? "standard input" : file;
}

// Bytes of a file descriptor, of which a window is in memory.
class Reader {
 public:
  explicit Reader(const std::string& file) : name_(NameOf(file)) {
    if (file == "-") return;
    fd_ = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) Fail();
  }
  ~Reader() {
    if (fd_ != STDIN_FILENO) ::close(fd_);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // What is in memory and not consumed.
  std::string_view window() const {
    return std::string_view(buffer_).substr(begin_, end_ - begin_);
  }
  // Offset of the window in the file.
  uint64_t offset() const { return offset_; }

  // Reads until the window has at least `size` bytes; false: the file ends
  // before.
  bool Fill(size_t size) {
    while (end_ - begin_ < size) {
      if (begin_ + size > buffer_.size() || begin_ == end_) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
      }
      // Grow with what arrives, not with what a header announces.
      if (end_ == buffer_.size()) {
        buffer_.resize(buffer_.empty() ? kFirst
                                       : std::max(kChunk, buffer_.size() * 2));
      }
      const ssize_t got =
          ::read(fd_, buffer_.data() + end_, buffer_.size() - end_);
      if (got < 0) {
        if (errno == EINTR) continue;
        Fail();
      }
      if (got == 0) return false;
      end_ += got;
    }
    return true;
  }

  // Takes a line without its end; false: there is none left.
  bool ReadLine(size_t max_size, std::string* line) {
    size_t known = 0;  // bytes without a line feed in them
    while (true) {
      const size_t end = window().find('\n', known);
      if (end != std::string_view::npos) {
        line->assign(window(), 0, end);
        Consume(end + 1);
        return true;
      }
      known = window().size();
      if (known > max_size) {
        throw Failure(kMalformed, name_ + ": a line of more than " +
                                      std::to_string(max_size) +
                                      " bytes; see --max-size");
      }
      if (!Fill(known + 1)) break;
    }
    line->assign(window());
    Consume(known);
    return known > 0;
  }

  void Consume(size_t size) {
    begin_ += size;
    offset_ += size;
  }

 private:
  [[noreturn]] void Fail() {
    throw Failure(kInputOutput, name_ + ": " + std::strerror(errno));
  }

  std::string name_;
  int fd_ = STDIN_FILENO;
  std::string buffer_;
  size_t begin_ = 0;
  size_t end_ = 0;
  uint64_t offset_ = 0;
};

// Writes how far a stream is, once it takes longer than a second.
class Progress {
 public:
  void Update(const Record& record) {
    if (!shown_) return;
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return;
    next_ = now + std::chrono::milliseconds(200);
    visible_ = true;
    Put("\r\033[Ktarn: " + std::to_string(record.number) + " messages, " +
        std::to_string((record.offset + record.bytes.size()) >> 20) + " MiB");
  }
  // Takes the line away, so that others can write there.
  void Hide() {
    if (visible_) Put("\r\033[K");
    visible_ = false;
  }

 private:
  static void Put(const std::string& text) {
    [[maybe_unused]] const ssize_t written =
        ::write(STDERR_FILENO, text.data(), text.size());
  }

  const bool shown_ =
      ::isatty(STDERR_FILENO) != 0 && ::isatty(STDOUT_FILENO) == 0;
  bool visible_ = false;
  std::chrono::steady_clock::time_point next_ =
      std::chrono::steady_clock::now() + std::chrono::seconds(1);
};

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool IsHexDigit(char c) {
  return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f');
}

int HexValue(char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; }

bool IsWord(char c) {
  return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') ||
         c == '_';
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view TakeLine(std::string_view* text) {
  const size_t size = std::min(text->find('\n'), text->size());
  std::string_view line = text->substr(0, size);
  text->remove_prefix(std::min(size + 1, text->size()));
  return Trim(line);
}

// The digits of a dump's line behind its offset, which must be `offset`, and in
// front of the characters. False: it is no such line.
bool DumpDigits(std::string_view line, uint64_t offset,
                std::string_view* digits) {
  uint64_t value = 0;
  const auto [end, error] =
      std::from_chars(line.data(), line.data() + line.size(), value, 16);
  const size_t size = end - line.data();
  if (error != std::errc() || size < 4 || value != offset) return false;
  line.remove_prefix(size);
  if (!line.empty() && line.front() == ':') line.remove_prefix(1);
  line = Trim(line);
  // xxd has two spaces in front of the characters, others a bar.
  const size_t bar = line.find(" |");
  *digits =
      line.substr(0, std::min(bar, bar == line.npos ? line.find("  ") : bar));
  return true;
}

bool AppendHex(std::string_view text, std::string* bytes) {
  int half = -1;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (IsSpace(c) || c == ',' || c == ':') {
      if (half >= 0) return false;
    } else if (c == '0' && i + 1 < text.size() && (text[i + 1] | 0x20) == 'x' &&
               half < 0) {
      ++i;
    } else if (!IsHexDigit(c)) {
      return false;
    } else if (half < 0) {
      half = HexValue(c);
    } else {
      bytes->push_back(static_cast<char>(half << 4 | HexValue(c)));
      half = -1;
    }
  }
  return half < 0;
}

// A dump has an offset in each line; its last line may be nothing else.
bool FromDump(std::string_view text, std::string* bytes) {
  while (!text.empty()) {
    const std::string_view line = TakeLine(&text);
    std::string_view digits;
    if (line.empty()) continue;
    if (!DumpDigits(line, bytes->size(), &digits)) return false;
    if (!AppendHex(digits, bytes)) return false;
  }
  return !bytes->empty();
}

// Whether it begins like the text format: a comment, or a field name with
// what must follow it.
bool LooksLikeText(std::string_view text) {
  text = Trim(text);
  if (text.empty()) return false;
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20 && !IsSpace(c)) return false;
  }
  if (text.front() == '#') return true;
  size_t i = 0;
  while (i < text.size() && IsWord(text[i])) ++i;
  if (i == 0 || (text[0] >= '0' && text[0] <= '9')) return false;
  while (i < text.size() && IsSpace(text[i])) ++i;
  return i < text.size() && (text[i] == ':' || text[i] == '{');
}

bool LooksLikeJson(std::string_view text) {
  text = Trim(text);
  if (text.size() < 2 || text.front() != '{' || text.back() != '}') {
    return false;
  }
  const std::string_view inside = Trim(text.substr(1));
  return inside.front() == '"' || inside.front() == '}';
}

// Why a text is not made of digits.
std::string NotDigits(std::string_view text, std::string_view digits,
                      const std::string& form) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (digits.find(text[i]) != digits.npos || IsSpace(text[i])) continue;
    return "byte " + std::to_string(i) + ": not a " + form + " digit";
  }
  return "the number of " + form + " digits does not make whole bytes";
}

// The form of an input that nobody named. A line feed is the commonest first
// byte of a message (field 1 with a length), and a rare one of any text.
std::string Detect(std::string_view input, std::string* bytes) {
  if (input.empty() || input.front() == '\n') return "binary";
  if (LooksLikeJson(input)) return "json";
  if (LooksLikeText(input)) return "text";
  if (FromHex(input, bytes)) return "hex";
  if (FromBase64(input, bytes)) return "base64";
  return "binary";
}

// The wire bytes of an input in any form. `storage` holds them where they are
// not the input itself.
std::string_view ToWire(const InputOptions& options, const Type* type,
                        std::string_view input, std::string* storage) {
  std::string form = options.from;
  const std::string name = NameOf(options.file) + ": ";
  if (form == "auto") {
    form = Detect(input, storage);
    if (form == "hex" || form == "base64") return *storage;
  }
  if (form == "hex") {
    if (!FromHex(input, storage)) {
      throw Failure(
          kMalformed,
          name + NotDigits(input, "0123456789abcdefABCDEFxX,:", "hexadecimal"));
    }
    return *storage;
  }
  if (form == "base64") {
    if (!FromBase64(input, storage)) {
      throw Failure(kMalformed, name + NotDigits(input, kBase64, "base64"));
    }
    return *storage;
  }
  if (form == "text" || form == "json") {
    if (type == nullptr) {
      throw Failure(kUsage, name + "a message as " + form +
                                " can only be read when its type is known");
    }
    *storage = form == "text" ? EncodeText(*type, input, name)
                              : EncodeJson(*type, input, name);
    return *storage;
  }
  return input;
}

std::string ReadAll(Reader* reader, const InputOptions& options) {
  if (reader->Fill(options.max_size + 1)) {
    throw Failure(kMalformed, NameOf(options.file) + ": larger than " +
                                  std::to_string(options.max_size) +
                                  " bytes; see --max-size");
  }
  return std::string(reader->window());
}

// The header of a framed message: its own size, and that of the message.
struct Header {
  size_t size;  // 0: it is cut off
  uint64_t length;
};

Header ReadHeader(const std::string& frame, Reader* reader) {
  const size_t most = frame == "varint" ? 10 : 4;
  reader->Fill(most);
  const std::string_view bytes = reader->window().substr(0, most);
  if (frame == "varint") {
    uint64_t length = 0;
    const char* end =
        ReadVarint(bytes.data(), bytes.data() + bytes.size(), most, &length);
    if (end == nullptr) return {0, 0};
    return {static_cast<size_t>(end - bytes.data()), length};
  }
  if (bytes.size() < most) return {0, 0};
  uint64_t length = 0;
  for (size_t i = 0; i < most; ++i) {
    const size_t from = frame == "u32be" ? i : most - 1 - i;
    length = length << 8 | static_cast<unsigned char>(bytes[from]);
  }
  return {most, length};
}

// Goes past bytes without keeping them; false: the file ends before.
bool Discard(Reader* reader, uint64_t size) {
  while (size > 0) {
    if (!reader->Fill(1)) return false;
    const size_t step = std::min<uint64_t>(size, reader->window().size());
    reader->Consume(step);
    size -= step;
  }
  return true;
}

ExitCode ForEachFramed(const InputOptions& options, Reader* reader,
                       const std::function<ExitCode(const Record&)>& handle) {
  Progress progress;
  Record record;
  ExitCode worst = kFine;
  const auto complain = [&](const std::string& reason) {
    progress.Hide();
    Complain(Place(options, record, 0) + reason);
    worst = std::max(worst, kMalformed);
  };
  while (reader->Fill(1)) {
    ++record.number;
    record.offset = reader->offset();
    record.bytes = {};
    const Header header = ReadHeader(options.frame, reader);
    if (header.size == 0) {
      complain(reader->window().size() < 10 ? "cut off inside the frame"
                                            : "a frame longer than ten bytes");
      break;
    }
    reader->Consume(header.size);
    if (header.length > options.max_size) {
      complain("message of " + std::to_string(header.length) +
               " bytes, more than " + std::to_string(options.max_size) +
               "; see --max-size");
      if (!options.keep_going || !Discard(reader, header.length)) break;
      continue;
    }
    if (!reader->Fill(header.length)) {
      complain("cut off inside the message: " +
               std::to_string(reader->window().size()) + " of its " +
               std::to_string(header.length) + " bytes are there");
      break;
    }
    record.offset = reader->offset();
    record.bytes = reader->window().substr(0, header.length);
    progress.Update(record);
    const ExitCode status = handle(record);
    worst = std::max(worst, status);
    if (status >= kMalformed && !options.keep_going) break;
    reader->Consume(header.length);
  }
  progress.Hide();
  return worst;
}

}  // namespace

bool FromHex(std::string_view text, std::string* bytes) {
  bytes->clear();
  if (FromDump(text, bytes)) return true;
  bytes->clear();
  return AppendHex(text, bytes);
}

bool FromBase64(std::string_view text, std::string* bytes) {
  bytes->clear();
  uint32_t bits = 0;
  int digits = 0;
  int padding = 0;
  for (const char c : text) {
    if (IsSpace(c)) continue;
    int value = -1;
    if (c >= 'A' && c <= 'Z') value = c - 'A';
    if (c >= 'a' && c <= 'z') value = c - 'a' + 26;
    if (c >= '0' && c <= '9') value = c - '0' + 52;
    if (c == '+' || c == '-') value = 62;
    if (c == '/' || c == '_') value = 63;
    if (c == '=') {
      ++padding;
      continue;
    }
    if (value < 0 || padding > 0) return false;
    bits = bits << 6 | value;
    if (++digits % 4 == 0) {
      for (int shift = 16; shift >= 0; shift -= 8) {
        bytes->push_back(static_cast<char>(bits >> shift));
      }
      bits = 0;
    }
  }
  const int rest = digits % 4;
  if (rest == 1 || (padding > 0 && padding != (4 - rest) % 4)) return false;
  for (int i = 0; i + 1 < rest; ++i) {
    bytes->push_back(
        static_cast<char>(bits << (24 - 6 * rest) >> (16 - 8 * i)));
  }
  return digits > 0;
}

std::string Place(const InputOptions& options, const Record& record,
                  uint64_t offset) {
  std::string place = NameOf(options.file) + ": ";
  if (record.number > 0) {
    place += "record " + std::to_string(record.number) + ": ";
  }
  return place + "byte " + std::to_string(record.offset + offset) + ": ";
}

std::string ReadFile(const std::string& file, uint64_t max_size) {
  InputOptions options;
  options.file = file;
  options.max_size = max_size;
  Reader reader(file);
  return ReadAll(&reader, options);
}

std::string ReadMessage(const InputOptions& options, const Type* type) {
  return ToWire(options, type, ReadFile(options.file, options.max_size));
}

std::string ToWire(const InputOptions& options, const Type* type,
                   std::string_view input) {
  std::string storage;
  return std::string(ToWire(options, type, input, &storage));
}

ExitCode ForEachRecord(const InputOptions& options, const Type* type,
                       const std::function<ExitCode(const Record&)>& handle) {
  Reader reader(options.file);
  if (options.frame != "none") {
    if (options.from != "auto" && options.from != "binary") {
      throw Failure(kUsage, "--frame is for binary streams, not for --from " +
                                options.from);
    }
    return ForEachFramed(options, &reader, handle);
  }
  const std::string input = ReadAll(&reader, options);
  std::string storage;
  Record record;
  record.bytes = ToWire(options, type, input, &storage);
  if (input.empty() && ::isatty(STDERR_FILENO) != 0) {
    Complain(NameOf(options.file) + " is empty, which is an empty message");
  }
  return handle(record);
}

ExitCode ForEachWritten(const InputOptions& options, const Type& type,
                        const std::function<void(std::string_view)>& handle) {
  if (options.from != "auto" && options.from != "text" &&
      options.from != "json") {
    throw Failure(kUsage, "only text and JSON can be encoded, not --from " +
                              options.from);
  }
  Reader reader(options.file);
  if (options.frame == "none") {
    const std::string input = ReadAll(&reader, options);
    const std::string place = NameOf(options.file) + ": ";
    const bool json =
        options.from == "json" ||
        (options.from == "auto" && Trim(input).substr(0, 1) == "{");
    handle(json ? EncodeJson(type, input, place)
                : EncodeText(type, input, place));
    return kFine;
  }
  ExitCode worst = kFine;
  std::string line;
  for (uint64_t number = 1; reader.ReadLine(options.max_size, &line);
       ++number) {
    if (Trim(line).empty()) continue;
    try {
      handle(EncodeJson(
          type, line,
          NameOf(options.file) + ": record " + std::to_string(number) + ": "));
    } catch (const Failure& failure) {
      if (!options.keep_going || failure.code() != kMalformed) throw;
      Complain(failure.what());
      worst = kMalformed;
    }
  }
  return worst;
}

void WriteFramed(const std::string& frame, std::string_view bytes,
                 Output* output) {
  char* out = output->Reserve(10);
  uint64_t length = bytes.size();
  if (frame == "varint") {
    for (; length >= 0x80; length >>= 7) {
      *out++ = static_cast<char>(length | 0x80);
    }
    *out++ = static_cast<char>(length);
  } else if (frame != "none") {
    for (int i = 0; i < 4; ++i) {
      *out++ =
          static_cast<char>(length >> (frame == "u32be" ? 24 - 8 * i : 8 * i));
    }
  }
  output->Advance(out);
  output->Write(bytes);
}

}  // namespace inspector
