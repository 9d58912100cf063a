// Words the evidence for each type.
#include "candidates.h"

#include <algorithm>

#include "salvage.h"

namespace tarn::tool {
namespace {

std::string Reasons(const Candidate& candidate, std::string_view bytes) {
  const Evidence& e = candidate.evidence;
  std::string text;
  if (e.accepted) {
    text = "parses fully, " + Count(e.fields, "field");
  } else {
    const Damage damage = FindDamage(*candidate.type, bytes, 0);
    text = "broken at byte " + std::to_string(damage.offset) + ": " +
           damage.reason;
  }
  if (e.unknown > 0) text += ", " + Count(e.unknown, "unknown field");
  if (e.undeclared > 0) {
    text += ", " + Count(e.undeclared, "undeclared enum number");
  }
  if (e.uuids > 0) text += ", " + Count(e.uuids, "uuid") + " in place";
  if (e.no_uuids > 0) {
    text += ", " + Count(e.no_uuids, "text") + " where a uuid belongs";
  }
  if (e.strange_texts > 0) {
    text += ", " + Count(e.strange_texts, "text") + " with control characters";
  }
  if (e.disorder > 0) {
    text += ", " + Count(e.disorder, "field") + " out of the usual order";
  }
  return text;
}

void WriteCandidate(const RankedCandidate& ranked, std::string_view bytes,
                    uint64_t offset, JsonWriter* json) {
  const Type& type = *ranked.candidate->type;
  const Evidence& evidence = ranked.candidate->evidence;
  json->BeginObject();
  json->Key("rank").Number(ranked.rank);
  json->Key("type").String(type.descriptor->full_name());
  json->Key("accepted").Bool(evidence.accepted);
  if (!evidence.accepted) {
    json->Key("errorOffset").Number(offset + FindDamage(type, bytes, 0).offset);
  }
  json->Key("fields").Number(evidence.fields);
  json->Key("unknownFields").Number(evidence.unknown);
  json->Key("undeclaredValues").Number(evidence.undeclared);
  json->Key("uuids").Number(evidence.uuids);
  json->Key("wrongUuids").Number(evidence.no_uuids);
  json->Key("textsWithControls").Number(evidence.strange_texts);
  json->Key("unusualFields").Number(evidence.disorder);
  json->EndObject();
}

}  // namespace

std::string Count(uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::vector<RankedCandidate> FirstCandidates(
    const std::vector<Candidate>& candidates, size_t most) {
  std::vector<RankedCandidate> shown;
  size_t rank = 0;
  for (size_t i = 0; i < std::min(most, candidates.size()); ++i) {
    const Candidate& candidate = candidates[i];
    if (i == 0 || !EquallyLikely(candidate, candidates[i - 1])) rank = i + 1;
    shown.push_back({rank, &candidate});
  }
  return shown;
}

size_t CountLevel(const std::vector<Candidate>& candidates) {
  return std::find_if(candidates.begin(), candidates.end(),
                      [&](const Candidate& candidate) {
                        return !EquallyLikely(candidate, candidates.front());
                      }) -
         candidates.begin();
}

size_t WidthOf(const std::vector<Candidate>& candidates, size_t count) {
  size_t width = 0;
  for (size_t i = 0; i < count; ++i) {
    width = std::max(width, candidates[i].type->descriptor->name().size());
  }
  return width;
}

void PrintCandidate(const RankedCandidate& shown, std::string_view bytes,
                    size_t width, Output* output) {
  const Candidate& candidate = *shown.candidate;
  const std::string number = std::to_string(shown.rank);
  const std::string& name = candidate.type->descriptor->name();
  output->Spaces(3 - std::min<size_t>(3, number.size()));
  output->Write(number);
  output->Write("  ");
  output->Painted(candidate.evidence.accepted ? Color::kGreen : Color::kNone,
                  name);
  output->Spaces(width + 2 - name.size());
  output->Write(Reasons(candidate, bytes));
  output->Write('\n');
}

void WriteCandidates(const std::vector<RankedCandidate>& shown, size_t omitted,
                     std::string_view bytes, uint64_t offset,
                     JsonWriter* json) {
  json->Key("candidates").BeginList();
  for (const RankedCandidate& ranked : shown) {
    WriteCandidate(ranked, bytes, offset, json);
  }
  json->EndList();
  json->Key("omitted").Number(omitted);
}

}  // namespace tarn::tool
