// tarn tree: the nodes of a sign network, drawn as a tree.
#include "tree.h"

#include <tarn/Network.pb.h>

#include <climits>

#include "command.h"
#include "command_line.h"
#include "parse.h"
#include "ranking.h"
#include "record_json.h"
#include "salvage.h"
#include "walker.h"

namespace tarn::tool {
namespace {

enum class Form { kText, kJson, kDot };

struct Options {
  InputOptions input;
  OutputOptions output;
  std::string type;
  std::set<int32_t> only;  // statuses
  int depth = kMaxDepth;
  Form form = Form::kText;
};

// The types that hold nodes. ModsConfigured comes first: it is the most usual
// of those that a list of top nodes can be.
std::vector<const Type*> TypesWithNodes(Schema* schema) {
  std::vector<const Type*> types{&schema->Find("ModsConfigured")};
  for (const auto* message : schema->Messages()) {
    const Type* type = &schema->Table(*message);
    if (type != types.front() && HoldsNodes(*message)) types.push_back(type);
  }
  return types;
}

// Reports why a message without a given type is not drawn.
void ExplainRefusal(const InputOptions& options,
                    const std::vector<const Type*>& types,
                    const std::vector<const Type*>& verdict,
                    const Record& record) {
  if (!verdict.empty()) {
    Complain(PlaceInInput(options, record, 0) + "these bytes are " +
             NamesOf(verdict) + ", without nodes; see --type");
    return;
  }
  const Candidate best = Rank(types, record.bytes).front();
  if (best.evidence.accepted) {
    Complain(PlaceInInput(options, record, 0) +
             "no type explains these bytes well: see tarn guess and --type");
    return;
  }
  const Damage damage = FindDamage(*best.type, record.bytes, record.offset);
  Complain(ErrorAt(options, record, damage.offset, damage.path, damage.reason) +
           " (read as " + best.type->descriptor->full_name() + "; see --type)");
}

// The types with nodes that a message without a given type can have. If there
// is none, the reason is on stderr.
std::vector<const Type*> PossibleTypes(const InputOptions& options,
                                       const std::vector<const Type*>& types,
                                       const std::vector<const Type*>& all,
                                       const Record& record) {
  if (record.bytes.empty()) return types;
  const std::vector<const Type*> verdict = Verdict(Rank(all, record.bytes));
  std::vector<const Type*> found;
  for (const Type* type : verdict) {
    if (HoldsNodes(*type->descriptor)) found.push_back(type);
  }
  if (found.empty()) ExplainRefusal(options, types, verdict, record);
  return found;
}

std::set<int32_t> StatusesOf(const std::vector<std::string>& names) {
  std::set<int32_t> statuses;
  for (const std::string& name : names) {
    tarn::StatusCodes status;
    if (!tarn::StatusCodes_Parse(name, &status)) {
      std::vector<std::string> declared;
      const auto* descriptor = tarn::StatusCodes_descriptor();
      for (int i = 0; i < descriptor->value_count(); ++i) {
        declared.push_back(descriptor->value(i)->name());
      }
      throw Failure(kUnknownName,
                    "no status " + name + DidYouMean(name, declared));
    }
    statuses.insert(status);
  }
  return statuses;
}

// The heading of a message that can be of each of the types.
std::string HeadingOf(const std::vector<const Type*>& types,
                      const Record& record) {
  return types.size() > 1 && record.bytes.empty() ? "Empty message"
                                                  : NamesOf(types);
}

void PrintJson(const std::vector<const Type*>& types, const Record& record,
               const std::vector<Node>& nodes,
               const std::vector<Branch>& branches, Output* output) {
  JsonWriter json(output);
  json.BeginObject();
  WriteRecord(record, &json);
  json.Key("types").BeginList();
  for (const Type* type : types) json.String(type->descriptor->full_name());
  json.EndList();
  WriteTree(nodes, branches, &json);
  json.EndObject();
  json.EndLine();
}

// Draws a message that has the same meaning in each of the types.
ExitCode Draw(const Options& options, const std::vector<const Type*>& types,
              const Record& record, Output* output) {
  const auto message = ParseRecord(options.input, *types.front(), record);
  if (message == nullptr) return kMalformed;
  const std::vector<Node> nodes = NodesOf(*message);
  const std::vector<Branch> branches =
      SelectBranches(nodes, options.depth, options.only);
  const std::string heading = HeadingOf(types, record);
  switch (options.form) {
    case Form::kText:
      if (record.number > 1) output->Write('\n');
      PrintTreeText(heading, nodes, branches, output);
      break;
    case Form::kJson:
      PrintJson(types, record, nodes, branches, output);
      break;
    case Form::kDot:
      PrintTreeDot(heading, nodes, branches, output);
  }
  return kFine;
}

// Draws a message in text or JSON, if only one type has the names in it.
ExitCode DrawWritten(const Options& options, const Record& record,
                     Output* output) {
  std::vector<const Type*> types;
  for (const Written& message : *record.written) types.push_back(message.type);
  if (types.size() > 1 && !record.bytes.empty()) {
    throw Failure(kUsage, PlaceInInput(options.input, record, 0) +
                              "this can be " + NamesOf(types) +
                              ": say with --type which it is");
  }
  return Draw(options, types, record, output);
}

}  // namespace

ExitCode RunTree(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  line.Input(&options.input);
  line.app()
      .add_option("--type", options.type,
                  "Type of the message; if not given, tarn finds it")
      ->type_name("TYPE")
      ->group("Input");
  std::vector<std::string> only;
  line.app()
      .add_option("--only", only,
                  "Draw only nodes with one of these statuses, and the nodes "
                  "above them: comm_error,power_outage")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->type_name("STATUS,...")
      ->group("Output");
  line.app()
      .add_option("--depth", options.depth, "Number of levels to draw")
      ->check(WholeNumber(1, INT_MAX))
      ->type_name("N")
      ->group("Output");
  auto* dot = line.app()
                  .add_flag("--dot", "Print a drawing for Graphviz")
                  ->group("Output");
  line.Json(&options.output)->excludes(dot);
  line.Color(&options.output);
  line.Parse();
  options.form = options.output.json ? Form::kJson
                 : dot->count() > 0  ? Form::kDot
                                     : Form::kText;

  Schema schema;
  options.only = StatusesOf(only);
  const Type* type = nullptr;
  if (!options.type.empty()) {
    type = &schema.Find(options.type);
    if (!HoldsNodes(*type->descriptor)) {
      throw Failure(kUsage, type->descriptor->full_name() + " holds no nodes");
    }
  }
  const std::vector<const Type*> types = type != nullptr
                                             ? std::vector<const Type*>{type}
                                             : TypesWithNodes(&schema);
  const std::vector<const Type*> all = AllTypes(&schema);
  return PrintEachRecord(options.input, options.output, types,
                         [&](const Record& record, Output* output) {
                           if (type != nullptr) {
                             return Draw(options, types, record, output);
                           }
                           if (record.written != nullptr) {
                             return DrawWritten(options, record, output);
                           }
                           const auto found =
                               PossibleTypes(options.input, types, all, record);
                           if (found.empty()) return kMalformed;
                           return Draw(options, found, record, output);
                         });
}

}  // namespace tarn::tool
