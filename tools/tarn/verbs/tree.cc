// tarn tree: the nodes of a sign network, drawn as a tree.
#include "tree.h"

#include <tarn/Network.pb.h>

#include <climits>

#include "command.h"
#include "command_line.h"
#include "node_name.h"
#include "parse.h"
#include "ranking.h"
#include "reader.h"
#include "record_json.h"
#include "salvage.h"
#include "status_words.h"
#include "walker.h"

namespace tarn::tool {
namespace {

enum class Form { kText, kJson, kDot };

struct Options {
  InputOptions input;
  OutputOptions output;
  std::string type;
  Selection selection;
  std::string node;  // that --at or --uuid names, for an error
  bool paths = false;
  bool partial = false;
  Form form = Form::kText;

  // Whether only a part of the tree is asked for.
  bool NamesNode() const {
    return !selection.at.empty() || !selection.uuid.empty();
  }
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

// Whether `tarn status` shows messages of the type.
bool IsReport(const Type& type) {
  return type.descriptor == tarn::NetworkStatusReport::descriptor();
}

// Reports why a message without a given type is not drawn.
void ExplainRefusal(const InputOptions& options,
                    const std::vector<const Type*>& types,
                    const std::vector<const Type*>& verdict,
                    const Record& record) {
  if (!verdict.empty()) {
    Complain(PlaceInInput(options, record, 0) +
             (record.written != nullptr ? "this is " : "these bytes are ") +
             NamesOf(verdict) + ", without nodes; see tarn " +
             (IsReport(*verdict.front()) ? "status" : "decode"));
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
           " (read as " + best.type->descriptor->full_name() +
           "; see --type and --partial)");
}

// The types that a broken message fits best; none if a type accepts it.
std::vector<const Type*> TypesOfBroken(const std::vector<const Type*>& types,
                                       const Record& record) {
  const std::vector<Candidate> ranked = Rank(types, record.bytes);
  std::vector<const Type*> best;
  if (ranked.front().evidence.accepted) return best;
  for (const Candidate& candidate : ranked) {
    if (!EquallyLikely(candidate, ranked.front())) break;
    best.push_back(candidate.type);
  }
  return best;
}

// The types with nodes that a message without a given type can have. If there
// is none, the reason is on stderr.
std::vector<const Type*> PossibleTypes(const Options& options,
                                       const std::vector<const Type*>& types,
                                       const std::vector<const Type*>& all,
                                       const Record& record) {
  if (record.bytes.empty()) return types;
  const std::vector<const Type*> verdict = Verdict(Rank(all, record.bytes));
  std::vector<const Type*> found;
  for (const Type* type : verdict) {
    if (HoldsNodes(*type->descriptor)) found.push_back(type);
  }
  if (options.partial && verdict.empty()) found = TypesOfBroken(types, record);
  if (found.empty()) ExplainRefusal(options.input, types, verdict, record);
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
        const auto& value = *descriptor->value(i);
        declared.push_back(value.name());
        if (LookOf(value.number()).words != name) continue;
        throw Failure(kUnknownName, "no status " + name + ", did you mean " +
                                        value.name() + "?");
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
               const Tree& tree, const Damage* damage, Output* output) {
  JsonWriter json(output);
  json.BeginObject();
  WriteRecord(record, &json);
  if (damage != nullptr) {
    json.Key("problem").Word(ProblemName(damage->problem));
    json.Key("errorOffset").Number(record.offset + damage->offset);
  }
  json.Key("types").BeginList();
  for (const Type* type : types) json.String(type->descriptor->full_name());
  json.EndList();
  WriteTree(tree, &json);
  json.EndObject();
  json.EndLine();
}

// Puts the words for a damage where the message breaks off.
void MarkBreak(const Damage& damage, const Record& record, Tree* tree) {
  std::vector<const google::protobuf::Descriptor*> around;
  for (const Type* type : damage.around) around.push_back(type->descriptor);
  std::string* broken = &tree->broken;
  std::vector<Node>* nodes = &tree->nodes;
  for (int i = NodesAround(around); i > 0 && !nodes->empty(); --i) {
    broken = &nodes->back().broken;
    nodes = &nodes->back().children;
  }
  *broken = "broken at byte " + std::to_string(record.offset + damage.offset) +
            ": " + Escaped(damage.reason);
}

// Draws messages, and notes whether any has the node that is asked for.
class MessageDrawer {
 public:
  explicit MessageDrawer(const Options& options) : options_(options) {}

  // Draws a message that has the same meaning in each of the types.
  ExitCode Draw(const std::vector<const Type*>& types, const Record& record,
                Output* output) {
    const Type& type = *types.front();
    const auto message = ParseRecord(options_.input, type, record);
    if (message != nullptr) {
      Print(types, record, *message, nullptr, output);
      return kFine;
    }
    if (!options_.partial) return kMalformed;
    const Damage damage = FindDamage(type, record.bytes, record.offset);
    Record part = record;
    part.bytes = damage.salvaged;
    const auto salvaged = ParseRecord(options_.input, type, part);
    if (salvaged != nullptr) Print(types, record, *salvaged, &damage, output);
    return kMalformed;
  }

  bool drawn() const { return drawn_; }

 private:
  // `damage`: of the message, if it is broken.
  void Print(const std::vector<const Type*>& types, const Record& record,
             const google::protobuf::Message& message, const Damage* damage,
             Output* output) {
    Tree tree;
    tree.heading = HeadingOf(types, record);
    tree.record = record.number;
    tree.paths = options_.paths;
    tree.nodes = NodesOf(message);
    if (damage != nullptr) {
      if (options_.type.empty()) tree.heading += ", it seems";
      MarkBreak(*damage, record, &tree);
    }
    tree.branches = SelectBranches(tree.nodes, options_.selection);
    if (options_.NamesNode() && tree.branches.empty()) return;
    tree.remark = RemarkOn(tree.nodes, options_.selection, tree.branches);
    if (options_.form == Form::kJson) {
      PrintJson(types, record, tree, damage, output);
    } else if (options_.form == Form::kDot) {
      PrintTreeDot(tree, output);
    } else {
      if (drawn_) output->Write('\n');
      PrintTreeText(tree, output);
    }
    drawn_ = true;
  }

