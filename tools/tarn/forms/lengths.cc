// Tries the end of each field as the end of the message.
#include "lengths.h"

#include <algorithm>

#include "frame.h"
#include "ranking.h"
#include "walker.h"

namespace tarn::tool {
namespace {

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

bool LengthCheck::IsSound(std::string_view message) {
  return std::any_of(types_.begin(), types_.end(), [&](const Type* type) {
    budget_ -= std::min<uint64_t>(budget_, message.size());
    const Evidence evidence = Weigh(*type, message);
    return IsClean(evidence) && evidence.fields > 0;
  });
}

bool LengthCheck::Follow(std::string_view bytes, size_t at) {
  // Of many types, one explains many bytes by chance.
  const int enough = types_.size() > 3 ? 3 : 2;
  int sound = 0;
  const std::string_view rest =
      TakeFramed(frame_, bytes.substr(at), [&](std::string_view message) {
        return IsSound(message) && ++sound < enough;
      });
  return sound == enough || (sound > 0 && ends_ && rest.empty());
}

uint64_t LengthCheck::FindLength(uint64_t length, Reader* reader) {
  constexpr uint64_t kMost = 1 << 20;    // of the message
  constexpr uint64_t kAfter = 64 << 10;  // after it
  if (budget_ == 0) return 0;
  ends_ = !reader->Fill(std::min(length, kMost) + kAfter);
  const std::string_view bytes = reader->window();
  if (length == bytes.size() && ends_) return 0;
  if (length < bytes.size() && Follow(bytes, length)) return 0;
  const std::string_view part = bytes.substr(0, std::min(length, kAfter));
  budget_ -= std::min<uint64_t>(budget_, part.size() * types_.size());
  FieldEnds fields(bytes);
  Walk(*Rank(types_, part, true).front().type, bytes, fields);
  for (const size_t end : fields.ends) {
    if (budget_ == 0) break;
    budget_ -= 1;
    if (end != length && Follow(bytes, end) && IsSound(bytes.substr(0, end))) {
      return end;
    }
  }
  return 0;
}

}  // namespace tarn::tool
