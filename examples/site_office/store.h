// The file in which `office` keeps what it received, one record after another.
#ifndef SITE_OFFICE_STORE_H_
#define SITE_OFFICE_STORE_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "record.h"
#include "socket.h"

namespace site_office {

// Appends records to a file, which only its owner can read. Only one program at
// a time can have the file open. Failures are thrown as std::runtime_error,
// whose text names the file.
class Store {
 public:
  // Opens or creates the file and reads all records in it. A file that holds
  // anything but whole records is an error, and is not changed.
  explicit Store(std::string path);

  // Where in the file a record stands, in bytes.
  struct Place {
    uint64_t offset;
    size_t size;
  };

  // Appends a record. When this returns, the system has the record. On failure
  // the file is as it was before.
  Place Append(std::string_view type, std::string_view message);

  // Reads a record back from the file.
  std::string Read(Place place) const;

  // Keeps the bytes of a record that was not accepted in a second file, whose
  // name ends in ".rejected". They are the message of a record there, with
  // `note` instead of the type name.
  void Reject(std::string_view note, std::string_view bytes);

  // Number of records that the file held when it was opened.
  uint64_t records_before() const { return records_before_; }

 private:
  void CheckContent();

  std::string path_;
  Fd file_;
  Fd rejected_;
  uint64_t size_ = 0;
  uint64_t records_before_ = 0;
};

}  // namespace site_office

#endif  // SITE_OFFICE_STORE_H_
