// Finds the type that a text is most like.
#include "written.h"

#include <algorithm>

#include "encoding.h"
#include "forms.h"
#include "json_check.h"
#include "ranking.h"

namespace tarn::tool {
namespace {

// Why a text is no message of the type, and the sentence that says so.
struct Complaint {
  std::string sentence;
  Refusal reason;
};

Complaint ComplaintOf(const std::string& form, const Type& type,
                      std::string_view text, const std::string& name) {
  try {
    EncodeWritten(form, type, text, name);
  } catch (const NotEncoded& refusal) {
    return {refusal.what(), refusal.reason()};
  }
  return {};
}

// The types that understand most of a text.
std::vector<const Type*> MostLike(const std::string& form,
                                  const std::vector<const Type*>& types,
                                  std::string_view text) {
  std::vector<const Type*> like;
  size_t most = 0;
  for (const Type* type : types) {
    const size_t understood = form == "json" ? UnderstoodJson(*type, text)
                                             : UnderstoodText(*type, text);
    if (understood > most) like.clear();
    most = std::max(most, understood);
    if (understood == most) like.push_back(type);
  }
  return like;
}

// Whether the first lines are JSON, each by itself.
bool HasJsonLines(std::string_view text) {
  for (int i = 0; i < 2; ++i) {
    const std::string_view line = TakeLine(&text);
    if (Trim(line).empty() || !FindJsonProblem(line).empty()) return false;
  }
  return true;
}

// Adds to a complaint about a text that breaks off which types have the names
// up to there.
void NameTypes(const std::string& form, const std::vector<const Type*>& types,
               std::string_view text, Refused* refused) {
  constexpr size_t kLooked = 64 << 10;  // bytes
  constexpr size_t kMostNames = 3;
  const std::vector<const Type*> like =
      MostLike(form, types, text.substr(0, kLooked));
  if (types.size() == 1 || like.size() > kMostNames) return;
  refused->likeliest = like.front();
  refused->complaint +=
      " (the names before are those of " + NamesOf(like) + ")";
}

}  // namespace

std::string EncodeWritten(const std::string& form, const Type& type,
                          std::string_view text, const std::string& name) {
  return form == "json" ? EncodeJson(type, text, name)
                        : EncodeText(type, text, name);
}

Refused ExplainWritten(const std::string& form, const std::string& name,
                       const std::vector<const Type*>& types,
                       std::string_view text) {
  Refused refused;
  constexpr size_t kMany = 20;
  const std::string broken = form == "json" ? FindJsonProblem(text) : "";
  if (!broken.empty()) {
    refused.several = HasJsonLines(text);
    refused.complaint =
        name + (refused.several
                    ? "JSON with a message in each line: cut one out"
                    : broken);
    if (!refused.several) NameTypes(form, types, text, &refused);
    return refused;
  }
  const std::vector<const Type*> like = MostLike(form, types, text);
  Refusal reason;
  for (const Type* type : like) {
    const Complaint complaint = ComplaintOf(form, *type, text, name);
    if (refused.likeliest == nullptr || complaint.reason.near) {
      refused.likeliest = type;
      refused.complaint = complaint.sentence;
      reason = complaint.reason;
    }
    if (reason.near) break;
  }
  if (types.size() == 1 || refused.likeliest == nullptr) return refused;
  if (reason.ends) {
    refused.likeliest = nullptr;
    NameTypes(form, types, text, &refused);
    return refused;
  }
  refused.strange = reason.no_field && !reason.near;
  if (!reason.near && like.size() > kMany && reason.no_field) {
    refused.likeliest = nullptr;
    refused.complaint = name + "no message type has all of these fields";
    return refused;
  }
  refused.complaint += " (read as " +
                       refused.likeliest->descriptor->full_name() +
                       ", which it is most like)";
  return refused;
}

}  // namespace tarn::tool
