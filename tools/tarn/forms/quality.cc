// Weighs bytes for each type.
#include "quality.h"

#include <algorithm>

#include "ranking.h"

namespace tarn::tool {

Quality QualityOf(const std::vector<const Type*>& types, std::string_view bytes,
                  bool cut) {
  Quality best = Quality::kNone;
  for (const Type* type : types) {
    const Evidence evidence = Weigh(*type, bytes, cut);
    if (IsClean(evidence) && evidence.fields > 0) return Quality::kClean;
    if (!evidence.accepted) continue;
    best =
        std::max(best, evidence.fields > 0 ? Quality::kOdd : Quality::kForeign);
  }
  return best;
}

}  // namespace tarn::tool
