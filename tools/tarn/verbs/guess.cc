// tarn guess: the types that some bytes can be, the likeliest first.
#include <algorithm>

#include "candidates.h"
#include "command.h"
#include "command_line.h"
#include "input.h"
#include "output.h"
#include "record_json.h"

namespace tarn::tool {
namespace {

// Types shown unless all are asked for.
constexpr size_t kShown = 5;

struct Options {
  InputOptions input;
  OutputOptions output;
  bool all = false;
};

// Types that are shown. Those that can be it and that nothing tells apart are
// shown whatever their number.
std::vector<RankedCandidate> Shown(const std::vector<Candidate>& candidates,
                                   bool all) {
  size_t most = kShown;
  if (candidates.front().evidence.accepted) {
    most = std::max(most, CountLevel(candidates));
  }
  return FirstCandidates(candidates, all ? candidates.size() : most);
}

void PrintTable(const std::vector<Candidate>& candidates,
                std::string_view bytes, bool all, Output* output) {
  const std::vector<RankedCandidate> shown = Shown(candidates, all);
  output->WrapLines(kCandidateIndent);
  const size_t width = WidthOf(candidates, candidates.size());
  for (const RankedCandidate& candidate : shown) {
    PrintCandidate(candidate, bytes, width, output);
  }
  if (shown.size() == candidates.size()) return;
  output->Write("     ");
  output->Number(candidates.size() - shown.size());
  output->Write(" more types: see --all\n");
}

void PrintJson(const std::vector<Candidate>& candidates, const Record& record,
               bool all, Output* output) {
  const std::vector<RankedCandidate> shown = Shown(candidates, all);
  JsonWriter json(output);
  json.BeginObject();
  WriteRecord(record, &json);
  WriteCandidates(shown, candidates.size() - shown.size(), record.bytes,
                  record.offset, &json);
  json.EndObject();
  json.EndLine();
}

ExitCode Guess(const Options& options, const Record& record,
               const std::vector<const Type*>& types, Output* output) {
  const bool json = options.output.json;
  if (!json) PrintRecordLine(record, "", output);
  if (record.bytes.empty() && record.written == nullptr && !json) {
    output->Write("no bytes: an empty message of any type\n");
    return kFine;
  }
  const std::vector<Candidate> candidates = RankRecord(types, record);
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
