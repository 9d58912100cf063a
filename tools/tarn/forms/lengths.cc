// Tries the end of each field as the end of the message, and each byte as the
// beginning of the next one.
#include "lengths.h"

#include <algorithm>

#include "frame.h"
#include "ranking.h"
#include "walker.h"

namespace tarn::tool {
namespace {

// How much of a stream is looked at: of the message, and after it.
constexpr uint64_t kMost = 1 << 20;
constexpr uint64_t kAfter = 64 << 10;
// So few bytes are lost, or too many, for a length that is nearly right.
constexpr size_t kNear = 8;
// What a look at a message costs, beside its bytes.
constexpr uint64_t kEach = 16;
// So many messages in step tell the types of the others.
constexpr uint64_t kKnown = 2;
// So many messages of other types are no entries of lists in a broken message.
constexpr int kOthers = 8;

// Collects where the known fields of a message end, up to the first error.
class FieldEnds : public WalkVisitor {
 public:
  explicit FieldEnds(std::string_view bytes) : bytes_(bytes) {}

  void Value(const Stack& stack, const Item& item) { Add(stack, item); }
  void Packed(const Stack& stack, const Item& item) { Add(stack, item); }
  void Enter(const Stack& stack, const Item& item) {
    if (item.field != nullptr) Add(stack, item);
  }

  std::vector<size_t> ends;

 private:
  void Add(const Stack& stack, const Item& item) {
    if (stack.depth() != 0 || item.cut()) return;
    ends.push_back(item.end - bytes_.data());
  }

  std::string_view bytes_;
};

}  // namespace

void LengthCheck::Learn(std::string_view message) {
  if (all_.size() == 1 || message.empty()) return;
  ++messages_;
  if (std::any_of(seen_.begin(), seen_.end(), [&](const Type* type) {
        return IsClean(Weigh(*type, message));
      })) {
    return;
  }
  const std::vector<Candidate> ranked = Rank(all_, message);
  if (!IsClean(ranked.front().evidence)) return;
  for (const Type* type : Verdict(ranked)) seen_.push_back(type);
}

bool LengthCheck::IsKnown() const {
  return messages_ >= kKnown && !seen_.empty() && seen_.size() < all_.size();
}

bool LengthCheck::IsSound(std::string_view message) {
  return std::any_of(types_->begin(), types_->end(), [&](const Type* type) {
    const Evidence evidence = Weigh(*type, message);
    budget_ -= std::min(budget_, evidence.explained + kEach);
    return IsClean(evidence) && evidence.fields > 0;
  });
}

bool LengthCheck::Follow(std::string_view bytes, size_t at) {
  // Of many types, one explains many bytes by chance.
  const int enough = types_->size() > 3 ? 3 : 2;
  int sound = 0;
  const std::string_view rest =
      TakeFramed(frame_, bytes.substr(at), [&](std::string_view message) {
        return IsSound(message) && ++sound < enough;
      });
  return sound == enough || (sound > 0 && ends_ && rest.empty());
}

size_t LengthCheck::FindFieldEnd(std::string_view message, uint64_t length) {
  const std::string_view part = message.substr(0, std::min(length, kAfter));
  budget_ -= std::min<uint64_t>(budget_, part.size() * types_->size());
  FieldEnds fields(message);
  Walk(*Rank(*types_, part, true).front().type, message, fields);
  for (const size_t end : fields.ends) {
    if (budget_ == 0) break;
    budget_ -= 1;
    if (end != length && Follow(message, end) &&
        IsSound(message.substr(0, end))) {
      return end;
    }
  }
  return 0;
}

bool LengthCheck::GoOn(std::string_view bytes, size_t at, bool near) {
  if (at >= bytes.size()) return false;
  constexpr size_t kTaken = 32;
  const bool others = types_ == &all_ && IsKnown();
  const int enough = others ? kOthers : types_->size() > 3 ? 4 : 3;
  budget_ -= std::min<uint64_t>(budget_, 1);
  int sound = 0;
  size_t taken = 0;
  const std::string_view rest =
      TakeFramed(frame_, bytes.substr(at), [&](std::string_view message) {
        if (!IsSound(message)) return false;
        taken += message.size();
        return ++sound < enough || taken < kTaken;
      });
  return (sound >= enough && taken >= kTaken) ||
         (!others && ends_ && rest.empty() && sound >= (near ? 1 : 2));
}

bool LengthCheck::Lead(std::string_view bytes, size_t from, size_t to) {
  if (from > to) return false;
  const std::string_view rest =
      TakeFramed(frame_, bytes.substr(from, to - from),
                 [](std::string_view) { return true; });
  return rest.empty();
}

std::optional<size_t> LengthCheck::FindFirst(std::string_view bytes,
                                             bool ends) {
  ends_ = ends;
  for (size_t at = 1; at < std::min(bytes.size(), kAfter); ++at) {
    if (budget_ == 0) break;
    if (GoOn(bytes, at, false)) return at;
  }
  return {};
}

size_t LengthCheck::FindLater(std::string_view bytes, size_t frame,
                              size_t end) {
  for (size_t at = frame + 1; at < bytes.size() && budget_ > 0; ++at) {
    const bool near =
        end <= bytes.size() && at + kNear >= end && at <= end + kNear;
    if (!GoOn(bytes, at, near)) continue;
    // Several broken messages are not out of step.
    return Lead(bytes, end, at) ? end : at;
  }
  return 0;
}

size_t LengthCheck::FindOthers(std::string_view bytes, size_t frame,
                               size_t end) {
  types_ = &all_;
  std::swap(budget_, others_);
  const size_t later = FindLater(bytes, frame, end);
  std::swap(budget_, others_);
  return later;
}

NextMessage LengthCheck::FindNext(uint64_t start, uint64_t length, bool broken,
                                  Reader* reader) {
  NextMessage next;
  if (budget_ == 0) return next;
  types_ = IsKnown() ? &seen_ : &all_;
  ends_ = !reader->Fill(std::min(length, kMost) + kAfter);
  const uint64_t at = reader->offset();
  const std::string_view window = reader->window();
  if (length == window.size() && ends_) return next;
  const bool follow = length < window.size() && Follow(window, length);
  // What a stream begins in the middle of can end at a message by chance.
  if (follow && (!broken || start > 0)) return next;
  const size_t header = at - start;
  const size_t before = std::min(reader->before(), header + kNear);
  const std::string_view bytes = reader->WindowFrom(before);
  const size_t frame = before - header;
  const size_t end =
      length <= window.size() ? before + length : bytes.size() + 1;
  for (size_t far = 1; broken && far <= kNear; ++far) {
    if (far <= frame && GoOn(bytes, frame - far, true)) {
      return {NextMessage::kNearby, start - far};
    }
    if (start > 0 && GoOn(bytes, frame + far, false)) {
      if (Lead(bytes, end, frame + far)) return next;
      return {NextMessage::kNearby, start + far};
    }
  }
  if (!follow) {
    const size_t end = FindFieldEnd(window, length);
    if (end > 0) return {NextMessage::kAfterField, at + end};
  }
  if (!broken) return next;
  size_t later = FindLater(bytes, frame, end);
  if (later == 0 && IsKnown()) later = FindOthers(bytes, frame, end);
  if (later == 0 || later == end) return next;
  if (follow && !Lead(bytes, later, end)) return next;
  return {NextMessage::kLater, at - before + later};
}

}  // namespace tarn::tool
