// Framing of records: reading and writing them.
#include "record.h"

#include <google/protobuf/io/coded_stream.h>

#include <algorithm>
#include <cstdint>

namespace site_office {
namespace {

constexpr size_t kLongestVarint = 5;

// Takes one length off the front of `data`.
Scan TakeLength(std::string_view* data, uint64_t* length) {
  *length = 0;
  for (size_t i = 0; i < kLongestVarint; ++i) {
    if (i == data->size()) return Scan::kIncomplete;
    const uint64_t byte = static_cast<unsigned char>((*data)[i]);
    *length |= (byte & 0x7f) << (7 * i);
    if (byte < 0x80) {
      data->remove_prefix(i + 1);
      return Scan::kComplete;
    }
  }
  return Scan::kBroken;
}

// Takes a length and that many bytes off the front of `data`. If the part is
// incomplete, `part` holds the bytes that have arrived.
Scan TakePart(std::string_view what, size_t limit, std::string_view* data,
              std::string_view* part, std::string* reason) {
  uint64_t length;
  const Scan scan = TakeLength(data, &length);
  if (scan == Scan::kBroken) {
    *reason = "the length of the " + std::string(what) +
              " is a varint of more than " + std::to_string(kLongestVarint) +
              " bytes";
  }
  if (scan != Scan::kComplete) return scan;
  if (length > limit) {
    *reason = "the " + std::string(what) + " is said to have " +
              std::to_string(length) + " bytes, and the limit is " +
              std::to_string(limit);
    return Scan::kBroken;
  }
  *part = data->substr(0, length);
  data->remove_prefix(part->size());
  return part->size() == length ? Scan::kComplete : Scan::kIncomplete;
}

bool IsNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (c >= '0' && c <= '9') || c == '_' || c == '.';
}

void AppendPart(std::string_view part, std::string* out) {
  uint8_t length[kLongestVarint];
  uint8_t* end = google::protobuf::io::CodedOutputStream::WriteVarint32ToArray(
      static_cast<uint32_t>(part.size()), length);
  out->append(&length[0], end);
  out->append(part);
}

}  // namespace

Scan ScanRecord(std::string_view data, const Limits& limits, Record* record,
                std::string* reason) {
  *record = {};
  const size_t available = data.size();
  Scan scan = TakePart("type name", limits.name, &data, &record->type, reason);
  // A byte that no name can contain shows that this is not a record. Checked
  // before the next length is used, which may be just as wrong.
  if (!std::all_of(record->type.begin(), record->type.end(), IsNameCharacter) ||
      (scan == Scan::kComplete && record->type.empty())) {
    *reason = "the type name is not valid";
    return Scan::kBroken;
  }
  if (scan != Scan::kComplete) return scan;
  scan = TakePart("message", limits.message, &data, &record->message, reason);
  record->size = available - data.size();
  return scan;
}

std::string FrameRecord(std::string_view type, std::string_view message) {
  std::string record;
  record.reserve(2 * kLongestVarint + type.size() + message.size());
  AppendPart(type, &record);
  AppendPart(message, &record);
  return record;
}

}  // namespace site_office