  const Options& options_;
  bool drawn_ = false;
};

// Draws a message in text or JSON, if only one type has the names in it.
ExitCode DrawWritten(const Options& options, const Record& record,
                     MessageDrawer* drawer, Output* output) {
  std::vector<const Type*> types;
  std::vector<const Type*> others;
  for (const Written& message : *record.written) {
    (HoldsNodes(*message.type->descriptor) ? types : others)
        .push_back(message.type);
  }
  if (types.empty()) {
    ExplainRefusal(options.input, types, others, record);
    return kMalformed;
  }
  if (types.size() > 1 && !record.bytes.empty()) {
    throw Failure(kUsage, PlaceInInput(options.input, record, 0) +
                              "this can be " + NamesOf(types) +
                              ": say with --type which it is");
  }
  return drawer->Draw(types, record, output);
}

Validator NotEmpty() {
  return Validator{[](std::string& value) -> std::string {
    return value.empty() ? "it is empty" : "";
  }};
}

// Options that are read further after parsing.
struct Chosen {
  std::string at;
  std::vector<std::string> only;
};

// The options that choose nodes.
void DeclareSelection(Parser& app, Chosen* chosen, Selection* selection) {
  auto* at = app.add_option("--at", chosen->at,
                            "Draw only the node with this path, as --path "
                            "shows it, and those below and above it")
                 ->check(NotEmpty())
                 ->type_name("PATH")
                 ->group("Output");
  app.add_option("--uuid", selection->uuid,
                 "Draw only nodes with this uuid, and those below and above "
                 "them")
      ->check(NotEmpty())
      ->excludes(at)
      ->type_name("UUID")
      ->group("Output");
  auto* only = app.add_option("--only", chosen->only,
                              "Draw only nodes with one of these statuses, and "
                              "the nodes above them: comm_error,power_outage")
                   ->delimiter(',')
                   ->allow_extra_args(false)
                   ->type_name("STATUS,...")
                   ->group("Output");
  app.add_flag("--errors", selection->errors,
               std::string("Draw only nodes that are not well, and the nodes "
                           "above them. ") +
                   kWhatIsWell)
      ->excludes(only)
      ->group("Output");
  app.add_option("--depth", selection->depth,
                 "Number of levels to draw, from the top or from the node of "
                 "--at and --uuid")
      ->check(WholeNumber(1, INT_MAX))
      ->type_name("N")
      ->group("Output");
}

Options ParseOptions(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  Chosen chosen;
  line.Input(&options.input);
  Parser& app = line.app();
  app.add_option("--type", options.type,
                 "Type of the message; if not given, tarn finds it")
      ->type_name("TYPE")
      ->group("Input");
  DeclareSelection(app, &chosen, &options.selection);
  app.add_flag("--partial", options.partial,
               "Draw a broken message as far as it goes, and where it breaks "
               "off")
      ->group("Output");
  auto* path = app.add_flag("--path", options.paths,
                            "Show the path of each node, such as 0.3.2: the "
                            "place of each node among its siblings, from 0")
                   ->group("Output");
  auto* dot = app.add_flag("--dot", "Print a drawing for Graphviz")
                  ->excludes(path)
                  ->group("Output");
  line.Json(&options.output)->excludes(dot);
  line.Color(&options.output);
  line.Parse();
  options.form = options.output.json ? Form::kJson
                 : dot->count() > 0  ? Form::kDot
                                     : Form::kText;
  options.selection.statuses = StatusesOf(chosen.only);
  if (!chosen.at.empty()) options.selection.at = ParsePath(chosen.at);
  options.node =
      chosen.at.empty() ? "with uuid " + options.selection.uuid : chosen.at;
  return options;
}

}  // namespace

ExitCode RunTree(const Command& command, const Arguments& arguments) {
  const Options options = ParseOptions(command, arguments);
  Schema schema;
  const Type* type = nullptr;
  if (!options.type.empty()) {
    type = &schema.Find(options.type);
    if (!HoldsNodes(*type->descriptor)) {
      throw Failure(kUsage, type->descriptor->full_name() + " holds no nodes" +
                                (IsReport(*type) ? "; see tarn status" : ""));
    }
  }
  const std::vector<const Type*> types = type != nullptr
                                             ? std::vector<const Type*>{type}
                                             : TypesWithNodes(&schema);
  // A report in text or JSON is told from a misspelt tree.
  std::vector<const Type*> read = types;
  if (type == nullptr) read.push_back(&schema.Find("NetworkStatusReport"));
  const std::vector<const Type*> all = AllTypes(&schema);
  MessageDrawer drawer(options);
  const ExitCode status = PrintEachRecord(
      options.input, options.output, read,
      [&](const Record& record, Output* output) {
        if (type != nullptr) return drawer.Draw(types, record, output);
        if (record.written != nullptr) {
          return DrawWritten(options, record, &drawer, output);
        }
        const auto found = PossibleTypes(options, types, all, record);
        return found.empty() ? kMalformed : drawer.Draw(found, record, output);
      });
  if (status != kFine || drawer.drawn() || !options.NamesNode()) return status;
  throw Failure(kUnknownName,
                InputName(options.input.file) + ": no node " + options.node);
}

}  // namespace tarn::tool
