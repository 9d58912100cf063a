// tarn guess: the types that some bytes can be, the likeliest first.
#include <algorithm>

#include "command.h"
#include "command_line.h"
#include "input.h"
#include "output.h"
#include "ranking.h"
#include "record_json.h"
#include "salvage.h"

namespace tarn::tool {
namespace {

// Types shown unless all are asked for.
constexpr size_t kShown = 5;

struct Options {
  InputOptions input;
  OutputOptions output;
  bool all = false;
};

std::string Count(int count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

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

// A candidate that is shown. Candidates that the evidence cannot tell apart
// have the same rank.
struct Ranked {
  size_t rank;
  const Candidate* candidate;
};

// The first candidates, or all. Those of rank 1 that can be it are shown
// whatever their number.
std::vector<Ranked> Shown(const std::vector<Candidate>& candidates, bool all) {
  std::vector<Ranked> shown;
  size_t rank = 0;
  for (size_t i = 0; i < candidates.size(); ++i) {
    const Candidate& candidate = candidates[i];
    if (i == 0 || !EquallyLikely(candidate, candidates[i - 1])) rank = i + 1;
    const bool level = rank == 1 && candidate.evidence.accepted;
    if (!all && !level && i >= kShown) break;
    shown.push_back({rank, &candidate});
  }
  return shown;
}

void PrintTable(const std::vector<Candidate>& candidates,
                std::string_view bytes, bool all, Output* output) {
  size_t width = 0;
  for (const Candidate& candidate : candidates) {
    width = std::max(width, candidate.type->descriptor->name().size());
  }
  const std::vector<Ranked> shown = Shown(candidates, all);
  for (const auto& [rank, candidate] : shown) {
    const std::string number = std::to_string(rank);
    const std::string& name = candidate->type->descriptor->name();
    output->Spaces(3 - std::min<size_t>(3, number.size()));
    output->Write(number);
    output->Write("  ");
    output->Painted(candidate->evidence.accepted ? Color::kGreen : Color::kNone,
                    name);
    output->Spaces(width + 2 - name.size());
    output->Write(Reasons(*candidate, bytes));
    output->Write('\n');
  }
  if (shown.size() == candidates.size()) return;
  output->Write("     ");
  output->Number(candidates.size() - shown.size());
  output->Write(" more types: see --all\n");
}

void WriteCandidate(const Ranked& ranked, const Record& record,
                    JsonWriter* json) {
  const Type& type = *ranked.candidate->type;
  const Evidence& evidence = ranked.candidate->evidence;
  json->BeginObject();
  json->Key("rank").Number(ranked.rank);
  json->Key("type").String(type.descriptor->full_name());
  json->Key("accepted").Bool(evidence.accepted);
  if (!evidence.accepted) {
    json->Key("errorOffset")
        .Number(record.offset + FindDamage(type, record.bytes, 0).offset);
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

void PrintJson(const std::vector<Candidate>& candidates, const Record& record,
               bool all, Output* output) {
  const std::vector<Ranked> shown = Shown(candidates, all);
  JsonWriter json(output);
  json.BeginObject();
  WriteRecord(record, &json);
  json.Key("candidates").BeginList();
  for (const Ranked& ranked : shown) WriteCandidate(ranked, record, &json);
  json.EndList();
  json.Key("omitted").Number(candidates.size() - shown.size());
  json.EndObject();
  json.EndLine();
}

// The same text or JSON gives different bytes for each type.
std::vector<Candidate> RankWritten(const std::vector<Written>& written) {
  std::vector<Candidate> candidates;
  for (const Written& message : written) {
    candidates.push_back({message.type, Weigh(*message.type, message.bytes)});
  }
  Sort(&candidates);
  return candidates;
}

ExitCode Guess(const Options& options, const Record& record,
               const std::vector<const Type*>& types, Output* output) {
  const bool json = options.output.json;
  if (record.number > 1 && !json) output->Write('\n');
  if (record.bytes.empty() && record.written == nullptr && !json) {
    output->Write("no bytes: an empty message of any type\n");
    return kFine;
  }
  const std::vector<Candidate> candidates = record.written != nullptr
                                                ? RankWritten(*record.written)
                                                : Rank(types, record.bytes);
  json ? PrintJson(candidates, record, options.all, output)
       : PrintTable(candidates, record.bytes, options.all, output);
  if (candidates.front().evidence.accepted) return kFine;
  output->Flush();
  const bool parsed = std::any_of(
      candidates.begin(), candidates.end(),
      [](const Candidate& candidate) { return candidate.evidence.accepted; });
  Complain(PlaceInInput(options.input, record, 0) +
           (parsed ? "no message type explains these bytes well"
                   : "no message type parses these bytes"));
  return kMalformed;
}

}  // namespace

ExitCode RunGuess(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  line.Input(&options.input);
  line.app()
      .add_flag("--all", options.all,
                "Show all types, not only the most likely")
      ->group("Output");
  line.Json(&options.output);
  line.Color(&options.output);
  line.Parse();

  Schema schema;
  const std::vector<const Type*> types = AllTypes(&schema);
  return PrintEachRecord(options.input, options.output, types,
                         [&](const Record& record, Output* output) {
                           return Guess(options, record, types, output);
                         });
}

}  // namespace tarn::tool
