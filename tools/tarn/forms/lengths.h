// Finds wrong lengths in front of the messages of a stream, and where the
// messages go on after lost bytes.
#ifndef TOOLS_TARN_LENGTHS_H_
#define TOOLS_TARN_LENGTHS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "reader.h"
#include "schema.h"

namespace tarn::tool {

// Where the next message of a stream begins.
struct NextMessage {
  enum How {
    kAsLengthSays,  // or nothing tells another place
    kNearby,        // a few bytes from the frame that was taken for one
    kAfterField,    // after a field of the message: its length is wrong
    kLater,         // somewhere else
  };
  How how = kAsLengthSays;
  uint64_t offset = 0;  // in the file
};

// Looks at a bounded number of bytes of the whole stream.
class LengthCheck {
 public:
  // Messages are of one of the types.
  LengthCheck(const std::vector<const Type*>& types, const std::string& frame)
      : all_(types), frame_(frame) {}

  // Takes the types of a sound message that is in step. Messages of these are
  // looked for first: damage looks like a message of some type too often.
  void Learn(std::string_view message);

  // Of a message that is not fine: the reader is at its first byte, its frame
  // begins at `start` and says `length`. A length is wrong if no sound messages
  // follow after it, but they do after another field, and the fields up to
  // there are a sound message. If the message is `broken`, the stream can be
  // out of step; more messages have to follow then.
  NextMessage FindNext(uint64_t start, uint64_t length, bool broken,
                       Reader* reader);

  // The first place at which messages go on, in bytes that begin inside of one.
  // `ends`: whether the stream ends with the bytes.
  std::optional<size_t> FindFirst(std::string_view bytes, bool ends);

 private:
  // Whether the types of the messages are known from those in step.
  bool IsKnown() const;
  // Whether sound messages begin at a place: several, or all up to the end of
  // the stream.
  bool Follow(std::string_view bytes, size_t at);
  // The same for a place that nothing else speaks for; `near`: or that is near
  // to where a length says.
  bool GoOn(std::string_view bytes, size_t at, bool near);
  // Whether the frames from one place on lead to another.
  bool Lead(std::string_view bytes, size_t from, size_t to);
  // Where a message of this length, or of another one, really ends; 0: unknown.
  size_t FindFieldEnd(std::string_view message, uint64_t length);
  // The first place after `frame` where messages go on; 0: nowhere. `end` is
  // that of the message by its length; it is returned if it leads there.
  size_t FindLater(std::string_view bytes, size_t frame, size_t end);
  // The same for messages of types that were not seen before.
  size_t FindOthers(std::string_view bytes, size_t frame, size_t end);
  bool IsSound(std::string_view message);

  const std::vector<const Type*>& all_;
  std::vector<const Type*> seen_;  // types of messages in step
  uint64_t messages_ = 0;          // that they were learned from
  // Those that are looked for.
  const std::vector<const Type*>* types_ = &all_;
  const std::string& frame_;
  bool ends_ = false;  // whether the stream ends with the bytes in memory
  uint64_t budget_ = 64 << 20;  // bytes that may still be looked at
  uint64_t others_ = 64 << 20;  // the same for types that were not seen
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_LENGTHS_H_
