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

// Bytes of a file descriptor, of which a window is in memory. Where the system
// fails, that is a Failure.
class Reader {
 public:
  explicit Reader(const std::string& file);
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // What is in memory and not consumed.
  std::string_view window() const {
    return std::string_view(buffer_).substr(begin_, end_ - begin_);
  }
  // Offset of the window in the file.
  uint64_t offset() const { return offset_; }

  // Size of a file; 0 where it is not known in advance.
  uint64_t known_size() const;

  // Reads until the window has at least `size` bytes; false: the file ends
  // before.
  bool Fill(size_t size);

  // Takes a line without its end; false: there is none left. A line of more
  // than `max_size` bytes is a Failure.
  bool ReadLine(size_t max_size, std::string* line);

  void Consume(size_t size) {
    begin_ += size;
    offset_ += size;
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
