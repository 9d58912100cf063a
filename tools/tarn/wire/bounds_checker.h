// Whether a receiver has room for the texts and lists of a message.
#ifndef TOOLS_TARN_BOUNDS_CHECKER_H_
#define TOOLS_TARN_BOUNDS_CHECKER_H_

#include <functional>
#include <string>
#include <vector>

#include "finding.h"
#include "profile.h"
#include "walk_visitor.h"

namespace tarn::tool {

// Is told what a walk meets, and reports what has no room. The offset of a
// finding is set by whoever gets it, from the place in the bytes.
class BoundsChecker {
 public:
  using Report = std::function<void(Finding finding, const char* at)>;

  // Without a profile there is nothing to report.
  BoundsChecker(const Profile* profile, Report report)
      : profile_(profile), report_(std::move(report)) {}

  // A value, an element of a packed list, or a record that begins.
  void Meet(const Stack& stack, const Item& item) {
    if (profile_ != nullptr) Compare(stack, item);
  }
  // The end of the top record.
  void End(const Stack& stack) {
    if (profile_ != nullptr && stack.top().type != nullptr) Count(stack);
  }

 private:
  void Compare(const Stack& stack, const Item& item);
  void Size(const Stack& stack, const Item& item, uint32_t bound);
  void Count(const Stack& stack);
  // The first element too many of a list of the top record. What is in front of
  // the record was another list's.
  const char*& FirstTooMany(const Stack& stack, const Field& field);

  const Profile* const profile_;
  const Report report_;
  std::vector<const char*> too_many_;  // by the counters of lists
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_BOUNDS_CHECKER_H_
