// Writes down what servers acknowledged.
#include "ledger.h"

#include "../fleet.h"

namespace fleet {
namespace {

// The checksum of IEEE 802.3, as zlib and Python's zlib.crc32 have it.
uint32_t Crc32(const std::string& bytes) {
  uint32_t crc = 0xffffffff;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int i = 0; i < 8; ++i) {
      crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xedb88320 : 0);
    }
  }
  return ~crc;
}

}  // namespace

Ledger::Ledger(const std::string& path) : path_(path) {
  if (path_.empty()) return;
  file_.open(path_, std::ios::trunc);
  if (!file_) throw Failure(kInputOutput, path_ + " cannot be written");
}

void Ledger::Add(uint64_t sequence, const char* fate,
                 const std::string& subject, const std::string& bytes) {
  if (path_.empty()) return;
  const uint32_t crc = Crc32(bytes);
  const std::lock_guard<std::mutex> lock(mutex_);
  file_ << sequence << ' ' << fate << ' ' << crc << ' ' << bytes.size() << ' '
        << subject << std::endl;
}

void Ledger::Close() {
  if (path_.empty()) return;
  file_.close();
  if (!file_) throw Failure(kInputOutput, path_ + " cannot be written");
}

}  // namespace fleet
