// What a walk over wire bytes reports: items, the records around them, and
// errors.
#ifndef TOOLS_TARN_WALK_VISITOR_H_
#define TOOLS_TARN_WALK_VISITOR_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "schema.h"

namespace tarn::tool {

// How deep records may be nested: the runtime's default limit.
inline constexpr int kMaxDepth = 100;

// One tag with its value. The parts follow one another in the input: [begin,
// value) tag, [value, data) length of a length-delimited value or nothing,
// [data, end) the value itself, as far as it is there.
struct Item {
  const char* begin = nullptr;
  const char* value = nullptr;
  const char* data = nullptr;
  const char* end = nullptr;
  uint32_t tag = 0;
  uint64_t number_value = 0;     // as read: of a varint or a fixed one; or the
                                 // length of a value that is cut off
  const Field* field = nullptr;  // null: not known, or not with this wire type

  uint32_t number() const { return tag >> 3; }
  uint32_t wire() const { return tag & 7; }
  std::string_view bytes() const {
    return {data, static_cast<size_t>(end - data)};
  }
  // Of a length-delimited value, but not of an element of a list: whether less
  // is there than the length says, and this length.
  bool cut() const { return wire() == 2 && number_value != 0; }
  uint64_t length() const { return cut() ? number_value : end - data; }
};

// A record that the walk is inside of.
struct Frame {
  const Type* type = nullptr;    // null: a group, which no type has
  const Field* field = nullptr;  // that holds the record; null: top, or a group
  const char* begin = nullptr;   // its tag
  const char* data = nullptr;    // its content
  const char* end = nullptr;     // for a group: of the record around it
  uint64_t seen = 0;  // fields met, a bit each; of a oneof only the last member
  uint32_t group = 0;          // field number of a group
  uint32_t index = 0;          // among the elements of a repeated field
  uint32_t first_counter = 0;  // in Stack::counters
  bool clipped = false;  // ends only because the input does: if it is reached,
                         // the record is cut off
};

class Stack {
 public:
  const Frame& top() const { return frames_[depth_]; }
  const Frame& at(int depth) const { return frames_[depth]; }
  int depth() const { return depth_; }  // 0: in the message itself

  // The path of an item of the top record: "children[2].server.name". If the
  // field is null, a number other than 0 names an unknown field. Elements count
  // from 0.
  std::string Path(const Field* field, uint32_t number) const;

  // The number of elements met so far of a repeated field of the top record.
  uint32_t Count(const Field& field) const {
    return counters_[top().first_counter + field.slot];
  }

 private:
  template <class Visitor>
  friend class Walker;

  std::array<Frame, kMaxDepth + 1> frames_;
  std::vector<uint32_t> counters_;
  int depth_ = 0;
};

enum class Problem : uint8_t {
  kCutOff,          // the input ends too early
  kPastEnd,         // a value is longer than the record around it
  kLongVarint,      // more than ten bytes
  kLongTag,         // more than five bytes
  kLongLength,      // more than five bytes, or 2 GiB and more
  kBadUtf8,         // in a string
  kTooDeep,         // more than kMaxDepth
  kEndGroup,        // without a start, or another group's
  kOpenGroup,       // a group without its end
  kZeroNumber,      // field number 0
  kNoSuchWireType,  // 6 and 7
};

struct Error {
  Problem problem;
  const char* at;  // byte that is wrong, or the end of the input
  Item item;       // as far as it was read; `begin` always is
};

// The name of a problem in JSON: "longVarint".
std::string_view ProblemName(Problem problem);

// The reason as text: "varint longer than ten bytes". `start` is the first byte
// of the input, and `offset` its offset in the file.
std::string Reason(const Error& error, const Stack& stack, const char* start,
                   uint64_t offset);

// The path of the item that the error is about; may be empty at top level.
std::string ErrorPath(const Error& error, const Stack& stack);

struct WalkVisitor {
  // A field with one value: number, text or bytes. Called before the item is
  // entered into stack.top().seen.
  void Value(const Stack&, const Item&) {}
  // A packed list as a whole, then each of its values, then its end.
  void Packed(const Stack&, const Item&) {}
  void Element(const Stack&, const Item&) {}
  void PackedEnd(const Stack&, const Item&) {}
  // Enter: a sub-message, map entry or (without a field) group begins; the
  // stack does not hold it yet. Leave: it ends; the stack still holds it.
  // `tail` is the end tag of a group, otherwise the end of the record.
  void Enter(const Stack&, const Item&) {}
  void Leave(const Stack&, const char* /*tail*/) {}
  // A value of an unknown field, or of a known field with another wire type.
  void Unknown(const Stack&, const Item&) {}
  // An error that makes the runtime reject the message. Returns whether to go
  // on after the broken part.
  bool Fail(const Stack&, const Error&) { return false; }
  // Bytes that are skipped after an error, up to the end of the record, if the
  // walk goes on. Open groups end there without a call of Leave. After bad
  // UTF-8 nothing is skipped, because the item is complete.
  void Skip(const Stack&, const char* /*from*/, const char* /*to*/) {}
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WALK_VISITOR_H_
