// Reads each line of digits as a message, up to the first one that is none.
#include "line_messages.h"

#include <algorithm>

#include "ranking.h"
#include "walker.h"

namespace tarn::tool {
namespace {

bool IsSound(const Type& type, std::string_view bytes) {
  const Evidence evidence = Weigh(type, bytes);
  return IsClean(evidence) && evidence.fields > 0;
}

// Finds the least and the greatest number of the fields of a message.
class FieldNumbers : public WalkVisitor {
 public:
  void Value(const Stack& stack, const Item& item) { Add(stack, item); }
  void Packed(const Stack& stack, const Item& item) { Add(stack, item); }
  void Enter(const Stack& stack, const Item& item) { Add(stack, item); }

  uint32_t least = UINT32_MAX;
  uint32_t most = 0;

 private:
  void Add(const Stack& stack, const Item& item) {
    if (stack.depth() != 0) return;
    least = std::min(least, item.number());
    most = std::max(most, item.number());
  }
};

}  // namespace

LineMessages FindLineMessages(const std::vector<const Type*>& types,
                              const Form& form) {
  std::vector<const Type*> like = types;  // the types of all lines
  bool parts = true;                      // of one message, by the numbers
  bool wrapped = true;                    // in lines of one length
  uint32_t last_number = 0;
  size_t first_size = 0, last_size = 0;
  LineMessages lines;
  std::string_view rest = form.digits;
  while (!rest.empty()) {
    const std::string_view line = Trim(TakeLine(&rest));
    if (line.empty()) continue;
    std::string bytes;
    const bool read = form.name == "hex"      ? FromHexDigits(line, &bytes)
                      : form.name == "base64" ? FromBase64(line, &bytes)
                                              : FromNumbers(line, &bytes);
    if (!read) return {};
    like.erase(std::remove_if(
                   like.begin(), like.end(),
                   [&](const Type* type) { return !IsSound(*type, bytes); }),
               like.end());
    if (like.empty()) return {};
    FieldNumbers numbers;
    Walk(*like.front(), bytes, numbers);
    parts = parts && numbers.least > last_number;
    last_number = numbers.most;
    if (lines.count++ == 0) first_size = last_size = line.size();
    wrapped = wrapped && last_size == first_size && line.size() <= first_size;
    last_size = line.size();
  }
  if (lines.count < 2 || parts) return {};
  lines.can_be_one =
      wrapped && std::any_of(types.begin(), types.end(), [&](const Type* type) {
        const Evidence evidence = Weigh(*type, form.bytes);
        return IsClean(evidence) && evidence.disorder == 0;
      });
  return lines;
}

}  // namespace tarn::tool
