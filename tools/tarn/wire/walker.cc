// The texts of the walker's errors.
#include "walker.h"

namespace tarn::tool {
namespace {

// Whether errors must not show any number of the message, because a pass phrase
// may have been read as tags and lengths.
bool IsMasked(const Stack& stack) { return stack.at(0).type->masked; }

// "tarn.Server.name", or "field 15 of tarn.Server" if the field is unknown.
std::string Name(const Item& item, const Stack& stack) {
  if (item.field != nullptr) return item.field->descriptor->full_name();
  const Frame& frame = stack.top();
  std::string record =
      frame.type != nullptr ? frame.type->descriptor->full_name()
      : IsMasked(stack)     ? "a group"
                            : "group " + std::to_string(frame.group);
  if (item.tag == 0) return record;
  if (IsMasked(stack)) return "an unknown field of " + record;
  return "field " + std::to_string(item.number()) + " of " + record;
}

std::string Bytes(uint64_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

// Whether an item is longer than what is there, and its length may be shown.
bool CanCount(const Item& item, const Stack& stack) {
  return item.end != nullptr && item.cut() &&
         (item.field != nullptr || !IsMasked(stack));
}

// What is missing of a record or value that is cut off.
std::string CutOff(const Error& error, const Stack& stack) {
  const Item& item = error.item;
  const char* end = stack.top().end;
  if (CanCount(item, stack)) {
    return "cut off inside " + Name(item, stack) + ": " +
           std::to_string(end - item.data) + " of its " + Bytes(item.length()) +
           " are there";
  }
  if (item.tag == 0 && item.begin != end) {
    return "cut off inside a tag of " + Name(item, stack);
  }
  return "cut off inside " + Name(item, stack);
}

std::string PastEnd(const Error& error, const Stack& stack) {
  const Item& item = error.item;
  const Frame& frame = stack.top();
  const std::string record = Name(Item(), stack);
  if (CanCount(item, stack)) {
    return "length runs past the end of " + record + ": " +
           Bytes(item.length()) + " announced, " +
           std::to_string(frame.end - item.data) + " left";
  }
  if (item.tag == 0) return "tag runs past the end of " + record;
  if (item.field != nullptr && item.tag == item.field->packed_tag) {
    return "value runs past the end of the list " + Name(item, stack);
  }
  return "value of " + Name(item, stack) + " runs past the end of " + record;
}

}  // namespace

std::string Stack::Path(const Field* field, uint32_t number) const {
  const auto name = [&](uint32_t unknown) {
    return IsMasked(*this) ? "***" : std::to_string(unknown);
  };
  std::string path;
  for (int i = 1; i <= depth_; ++i) {
    const Frame& frame = frames_[i];
    if (!path.empty()) path += '.';
    if (frame.field == nullptr) {
      path += name(frame.group);
      continue;
    }
    path += frame.field->name;
    if (frame.field->repeated) path += '[' + std::to_string(frame.index) + ']';
  }
  if (field == nullptr && number == 0) return path;
  if (!path.empty()) path += '.';
  if (field == nullptr) return path + name(number);
  path += field->name;
  if (field->repeated) path += '[' + std::to_string(Count(*field)) + ']';
  return path;
}

std::string_view ProblemName(Problem problem) {
  constexpr std::string_view kNames[] = {
      "cutOff",     "pastEnd",    "longVarint",    "longTag",
      "longLength", "badUtf8",    "tooDeep",       "endGroup",
      "openGroup",  "zeroNumber", "noSuchWireType"};
  return kNames[static_cast<int>(problem)];
}

std::string ErrorPath(const Error& error, const Stack& stack) {
  return stack.Path(error.item.field, error.item.number());
}

std::string Reason(const Error& error, const Stack& stack, const char* start,
                   uint64_t offset) {
  const Item& item = error.item;
  const std::string number = std::to_string(item.number());
  if (IsMasked(stack)) {
    switch (error.problem) {
      case Problem::kEndGroup:
        return "end-group tag without its group";
      case Problem::kOpenGroup:
        return "a group has no end-group tag";
      case Problem::kNoSuchWireType:
        return "a wire type that does not exist";
      default:
        break;
    }
  }
  switch (error.problem) {
    case Problem::kCutOff:
      return CutOff(error, stack);
    case Problem::kPastEnd:
      return PastEnd(error, stack);
    case Problem::kLongVarint:
      return "varint longer than ten bytes";
    case Problem::kLongTag:
      return "tag longer than five bytes";
    case Problem::kLongLength:
      return "length of 2 GiB or more, or longer than five bytes";
    case Problem::kBadUtf8:
      return "invalid UTF-8 in " + Name(item, stack) + " at byte " +
             std::to_string(offset + (error.at - start));
    case Problem::kTooDeep:
      return "nested deeper than " + std::to_string(kMaxDepth);
    case Problem::kEndGroup:
      if (stack.top().group != 0) {
        return "end-group tag of field " + number + " inside group " +
               std::to_string(stack.top().group);
      }
      return "end-group tag of field " + number + ", which no group precedes";
    case Problem::kOpenGroup:
      return "group " + std::to_string(stack.top().group) +
             " has no end-group tag";
    case Problem::kZeroNumber:
      return item.tag == 4 ? "end-group tag of field 0"
                           : "tag with field number 0";
    case Problem::kNoSuchWireType:
      return "wire type " + std::to_string(item.wire()) + " does not exist";
  }
  return "";
}

}  // namespace tarn::tool
