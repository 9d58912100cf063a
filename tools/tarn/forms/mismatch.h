// What more the tool says of a message that looks like something else.
#ifndef TOOLS_TARN_MISMATCH_H_
#define TOOLS_TARN_MISMATCH_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ranking.h"
#include "schema.h"

namespace tarn::tool {

// Looks at the first messages of an input that were read as one of some types.
// A message with nothing odd costs one look at its beginning; all others
// together cost a bounded one, however many there are.
class Mismatch {
 public:
  // Messages and bytes of each that are looked at.
  static constexpr int kMessages = 4;
  static constexpr size_t kBytes = 64 << 10;

  // `name` is that of the input, for the sentence.
  Mismatch(const std::string& name, const std::vector<const Type*>& types)
      : name_(name), types_(types) {}

  // A sentence about a message, empty where there is nothing to say. It is
  // about another type or, where the message is a whole input and `framed` is
  // false, about frames and other formats.
  std::string HintFor(std::string_view bytes, bool framed);

  // Bytes walked over so far.
  uint64_t weighed() const { return weighed_; }

 private:
  Evidence WeighPart(const Type& type, std::string_view bytes);
  // The frame in which all of the input is messages; empty: it is none.
  std::string FrameOf(std::string_view bytes);
  std::string TypeOf(std::string_view bytes, bool bad_utf8);

  const std::string name_;
  const std::vector<const Type*> types_;
  Schema schema_;
  int looks_ = 0;
  uint64_t weighed_ = 0;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_MISMATCH_H_
