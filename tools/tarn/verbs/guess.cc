// tarn guess: the types that some bytes can be, the likeliest first.
#include <algorithm>

#include "command.h"
#include "command_line.h"
#include "input.h"
#include "output.h"
#include "ranking.h"
#include "salvage.h"

namespace tarn::tool {
namespace {

// Types shown unless all are asked for.
constexpr size_t kShown = 5;

std::string Count(int count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string Reasons(const Candidate& candidate, std::string_view bytes) {
  const Evidence& e = candidate.evidence;
  std::string text;
  if (e.accepted) {
    text = "parses fully, " + Count(e.fields, "field");
  } else {
    const Damage damage = Assess(*candidate.type, bytes, 0);
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
    text += ", " + Count(e.disorder, "field") + " as no sender writes them";
  }
  return text;
}

// Candidates that the evidence cannot tell apart have the same rank.
void Print(const std::vector<Candidate>& candidates, std::string_view bytes,
           bool all, Output* output) {
  size_t width = 0;
  for (const Candidate& candidate : candidates) {
    width = std::max(width, candidate.type->descriptor->name().size());
  }
  size_t rank = 0;
  for (size_t i = 0; i < candidates.size(); ++i) {
    const Candidate& candidate = candidates[i];
    if (i == 0 || !Level(candidate, candidates[i - 1])) rank = i + 1;
    // All that can be it are shown, whatever their number.
    const bool level = rank == 1 && candidate.evidence.accepted;
    if (!all && !level && i >= kShown) {
      output->Write("     ");
      output->Number(candidates.size() - i);
      output->Write(" more types: see --all\n");
      return;
    }
    const std::string number = std::to_string(rank);
    output->Spaces(3 - std::min<size_t>(3, number.size()));
    output->Write(number);
    output->Write("  ");
    output->Paint(candidate.evidence.accepted ? Color::kGreen : Color::kNone);
    output->Write(candidate.type->descriptor->name());
    output->Paint(Color::kNone);
    output->Spaces(width + 2 - candidate.type->descriptor->name().size());
    output->Write(Reasons(candidate, bytes));
    output->Write('\n');
  }
}

// Text and JSON are different bytes for each type that takes them.
std::vector<Candidate> RankWritten(const std::vector<Written>& written) {
  std::vector<Candidate> candidates;
  for (const Written& message : written) {
    candidates.push_back({message.type, Weigh(*message.type, message.bytes)});
  }
  Sort(&candidates);
  return candidates;
}

ExitCode Guess(const InputOptions& input, const Record& record, bool all,
               const std::vector<const Type*>& types, Output* output) {
  if (record.number > 1) output->Write('\n');
  if (record.bytes.empty() && record.written == nullptr) {
    output->Write("no bytes: an empty message of any type\n");
    return kFine;
  }
  const std::vector<Candidate> candidates = record.written != nullptr
                                                ? RankWritten(*record.written)
                                                : Rank(types, record.bytes);
  Print(candidates, record.bytes, all, output);
  if (candidates.front().evidence.accepted) return kFine;
  output->Flush();
  const bool parsed = std::any_of(
      candidates.begin(), candidates.end(),
      [](const Candidate& candidate) { return candidate.evidence.accepted; });
  Complain(Place(input, record, 0) +
           (parsed ? "no message type explains these bytes well"
                   : "no message type parses these bytes"));
  return kMalformed;
}

}  // namespace

ExitCode RunGuess(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  InputOptions input;
  line.Input(&input);
  bool all = false;
  line.app().add_flag("--all", all, "Show every type, not only the likeliest");
  OutputOptions options;
  line.Color(&options);
  line.Parse();

  Schema schema;
  const std::vector<const Type*> types = AllTypes(&schema);
  Output output(options.color);
  const ExitCode status =
      ForEachRecord(input, types, [&](const Record& record) {
        return Guess(input, record, all, types, &output);
      });
  output.Flush();
  return status;
}

}  // namespace tarn::tool
