// Compares the texts and lists of a message with the bounds of a profile.
#include "bounds_checker.h"

#include <algorithm>

namespace tarn::tool {

void BoundsChecker::Compare(const Stack& stack, const Item& item) {
  const Field& field = *item.field;
  if (field.kind == Kind::kMessage && !field.repeated &&
      stack.top().seen >> field.number & 1) {
    Finding finding{Finding::kSentInParts, Severity::kWarning};
    finding.path = stack.Path(&field, field.number);
    finding.text = "comes again; a receiver adds up the lists of both";
    report_(std::move(finding), item.begin);
  }
  const Bounds* bounds = profile_->Of(field);
  if (bounds == nullptr) return;
  if (bounds->size != 0) Size(stack, item, bounds->size);
  if (bounds->count == 0 || stack.Count(field) < bounds->count) return;
  const char*& first = FirstTooMany(stack, field);
  if (first < stack.top().begin) first = item.begin;
}

const char*& BoundsChecker::FirstTooMany(const Stack& stack,
                                         const Field& field) {
  const size_t place = stack.top().first_counter + field.slot;
  if (too_many_.size() <= place) too_many_.resize(place + 1, nullptr);
  return too_many_[place];
}

void BoundsChecker::Size(const Stack& stack, const Item& item, uint32_t bound) {
  const bool text = item.field->kind == Kind::kString;
  const uint32_t room = text ? bound - 1 : bound;  // C ends a text with a zero
  const std::string_view bytes = item.bytes();
  if (bytes.size() > room) {
    Finding finding{Finding::kTooLong, Severity::kError};
    finding.path = stack.Path(item.field, item.number());
    finding.text = std::to_string(bytes.size()) + " bytes, room for " +
                   std::to_string(room);
    finding.has_value = finding.has_expected = true;
    finding.value = static_cast<int64_t>(bytes.size());
    finding.expected = room;
    report_(std::move(finding), item.begin);
  } else if (text && bytes.find('\0') != bytes.npos) {
    Finding finding{Finding::kZeroByte, Severity::kError};
    finding.path = stack.Path(item.field, item.number());
    finding.text = "a zero byte, where C ends the text";
    report_(std::move(finding), item.data + bytes.find('\0'));
  }
}

void BoundsChecker::Count(const Stack& stack) {
  const Frame& frame = stack.top();
  for (const Field& field : frame.type->fields) {
    if (field.slot < 0) continue;
    const Bounds* bounds = profile_->Of(field);
    if (bounds == nullptr || bounds->count == 0 ||
        stack.Count(field) <= bounds->count) {
      continue;
    }
    Finding finding{Finding::kTooMany, Severity::kError};
    const std::string record = stack.Path(nullptr, 0);
    finding.path = record.empty() ? "" : record + '.';
    finding.path += field.name;
    finding.text = std::to_string(stack.Count(field)) + " elements, room for " +
                   std::to_string(bounds->count);
    finding.has_value = finding.has_expected = true;
    finding.value = stack.Count(field);
    finding.expected = bounds->count;
    // The place of one that is not UTF-8 is not known.
    report_(std::move(finding),
            std::max(frame.begin, FirstTooMany(stack, field)));
  }
}

}  // namespace tarn::tool
