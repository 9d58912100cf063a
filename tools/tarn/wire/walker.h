// Walks over the wire bytes of one message without parsing it into objects.
//
// Walk() goes through the bytes with an explicit stack, so no nesting can
// exhaust the stack of the program. It reports every item to a visitor. For
// every input its verdict equals that of the runtime's ParseFromString; if the
// runtime would only say no, Walk() also reports the byte and the reason.
//
// A visitor is a class with the members of WalkVisitor. A class that derives
// from WalkVisitor needs only the members that it uses. Calls are resolved at
// compile time, so unused members cost nothing.
#ifndef TOOLS_TARN_WALKER_H_
#define TOOLS_TARN_WALKER_H_

#include <climits>
#include <cstdint>
#include <string_view>

#include "utf8.h"
#include "walk_visitor.h"

namespace tarn::tool {

// Reads a varint of up to `limit` bytes, 5 or 10. Returns null if there is
// none.
inline const char* ReadVarint(const char* p, const char* end, int limit,
                              uint64_t* value) {
  uint64_t bits = 0;
  for (int i = 0; i < limit && p < end; ++i) {
    const uint64_t byte = static_cast<unsigned char>(*p++);
    bits |= (byte & 0x7F) << (7 * i);
    if (byte < 0x80) {
      *value = bits;
      return p;
    }
  }
  return nullptr;
}

// Walks over a message and returns the runtime's verdict: true when it would
// accept the bytes.
template <class Visitor>
bool Walk(const Type& type, std::string_view bytes, Visitor& visitor);

template <class Visitor>
class Walker {
 public:
  Walker(const Type& type, std::string_view bytes, Visitor& visitor)
      : visitor_(visitor), p_(bytes.data()) {
    Frame& frame = stack_.frames_[0];
    frame.type = &type;
    frame.begin = frame.data = p_;
    frame.end = p_ + bytes.size();
    stack_.counters_.assign(type.slots, 0);
  }

  bool Run() {
    while (!done_) Step();
    return accepted_;
  }

  // After Run(): the stack of the message itself, if the walk reached its end.
  const Stack& stack() const { return stack_; }

 private:
  Frame& top() { return stack_.frames_[stack_.depth_]; }
  // Whether the end of the top record is that of the input.
  bool AtInputEnd() { return stack_.depth_ == 0 || top().clipped; }

  // Each of these functions reads what its name says and moves on, or reports
  // an error. Items are passed by reference: copies cost more than everything
  // else. Functions that nearly every item needs are always inlined: otherwise
  // the compiler calls them, and the walk takes a seventh longer.
  [[gnu::always_inline]] void Step();
  void End();
  [[gnu::always_inline]] void Known(Item& item);
  [[gnu::always_inline]] void Number(Item& item);
  [[gnu::always_inline]] void Text(Item& item);
  void Packed(Item& item);
  void Unknown(Item& item);
  void EndGroup(const Item& item);
  void Enter(const Item& item, bool clipped);
  [[gnu::always_inline]] bool Length(Item* item, bool may_be_clipped);
  bool Fixed(Item* item, int size);

  void Leave() {
    stack_.counters_.resize(top().first_counter);
    --stack_.depth_;
  }

  // Notes in the top record that the item was met, and goes on after it.
  [[gnu::always_inline]] void Done(const Item& item) {
    const Field& field = *item.field;
    Frame& frame = top();
    frame.seen = (frame.seen & ~field.other_members) | uint64_t{1}
                                                           << field.number;
    if (field.repeated) ++stack_.counters_[frame.first_counter + field.slot];
    p_ = item.end;
  }

  // Reports an error. Ends the walk, or sets p_ to where it can go on.
  void Broken(Problem problem, const char* at, const Item& item);
  // Reports a varint at p that is too long or is cut off at `end`.
  void BrokenVarint(const char* p, const char* end, int limit, Item item);
  // Reports a value, or a tag that is not read yet, that is longer than the top
  // record.
  void Overrun(const Item& item) {
    if (AtInputEnd()) {
      Broken(Problem::kCutOff, top().end, item);
    } else {
      Broken(Problem::kPastEnd, item.value != nullptr ? item.value : item.begin,
             item);
    }
  }

