// Framing of records, the same on a connection and in a file:
//
//   varint  length of the type name, in bytes
//   bytes   type name, such as "tarn.ModsConfigured"
//   varint  length of the message, in bytes
//   bytes   message, in the binary wire format
//
// The varints are those of Protocol Buffers, of five bytes at most. Records
// follow one another with nothing between them.
#ifndef SITE_OFFICE_RECORD_H_
#define SITE_OFFICE_RECORD_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace site_office {

// Largest lengths to accept, in bytes.
struct Limits {
  size_t name = 256;
  size_t message = size_t{64} << 20;
};

// The largest message that the runtime can hold: 2 GiB less one byte.
constexpr size_t kLargestMessage = 0x7fffffff;

// One record in a buffer. The views point into that buffer.
struct Record {
  std::string_view type;
  std::string_view message;
  size_t size = 0;  // of the whole record, lengths included
};

enum class Scan {
  kComplete,    // `record` is filled in
  kIncomplete,  // correct so far, but more bytes are needed
  kBroken,      // no record begins here; `reason` says why
};

// Looks at the record with which `data` begins.
Scan ScanRecord(std::string_view data, const Limits& limits, Record* record,
                std::string* reason);

// The bytes of a record. Lengths must be below 4 GiB.
std::string FrameRecord(std::string_view type, std::string_view message);

}  // namespace site_office

#endif  // SITE_OFFICE_RECORD_H_
