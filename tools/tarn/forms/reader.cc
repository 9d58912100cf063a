// Reads files and pipes.
#include "reader.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "failure.h"

namespace tarn::tool {
namespace {

// Sizes of the buffer: the first is enough for most messages, the other is what
// it grows to for a stream.
constexpr size_t kFirst = 16 << 10;
constexpr size_t kChunk = 256 << 10;

}  // namespace

std::string InputName(const std::string& file) {
  return file == "-" ? "standard input" : file;
}

Reader::Reader(const std::string& file) : name_(InputName(file)) {
  if (file == "-") return;
  fd_ = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd_ < 0) Fail();
}

Reader::~Reader() {
  if (fd_ > STDIN_FILENO) ::close(fd_);
}

void Reader::Fail() const {
  throw Failure(kInputOutput, name_ + ": " + std::strerror(errno));
}

uint64_t Reader::known_size() const {
  struct stat status;
  const bool known = ::fstat(fd_, &status) == 0 && S_ISREG(status.st_mode);
  return known ? status.st_size : 0;
}

bool Reader::Fill(uint64_t size) {
  while (end_ - begin_ < size) {
    if (fd_ < 0) return false;
    if (begin_ > kBefore &&
        (begin_ + size > buffer_.size() || begin_ == end_)) {
      const size_t gone = begin_ - kBefore;
      std::memmove(buffer_.data(), buffer_.data() + gone, end_ - gone);
      end_ -= gone;
      begin_ = kBefore;
    }
    // The buffer grows with the bytes that arrive, not with the length that a
    // header announces.
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

uint64_t Reader::Left() {
  if (fd_ < 0) return window().size();
  const uint64_t size = known_size();
  if (size > offset_) return size - offset_;
  return Fill(kFirst) ? UINT64_MAX : window().size();
}

bool Reader::ReadLine(uint64_t max_size, std::string* line) {
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

}  // namespace tarn::tool
