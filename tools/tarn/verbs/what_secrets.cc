// Reads the bytes as each type with a pass phrase.
#include "what_secrets.h"

#include <algorithm>

#include "candidates.h"
#include "encoding.h"
#include "salvage.h"
#include "walker.h"
#include "what_page.h"

namespace tarn::tool {
namespace {

// Whether bytes, read as a type, hold a pass phrase: all of one, or the part
// before an error. Types that explain less than half of the fields do not
// count.
bool HoldsSecret(const Candidate& candidate, std::string_view bytes) {
  const Evidence& evidence = candidate.evidence;
  if (!candidate.type->secret || 2 * evidence.unknown > evidence.fields) {
    return false;
  }
  const auto message = NewMessage(*candidate.type);
  const auto* descriptor = candidate.type->descriptor;
  std::string path;
  if (evidence.accepted) {
    message->ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
  } else {
    path = FindDamage(*candidate.type, bytes, 0).path;
  }
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const auto& field = *descriptor->field(i);
    if (IsSecret(field) &&
        (path == field.name() ||
         message->GetReflection()->HasField(*message, &field))) {
      return true;
    }
  }
  return false;
}

// Finds the first unknown field whose bytes are a message with a pass phrase.
class UnknownSecret : public WalkVisitor {
 public:
  explicit UnknownSecret(const Answer& answer) : answer_(answer) {}

  void Unknown(const Stack& stack, const Item& item) {
    if (item.wire() != 2 || !found_.empty()) return;
    for (const Candidate& candidate : answer_.candidates) {
      const Type& type = *candidate.type;
      if (!type.secret) continue;
      const Candidate inner{&type, Weigh(type, item.bytes())};
      if (!IsClean(inner.evidence) || !HoldsSecret(inner, item.bytes())) {
        continue;
      }
      const uint64_t offset = item.begin - answer_.bytes.data();
      found_.push_back({&type, stack.Path(nullptr, item.number()), offset});
      return;
    }
  }
  bool Fail(const Stack&, const Error&) { return true; }

  const std::vector<Secret>& found() const { return found_; }

 private:
  const Answer& answer_;
  std::vector<Secret> found_;  // at most one
};

// Whether the type is certain, and the candidate is not near it.
bool IsRuledOut(const Answer& answer, const Candidate& candidate) {
  if (answer.given != nullptr || answer.verdict.size() != 1 ||
      !IsClean(answer.candidates.front().evidence)) {
    return false;
  }
  const auto shown = FirstCandidates(answer.candidates, kShownTypes);
  return std::none_of(shown.begin(), shown.end(), [&](const auto& near) {
    return near.candidate->type == candidate.type;
  });
}

}  // namespace

std::vector<Secret> SecretsOf(const Answer& answer) {
  std::vector<Secret> secrets;
  for (const Candidate& candidate : answer.candidates) {
    if (candidate.type != answer.type && !IsRuledOut(answer, candidate) &&
        HoldsSecret(candidate, answer.bytes)) {
      secrets.push_back({candidate.type});
    }
  }
  UnknownSecret unknown(answer);
  Walk(*answer.type, answer.bytes, unknown);
  secrets.insert(secrets.end(), unknown.found().begin(), unknown.found().end());
  return secrets;
}

void PrintSecrets(const std::vector<Secret>& secrets, Output* output) {
  for (const Secret& secret : secrets) {
    const std::string& name = secret.type->descriptor->name();
    BeginLine("Secret", output);
    if (secret.path.empty()) {
      output->Write("as " + name +
                    ", these bytes can hold a pass phrase, which commands for "
                    "other types show\n");
    } else {
      output->Write("unknown field " + secret.path + " at byte " +
                    std::to_string(secret.offset) + " can be a " + name +
                    " with a pass phrase, which commands show\n");
    }
  }
}

void WriteSecrets(const std::vector<Secret>& secrets, JsonWriter* json) {
  json->Key("secrets").BeginList();
  for (const Secret& secret : secrets) {
    json->BeginObject();
    json->Key("type").String(secret.type->descriptor->full_name());
    if (!secret.path.empty()) {
      json->Key("path").String(secret.path);
      json->Key("offset").Number(secret.offset);
    }
    json->EndObject();
  }
  json->EndList();
}

}  // namespace tarn::tool