  Visitor& visitor_;
  Stack stack_;
  const char* p_;
  bool accepted_ = true;
  bool done_ = false;
};

template <class Visitor>
bool Walk(const Type& type, std::string_view bytes, Visitor& visitor) {
  return Walker<Visitor>(type, bytes, visitor).Run();
}

template <class Visitor>
inline void Walker<Visitor>::Step() {
  const Frame& frame = top();
  if (p_ == frame.end) return End();
  Item item;
  item.begin = p_;
  if (static_cast<signed char>(*p_) >= 0) {
    item.tag = static_cast<unsigned char>(*p_);
    item.data = item.value = p_ + 1;
  } else {
    // The runtime keeps 32 of the 35 bits of a long tag.
    uint64_t tag;
    item.data = item.value = ReadVarint(p_, frame.end, 5, &tag);
    if (item.value == nullptr) return BrokenVarint(p_, frame.end, 5, item);
    item.tag = static_cast<uint32_t>(tag);
  }
  if (frame.type != nullptr) {
    item.field = frame.type->Find(item.number());
    if (item.field != nullptr) {
      if (item.tag == item.field->tag) return Known(item);
      if (item.tag == item.field->packed_tag) return Packed(item);
      item.field = nullptr;
    }
  }
  Unknown(item);
}

template <class Visitor>
void Walker<Visitor>::End() {
  const Frame& frame = top();
  if (frame.clipped || frame.group != 0) {
    Item item;
    item.begin = p_;
    Broken(frame.clipped ? Problem::kCutOff : Problem::kOpenGroup, p_, item);
  } else if (stack_.depth_ == 0) {
    done_ = true;
  } else {
    visitor_.Leave(stack_, p_);
    Leave();
  }
}

template <class Visitor>
inline void Walker<Visitor>::Known(Item& item) {
  switch (item.field->kind) {
    case Kind::kInt32:
    case Kind::kUint32:
    case Kind::kBool:
    case Kind::kEnum:
      return Number(item);
    case Kind::kFloat:
      if (!Fixed(&item, 4)) return;
      visitor_.Value(stack_, item);
      return Done(item);
    case Kind::kString:
    case Kind::kBytes:
      return Text(item);
    case Kind::kMessage:
      if (!Length(&item, true)) return;
      return Enter(item, item.cut());
    case Kind::kNone:
      break;
  }
}

template <class Visitor>
inline void Walker<Visitor>::Number(Item& item) {
  const char* end = top().end;
  if (p_ = item.value; p_ < end && static_cast<signed char>(*p_) >= 0) {
    item.number_value = static_cast<unsigned char>(*p_);
    item.end = p_ + 1;
  } else {
    item.end = ReadVarint(p_, end, 10, &item.number_value);
    if (item.end == nullptr) return BrokenVarint(p_, end, 10, item);
  }
  visitor_.Value(stack_, item);
  Done(item);
}

template <class Visitor>
inline void Walker<Visitor>::Text(Item& item) {
  if (!Length(&item, false)) return;
  if (item.field->kind == Kind::kString) {
    const char* bad = FindInvalidUtf8(item.data, item.end);
    if (bad != nullptr) return Broken(Problem::kBadUtf8, bad, item);
  }
  visitor_.Value(stack_, item);
  Done(item);
}

template <class Visitor>
void Walker<Visitor>::Packed(Item& item) {
  if (!Length(&item, false)) return;
  visitor_.Packed(stack_, item);
  Item element = item;
  for (const char* p = item.data; p < item.end; p = element.end) {
    element.begin = element.value = element.data = p;
    element.end = ReadVarint(p, item.end, 10, &element.number_value);
    if (element.end == nullptr) {
      if (item.end - p < 10) return Broken(Problem::kPastEnd, p, element);
      return BrokenVarint(p, item.end, 10, element);
    }
    visitor_.Element(stack_, element);
    Done(element);
  }
  visitor_.PackedEnd(stack_, item);
  p_ = item.end;
}

template <class Visitor>
void Walker<Visitor>::Unknown(Item& item) {
  if (item.number() == 0) return Broken(Problem::kZeroNumber, p_, item);
  const char* end = top().end;
  switch (item.wire()) {
    case 0:
      item.end = ReadVarint(item.value, end, 10, &item.number_value);
      if (item.end == nullptr) return BrokenVarint(item.value, end, 10, item);
      break;
    case 1:
      if (!Fixed(&item, 8)) return;
      break;
    case 2:
      if (!Length(&item, false)) return;
      break;
    case 3:
      item.end = item.value;
      return Enter(item, AtInputEnd());
    case 4:
      return EndGroup(item);
    case 5:
      if (!Fixed(&item, 4)) return;
      break;
    default:
      return Broken(Problem::kNoSuchWireType, p_, item);
  }
  visitor_.Unknown(stack_, item);
  p_ = item.end;
}

template <class Visitor>
void Walker<Visitor>::EndGroup(const Item& item) {
  if (top().group != item.number()) {
    return Broken(Problem::kEndGroup, p_, item);
  }
  visitor_.Leave(stack_, item.begin);
  Leave();
  p_ = item.value;
}

template <class Visitor>
inline void Walker<Visitor>::Enter(const Item& item, bool clipped) {
  if (stack_.depth_ == kMaxDepth) {
    return Broken(Problem::kTooDeep, item.begin, item);
  }
  visitor_.Enter(stack_, item);
  const Frame& outer = top();
  Frame& frame = stack_.frames_[stack_.depth_ + 1];
  frame.field = item.field;
  frame.begin = item.begin;
  frame.data = item.data;
  frame.end = item.field == nullptr ? outer.end : item.end;
  frame.seen = 0;
  frame.clipped = clipped;
  if (item.field == nullptr) {
    frame.type = nullptr;
    frame.group = item.number();
    frame.index = 0;
  } else {
    frame.type = item.field->type;
    frame.group = 0;
    frame.index = item.field->repeated ? stack_.Count(*item.field) : 0;
    Done(item);
  }
  p_ = item.data;
  frame.first_counter = stack_.counters_.size();
  stack_.counters_.resize(frame.first_counter +
                          (frame.type == nullptr ? 0 : frame.type->slots));
  ++stack_.depth_;
}

// Reads a length. A record may be longer than the rest of the input: the part
// that is there can be walked.
template <class Visitor>
inline bool Walker<Visitor>::Length(Item* item, bool may_be_clipped) {
  const char* end = top().end;
  const char* p = item->value;
  uint64_t length;
  if (p < end && static_cast<signed char>(*p) >= 0) {
    length = static_cast<unsigned char>(*p);
    item->data = p + 1;
  } else {
    const char* data = ReadVarint(p, end, 5, &length);
    if (data == nullptr) {
      BrokenVarint(p, end, 5, *item);
      return false;
    }
    item->data = data;
    // The runtime keeps some room below INT_MAX for its own calculations.
    if (length > INT_MAX - 16) {
      Broken(Problem::kLongLength, data - 1, *item);
      return false;
    }
  }
  if (length <= static_cast<uint64_t>(end - item->data)) {
    item->end = item->data + length;
    return true;
  }
  // With 32 bits, no address need be as far away as the length says.
  item->end = end;
  item->number_value = length;
  if (may_be_clipped && AtInputEnd()) return true;
  Overrun(*item);
  return false;
}

template <class Visitor>
bool Walker<Visitor>::Fixed(Item* item, int size) {
  if (top().end - item->value < size) {
    Overrun(*item);
    return false;
  }
  item->end = item->value + size;
  for (int i = size; i > 0; --i) {
    item->number_value = item->number_value << 8 |
                         static_cast<unsigned char>(item->value[i - 1]);
  }
  return true;
}

template <class Visitor>
void Walker<Visitor>::BrokenVarint(const char* p, const char* end, int limit,
                                   Item item) {
  if (end - p < limit) return Overrun(item);
  Broken(limit == 10     ? Problem::kLongVarint
         : item.tag == 0 ? Problem::kLongTag
                         : Problem::kLongLength,
         p + limit - 1, item);
}

template <class Visitor>
void Walker<Visitor>::Broken(Problem problem, const char* at,
                             const Item& item) {
  accepted_ = false;
  if (!visitor_.Fail(stack_, Error{problem, at, item})) {
    done_ = true;
    return;
  }
  if (problem == Problem::kBadUtf8) return Done(item);
  if (problem == Problem::kTooDeep && item.field != nullptr) {
    visitor_.Skip(stack_, item.begin, item.end);
    p_ = item.end;
    return;
  }
  // After an error the end of a group is not known.
  while (top().group != 0) Leave();
  Frame& frame = top();
  visitor_.Skip(stack_, item.begin, frame.end);
  p_ = frame.end;
  // One report that the input is cut off is enough.
  if (frame.clipped) {
    for (Frame& open : stack_.frames_) open.clipped = false;
  }
}

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WALKER_H_
