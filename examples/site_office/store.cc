// The file in which `office` keeps what it received.
#include "store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <utility>

namespace site_office {
namespace {

constexpr size_t kChunk = size_t{1} << 20;

Fd OpenForAppending(const std::string& path) {
  Fd file(open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
  if (file.get() < 0) ThrowErrno("cannot open " + path);
  return file;
}

// Reads up to `length` bytes at `offset` and appends them to `out`. Returns
// how many there were: 0 at the end of the file.
size_t ReadAt(int fd, uint64_t offset, size_t length, const std::string& path,
              std::string* out) {
  const size_t before = out->size();
  out->resize(before + length);
  ssize_t got;
  do {
    got = pread(fd, out->data() + before, length, static_cast<off_t>(offset));
  } while (got < 0 && errno == EINTR);
  if (got < 0) ThrowErrno("cannot read " + path);
  out->resize(before + static_cast<size_t>(got));
  return static_cast<size_t>(got);
}

}  // namespace

Store::Store(std::string path)
    : path_(std::move(path)), file_(OpenForAppending(path_)) {
  struct stat status;
  if (fstat(file_.get(), &status) != 0) ThrowErrno("cannot read " + path_);
  if (!S_ISREG(status.st_mode)) {
    throw std::runtime_error(path_ + " is not a regular file");
  }
  if (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
    ThrowErrno("cannot lock " + path_ + ", which another program may be using");
  }
  CheckContent();
}

void Store::CheckContent() {
  // The limits of connections may have been higher when this was stored.
  const Limits limits = {kLargestMessage, kLargestMessage};
  std::string buffer;
  uint64_t read = 0;
  while (true) {
    const size_t got = ReadAt(file_.get(), read, kChunk, path_, &buffer);
    read += got;
    std::string_view rest = buffer;
    Record record;
    std::string reason;
    Scan scan;
    while ((scan = ScanRecord(rest, limits, &record, &reason)) ==
           Scan::kComplete) {
      rest.remove_prefix(record.size);
      size_ += record.size;
      ++records_before_;
    }
    if (scan == Scan::kBroken) {
      throw std::runtime_error(path_ + " holds no record at byte " +
                               std::to_string(size_) + ": " + reason +
                               "; the file was left as it is");
    }
    buffer.erase(0, buffer.size() - rest.size());
    if (got == 0) break;
  }
  if (buffer.empty()) return;
  throw std::runtime_error(
      path_ + " ends in the middle of the record at byte " +
      std::to_string(size_) + ", " + std::to_string(buffer.size()) +
      " bytes into it; the file was left as it is. To go on without these " +
      "bytes: truncate -s " + std::to_string(size_) + " " + path_);
}

Store::Place Store::Append(std::string_view type, std::string_view message) {
  const std::string record = FrameRecord(type, message);
  const Place place = {size_, record.size()};
  try {
    WriteAll(file_.get(), record, "cannot write " + path_);
  } catch (...) {
    // Cuts off what was written of the record: it could not be read later.
    if (ftruncate(file_.get(), static_cast<off_t>(size_)) != 0) {
      ThrowErrno("cannot write " + path_ + ", nor cut it back to byte " +
                 std::to_string(size_));
    }
    throw;
  }
  size_ += record.size();
  return place;
}

std::string Store::Read(Place place) const {
  std::string bytes;
  while (bytes.size() < place.size &&
         ReadAt(file_.get(), place.offset + bytes.size(),
                place.size - bytes.size(), path_, &bytes) != 0) {
  }
  return bytes;
}

void Store::Reject(std::string_view note, std::string_view bytes) {
  const std::string path = path_ + ".rejected";
  if (rejected_.get() < 0) rejected_ = OpenForAppending(path);
  WriteAll(rejected_.get(), FrameRecord(note, bytes), "cannot write " + path);
}

}  // namespace site_office
