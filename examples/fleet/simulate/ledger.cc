// Writes down what servers acknowledged.
#include "ledger.h"

#include <zlib.h>

#include "../fleet.h"

namespace fleet {

Ledger::Ledger(const std::string& path) : path_(path) {
  if (path_.empty()) return;
  file_.open(path_, std::ios::trunc);
  if (!file_) throw Failure(kInputOutput, path_ + " cannot be written");
}

void Ledger::Add(uint64_t sequence, const char* fate,
                 const std::string& subject, const std::string& bytes,
                 const std::string& id) {
  if (path_.empty()) return;
  const auto crc = crc32(0, reinterpret_cast<const Bytef*>(bytes.data()),
                         static_cast<uInt>(bytes.size()));
  const std::lock_guard<std::mutex> lock(mutex_);
  file_ << sequence << ' ' << fate << ' ' << crc << ' ' << bytes.size() << ' '
        << id << ' ' << subject << std::endl;
}

void Ledger::Close() {
  if (path_.empty()) return;
  file_.close();
  if (!file_) throw Failure(kInputOutput, path_ + " cannot be written");
}

}  // namespace fleet
