// Hints about a message that looks like another type or form.
#ifndef TOOLS_TARN_MISMATCH_H_
#define TOOLS_TARN_MISMATCH_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ranking.h"
#include "schema.h"

namespace tarn::tool {

// Looks at the first messages of an input that was read as one of some types. A
// message without oddities costs one look at its beginning. The cost of all
// others together is bounded, however many there are.
class Mismatch {
 public:
  // How many messages are looked at, and how many bytes of each.
  static constexpr int kMessages = 4;
  static constexpr size_t kBytes = 64 << 10;

  // `name` is the name of the input, for the sentence. `single`: streams of the
  // input cannot be read.
  Mismatch(const std::string& name, const std::vector<const Type*>& types,
           bool single = false)
      : name_(name), types_(types), single_(single) {}

  // A sentence about a message; empty if there is nothing to say. It names a
  // likelier type. If the message is a whole input and `framed` is false, it
  // may also name a frame or another format.
  std::string HintFor(std::string_view bytes, bool framed);

  // The types that a message is more like, by its beginning; none if nothing
  // tells.
  std::vector<const Type*> LikelierTypes(std::string_view bytes);

  // Bytes walked over so far.
  uint64_t weighed() const { return weighed_; }

 private:
  Evidence WeighPart(const Type& type, std::string_view bytes);
  // The frame with which the whole input is a stream of messages; empty if
  // there is none.
  std::string FrameOf(std::string_view bytes);
  bool IsTypeName(std::string_view bytes);
  std::string TypeOf(std::string_view bytes, bool bad_utf8);

  const std::string name_;
  const std::vector<const Type*> types_;
  const bool single_;
  Schema schema_;
  int looks_ = 0;
  uint64_t weighed_ = 0;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_MISMATCH_H_
