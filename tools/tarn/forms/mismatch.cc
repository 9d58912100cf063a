// Judges the beginning of a message. If it is odd, looks for other types and
// forms that fit better.
#include "mismatch.h"

#include <algorithm>

#include "frame.h"
#include "known_format.h"

namespace tarn::tool {
namespace {

// A longer list of types would not help.
constexpr size_t kMostNames = 3;
// As many messages and bytes as these are no accident.
constexpr int kSound = 2;
constexpr size_t kTaken = 32;

}  // namespace

Evidence Mismatch::WeighPart(const Type& type, std::string_view bytes) {
  const std::string_view part = bytes.substr(0, kBytes);
  weighed_ += part.size();
  return Weigh(type, part, part.size() < bytes.size());
}

std::string Mismatch::FrameOf(std::string_view bytes) {
  for (const char* frame : kFrames) {
    int messages = 0;
    int sound = 0;  // of the first few
    const std::string_view rest =
        TakeFramed(frame, bytes, [&](std::string_view message) {
          // Only the first few messages are weighed; the others only have to
          // fit into their frames.
          if (++messages > kMessages) return true;
          const bool fits =
              std::any_of(types_.begin(), types_.end(), [&](const Type* type) {
                const Evidence evidence = WeighPart(*type, message);
                return IsClean(evidence) && evidence.fields > 0;
              });
          sound += fits ? 1 : 0;
          return fits;
        });
    // A stream can be damaged further on.
    const size_t taken = bytes.size() - rest.size();
    if (rest.empty() ? messages > 0 : sound >= kSound && taken >= kTaken) {
      return frame;
    }
  }
  return "";
}

std::vector<const Type*> Mismatch::LikelierTypes(std::string_view bytes) {
  const std::string_view part = bytes.substr(0, kBytes);
  const std::vector<const Type*> all = AllTypes(&schema_);
  weighed_ += all.size() * part.size();
  const std::vector<Candidate> ranked =
      Rank(all, part, part.size() < bytes.size());
  if (!IsClean(ranked.front().evidence)) return {};
  return Verdict(ranked);
}

std::string Mismatch::TypeOf(std::string_view bytes, bool bad_utf8) {
  const std::vector<const Type*> verdict = LikelierTypes(bytes);
  if (verdict.empty() || verdict.size() > kMostNames) return "";
  // Bytes that are not UTF-8 are no evidence for a type with a field of bytes,
  // which holds any bytes.
  const auto& fields = verdict.front()->fields;
  if (bad_utf8 &&
      std::any_of(fields.begin(), fields.end(), [](const Field& field) {
        return field.kind == Kind::kBytes;
      })) {
    return "";
  }
  return NamesOf(verdict);
}

bool Mismatch::IsTypeName(std::string_view bytes) {
  const std::vector<const Type*> all = AllTypes(&schema_);
  return std::any_of(all.begin(), all.end(), [&](const Type* type) {
    return bytes == type->descriptor->name() ||
           bytes == type->descriptor->full_name();
  });
}

std::string Mismatch::HintFor(std::string_view bytes, bool framed) {
  if (looks_ == kMessages) return "";
  ++looks_;
  bool bad_utf8 = false;
  for (const Type* type : types_) {
    const Evidence evidence = WeighPart(*type, bytes);
    if (IsClean(evidence)) return "";
    bad_utf8 = evidence.bad_utf8;
  }
  if (framed && IsTypeName(bytes)) {
    looks_ = kMessages;
    return name_ +
           "these bytes are the name of a type: messages with names in front "
           "cannot be read";
  }
  if (!framed) {
    const KnownFormat format = KnownFormatOf(bytes);
    if (!format.what.empty()) {
      return name_ + "these bytes look like something else: " + WordsOf(format);
    }
    const std::string frame = FrameOf(bytes);
    if (!frame.empty()) {
      return name_ +
             "these bytes look like a stream, of messages with their lengths "
             "in front: see " +
             (single_ ? "tarn what" : "--frame " + frame);
    }
  }
  if (types_.size() > 1) return "";
  const std::string names = TypeOf(bytes, bad_utf8);
  if (names.empty()) return "";
  looks_ = kMessages;
  return name_ + "these bytes look more like " + names + " than like " +
         types_.front()->descriptor->name();
}

}  // namespace tarn::tool
