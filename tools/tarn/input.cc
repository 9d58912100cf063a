// Reads files and pipes, and takes streams apart.
#include "input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>

#include "doubt.h"
#include "encoding.h"
#include "forms.h"
#include "frame.h"

namespace inspector {
namespace {

// Of the buffer: enough for most messages, and what a stream is read with.
constexpr size_t kFirst = 16 << 10;
constexpr size_t kChunk = 256 << 10;
// The runtime counts the bytes of a message in an int.
constexpr uint64_t kMostBytes = INT_MAX;

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

  // Size of a file; 0 where it is not known in advance.
  uint64_t known_size() const {
    struct stat status;
    const bool known = ::fstat(fd_, &status) == 0 && S_ISREG(status.st_mode);
    return known ? status.st_size : 0;
  }

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

// Why a message of this size is not read; empty: it is.
std::string TooLarge(uint64_t size, uint64_t max_size) {
  if (size > max_size) {
    return "more than " + std::to_string(max_size) + " bytes; see --max-size";
  }
  if (size > kMostBytes) {
    return "more than " + std::to_string(kMostBytes) +
           " bytes, the most that the Protocol Buffers runtime reads";
  }
  return "";
}

std::string ReadAll(Reader* reader, const InputOptions& options) {
  const uint64_t most = std::min(options.max_size, kMostBytes);
  if (reader->known_size() > most || reader->Fill(most + 1)) {
    throw Failure(kMalformed, NameOf(options.file) + ": " +
                                  TooLarge(most + 1, options.max_size));
  }
  return std::string(reader->window());
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

// Says what more there is to say of a message, once it is dealt with.
void Remark(Doubt* doubt, const Record& record) {
  const std::string remark = doubt->Look(record.bytes, record.number > 0);
  if (!remark.empty()) Complain(remark);
}

ExitCode ForEachFramed(const InputOptions& options, Reader* reader,
                       Doubt* doubt,
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
    const size_t most = MostOfHeader(options.frame);
    reader->Fill(most);
    const Header header =
        ReadHeader(options.frame, reader->window().substr(0, most));
    if (header.size == 0) {
      complain(reader->window().size() < 10 ? "cut off inside the frame"
                                            : "a frame longer than ten bytes");
      break;
    }
    reader->Consume(header.size);
    const std::string too_large = TooLarge(header.length, options.max_size);
    if (!too_large.empty()) {
      complain("message of " + std::to_string(header.length) +
               " bytes: " + too_large);
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
    Remark(doubt, record);
    if (status >= kMalformed && !options.keep_going) break;
    if (ReaderHasGone() && !options.to_the_end) break;
    reader->Consume(header.length);
  }
  progress.Hide();
  return worst;
}

}  // namespace

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

std::string ReadMessage(const InputOptions& options, const Type& type) {
  std::string input = ReadFile(options.file, options.max_size);
  Reading reading = Read(options, NameOf(options.file) + ": ", {&type}, input);
  Record record;
  record.bytes = reading.binary ? input : reading.bytes;
  Doubt doubt(NameOf(options.file) + ": ", {&type});
  Remark(&doubt, record);
  return reading.binary ? std::move(input) : std::move(reading.bytes);
}

ExitCode ForEachRecord(const InputOptions& options,
                       const std::vector<const Type*>& types,
                       const std::function<ExitCode(const Record&)>& handle) {
  Reader reader(options.file);
  const std::string name = NameOf(options.file) + ": ";
  Doubt doubt(name, types);
  if (options.frame != "none") {
    if (options.from != "auto" && options.from != "binary") {
      throw Failure(kUsage, "--frame is for binary streams, not for --from " +
                                options.from);
    }
    return ForEachFramed(options, &reader, &doubt, handle);
  }
  const std::string input = ReadAll(&reader, options);
  const Reading reading = Read(options, name, types, input);
  Record record;
  record.bytes = reading.binary ? input : reading.bytes;
  record.written = reading.written.empty() ? nullptr : &reading.written;
  if (input.empty() && ::isatty(STDERR_FILENO) != 0) {
    Complain(NameOf(options.file) + " is empty, which is an empty message");
  }
  const ExitCode status = handle(record);
  if (record.written == nullptr) Remark(&doubt, record);
  return status;
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
    if (ReaderHasGone()) break;
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
