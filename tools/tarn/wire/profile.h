// The largest texts and lists for which a receiver has room, as a file of
// options for nanopb states them.
#ifndef TOOLS_TARN_PROFILE_H_
#define TOOLS_TARN_PROFILE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "schema.h"

namespace tarn::tool {

// What one field may have; 0: there is no bound.
struct Bounds {
  uint32_t size = 0;   // bytes of a text or of bytes
  uint32_t count = 0;  // elements of a list
};

class Profile {
 public:
  // The largest file of options that is read.
  static constexpr uint64_t kMostBytes = 64 << 10;

  // Reads the lines of a file of options, which messages call `name`. A line
  // that nanopb could understand in another way is refused, with its number.
  Profile(const std::string& name, std::string_view text, const Schema& schema);

  // The bounds of a field; null if no line is about it.
  const Bounds* Of(const Field& field) const {
    const auto found = bounds_.find(field.descriptor);
    return found == bounds_.end() ? nullptr : &found->second;
  }

  // Throws a Failure for a type with texts or lists, none of which a line is
  // about: the file is for other messages.
  void MustKnow(const Type& type) const;

 private:
  const std::string name_;
  std::unordered_map<const google::protobuf::FieldDescriptor*, Bounds> bounds_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_PROFILE_H_
