// Finds wrong lengths in front of the messages of a stream.
#ifndef TOOLS_TARN_LENGTHS_H_
#define TOOLS_TARN_LENGTHS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "reader.h"
#include "schema.h"

namespace tarn::tool {

// Looks at a bounded number of bytes of the whole stream.
class LengthCheck {
 public:
  // Messages are of one of the types.
  LengthCheck(const std::vector<const Type*>& types, const std::string& frame)
      : types_(types), frame_(frame) {}

  // How long the message really is that the reader is at, and whose frame says
  // `length`; 0: the length is right, or nothing tells another one. A length is
  // wrong if no sound messages follow after it, but they do after another
  // field, and the fields up to there are a sound message.
  uint64_t FindLength(uint64_t length, Reader* reader);

 private:
  // Whether sound messages begin at a place: several, or all up to the end of
  // the stream.
  bool Follow(std::string_view bytes, size_t at);
  bool IsSound(std::string_view message);

  const std::vector<const Type*>& types_;
  const std::string& frame_;
  bool ends_ = false;  // whether the stream ends with the bytes in memory
  uint64_t budget_ = 16 << 20;  // bytes that may still be looked at
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_LENGTHS_H_
