// The file in which `office` keeps what it received, one record after another.
#ifndef SITE_OFFICE_STORE_H_
#define SITE_OFFICE_STORE_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "record.h"
#include "socket.h"

namespace site_office {

// Appends records to a file, which only its owner can read. One program at a
// time can have it open. Failures are thrown as std::runtime_error, whose text
// names the file.
class Store {
 public:
  // Opens the file, or makes it, and reads through what it holds. A file with
  // anything but whole records in it is left as it is, and is an error.
  explicit Store(std::string path);

  // Where in the file a record stands, in bytes.
  struct Place {
    uint64_t offset;
    size_t size;
  };

  // Appends a record. It has been handed to the system on return. On failure
  // the file holds what it held.
  Place Append(std::string_view type, std::string_view message);

  // Reads a record back from the file.
  std::string Read(Place place) const;

  // Keeps the bytes of a record that was not accepted in a second file, whose
  // name ends in ".rejected". There they are the message of a record; in the
  // place of its type name stands `note`.
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
