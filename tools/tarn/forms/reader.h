// Bytes of a file or pipe, read as they are needed.
#ifndef TOOLS_TARN_READER_H_
#define TOOLS_TARN_READER_H_

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::tool {

// What messages call an input: the name of its file, or "standard input" for
// "-".
std::string InputName(const std::string& file);

// Reads a file descriptor and keeps a window of its bytes in memory. An error
// of the system throws a Failure.
class Reader {
 public:
  explicit Reader(const std::string& file);
  // Has all its bytes in memory; `name` is what messages call it.
  Reader(const std::string& name, std::string bytes)
      : name_(name), fd_(-1), buffer_(std::move(bytes)), end_(buffer_.size()) {}
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // The bytes that are in memory and not consumed yet.
  std::string_view window() const {
    return std::string_view(buffer_).substr(begin_, end_ - begin_);
  }
  // Offset of the window in the file.
  uint64_t offset() const { return offset_; }

  // The window with the `size` bytes before it, of which there are up to
  // `before()`: at least kBefore of the consumed bytes stay in memory.
  static constexpr size_t kBefore = 32;
  size_t before() const { return begin_; }
  std::string_view WindowFrom(size_t size) const {
    return std::string_view(buffer_).substr(begin_ - size,
                                            end_ - begin_ + size);
  }

  // How many bytes are left; UINT64_MAX if that is not known.
  uint64_t Left();

  // Size of the file; 0 if it is not known in advance.
  uint64_t known_size() const;

  // Reads until the window has at least `size` bytes. Returns false if the file
  // ends before.
  bool Fill(uint64_t size);

  // Takes a line without its end. Returns false if there is no line left. A
  // line of more than `max_size` bytes throws a Failure.
  bool ReadLine(uint64_t max_size, std::string* line);

  void Consume(size_t size) {
    begin_ += size;
    offset_ += size;
  }

  // Goes to an offset of the window, or of what is kept before it.
  void MoveTo(uint64_t offset) {
    begin_ += offset - offset_;
    offset_ = offset;
  }

 private:
  [[noreturn]] void Fail() const;

  std::string name_;
  int fd_ = STDIN_FILENO;
  std::string buffer_;
  size_t begin_ = 0;
  size_t end_ = 0;
  uint64_t offset_ = 0;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_READER_H_
