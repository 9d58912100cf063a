// tarn tree: the nodes of a sign network, drawn as a tree.
#include <tarn/Network.pb.h>

#include <algorithm>
#include <climits>
#include <set>

#include "command.h"
#include "command_line.h"
#include "nodes.h"
#include "output.h"
#include "parse.h"
#include "ranking.h"
#include "salvage.h"
#include "status_words.h"
#include "walker.h"

namespace tarn::tool {
namespace {

struct Options {
  InputOptions input;
  OutputOptions output;
  std::string type;
  std::vector<std::string> only;
  int depth = kMaxDepth;
  bool dot = false;
  bool json = false;
};

// A node that is drawn, with those below it that are drawn too.
struct Branch {
  const Node* node;
  bool wanted;  // for its own sake, not for what is below
  std::vector<Branch> branches;
};

std::vector<Branch> Select(const std::vector<Node>& nodes, int depth,
                           const std::set<int32_t>& only) {
  std::vector<Branch> branches;
  if (depth == 0) return branches;
  if (only.empty()) branches.reserve(nodes.size());
  for (const Node& node : nodes) {
    Branch branch;
    branch.node = &node;
    branch.wanted =
        only.empty() || (node.has_status && only.count(node.status) != 0);
    branch.branches = Select(node.children, depth - 1, only);
    if (branch.wanted || !branch.branches.empty()) {
      branches.push_back(std::move(branch));
    }
  }
  return branches;
}

// "chain 4, node 54, place 1 of assembly 3": where a node is, and what kind of
// display it is.
std::string PlaceOf(const Node& node) {
  constexpr std::pair<const char*, const char*> kWords[] = {
      {"networkId", "network"}, {"linearAddr", "chain"}, {"nodeAddr", "node"},
      {"assyAddr", "place"},    {"assyId", "assembly"},
  };
  std::string place;
  for (const auto& [field, value] : AddressOf(node)) {
    std::string word = field;
    for (const auto& [name, better] : kWords) {
      if (field == name) word = better;
    }
    if (!place.empty()) place += ", ";
    place += word + ' ' + Clipped(value);
  }
  return place;
}

class TextTree {
 public:
  explicit TextTree(Output* output) : out_(*output) {}

  void Print(const std::string& type, const std::vector<Node>& nodes,
             const std::vector<Branch>& branches) {
    Measure(branches, 0);
    out_.Painted(Color::kBold, type);
    const std::string counts = InWords(CountNodes(nodes));
    out_.Write(": ");
    out_.Write(counts.empty() ? "no nodes" : counts);
    out_.Write('\n');
    PrintBranches(branches, "");
    PrintTotals(nodes);
  }

 private:
  static std::string StatusOf(const Node& node) {
    return node.has_status ? LookOf(node.status).words : "";
  }

  // Finds how wide the columns are.
  void Measure(const std::vector<Branch>& branches, size_t depth) {
    for (const Branch& branch : branches) {
      const Node& node = *branch.node;
      label_width_ =
          std::max(label_width_, 3 * (depth + 1) + Width(LabelOf(node)));
      status_width_ = std::max(status_width_, StatusOf(node).size());
      errors_ = errors_ || node.error;
      Measure(branch.branches, depth + 1);
    }
  }

  void PrintBranches(const std::vector<Branch>& branches,
                     const std::string& prefix) {
    for (const Branch& branch : branches) {
      const bool last = &branch == &branches.back();
      const std::string below = prefix + (last ? "   " : "│  ");
      PrintNode(branch, prefix + (last ? "└─ " : "├─ "), below);
      PrintBranches(branch.branches, below);
    }
  }

  // What is below a node stands behind it; where both that and its own place
  // are known, the place gets a line of its own.
  void PrintNode(const Branch& branch, const std::string& prefix,
                 const std::string& below) {
    const Node& node = *branch.node;
    const std::string label = LabelOf(node);
    const std::string counts = InWords(CountNodes(node.children));
    const std::string place = PlaceOf(node);
    const std::string& rest = counts.empty() ? place : counts;
    out_.Painted(Color::kDim, prefix);
    out_.Painted(branch.wanted ? Color::kNone : Color::kDim, label);
    const std::string status = StatusOf(node);
    if (!status.empty() || node.error || !rest.empty()) {
      out_.Spaces(label_width_ - Width(prefix) - Width(label));
      if (node.error) {
        out_.Painted(Color::kRed, " !");
      } else if (errors_) {
        out_.Spaces(2);
      }
      out_.Write(' ');
      out_.Painted(LookOf(node.status).color, status);
    }
    if (!rest.empty()) {
      out_.Spaces(2 + status_width_ - status.size());
      out_.Write(rest);
    }
    out_.Write('\n');
    if (counts.empty() || place.empty()) return;
    out_.Painted(Color::kDim,
                 below + (branch.branches.empty() ? "   " : "│  "));
    out_.Write(place);
    out_.Write('\n');
  }

  static void Tally(const std::vector<Node>& nodes, StatusTally* tally,
                    int* errors) {
    for (const Node& node : nodes) {
      if (node.has_status) ++(*tally)[node.status];
      *errors += node.error ? 1 : 0;
      Tally(node.children, tally, errors);
    }
  }

  // How many nodes have each status, worst first.
  void PrintTotals(const std::vector<Node>& nodes) {
    StatusTally tally;
    int errors = 0;
    Tally(nodes, &tally, &errors);
    if (errors > 0) {
      out_.Number(errors);
      out_.Write(' ');
      out_.Painted(Color::kRed, "in error (!)");
      if (!tally.empty()) out_.Write(", ");
    }
    PrintTally(tally, &out_);
    if (errors > 0 || !tally.empty()) out_.Write('\n');
  }

  Output& out_;
  size_t label_width_ = 0;
  size_t status_width_ = 0;
  bool errors_ = false;  // whether the column of error flags is there
};

void WriteCounts(const Counts& counts, Output* output) {
  output->Write('{');
  bool first = true;
  for (const auto& [kind, count] : counts) {
    if (!first) output->Write(',');
    first = false;
    output->JsonString(kind.empty() ? "none" : kind);
    output->Write(':');
    output->Number(count);
  }
  output->Write('}');
}

void WriteNodes(const std::vector<Branch>& branches, Output* output);

void WriteNode(const Branch& branch, Output* output) {
  const Node& node = *branch.node;
  output->Write("{\"kind\":");
  output->JsonString(node.kind);
  output->Write(",\"name\":");
  output->JsonString(node.name);
  output->Write(",\"uuid\":");
  output->JsonString(node.uuid);
  if (node.has_status) {
    output->Write(",\"status\":");
    const std::string& name =
        tarn::StatusCodes_Name(static_cast<tarn::StatusCodes>(node.status));
    if (name.empty()) {
      output->Number(node.status);
    } else {
      output->JsonString(name);
    }
    output->Write(",\"statusInWords\":");
    output->JsonString(LookOf(node.status).words);
  }
  output->Write(node.error ? ",\"error\":true" : ",\"error\":false");
  output->Write(",\"address\":{");
  const auto address = AddressOf(node);
  for (const auto& [field, value] : address) {
    if (field != address.front().first) output->Write(',');
    output->JsonString(field);
    output->Write(':');
    const auto* is = node.message->GetDescriptor()->FindFieldByName(field);
    if (is->type() == google::protobuf::FieldDescriptor::TYPE_STRING) {
      output->JsonString(value);
    } else {
      output->Write(value);
    }
  }
  output->Write("},\"below\":");
  WriteCounts(CountNodes(node.children), output);
  output->Write(",\"children\":");
  WriteNodes(branch.branches, output);
  output->Write('}');
}

void WriteNodes(const std::vector<Branch>& branches, Output* output) {
  output->Write('[');
  for (const Branch& branch : branches) {
    if (&branch != &branches.front()) output->Write(',');
    WriteNode(branch, output);
  }
  output->Write(']');
}

void PrintJson(const std::vector<const Type*>& types,
               const std::vector<Node>& nodes,
               const std::vector<Branch>& branches, Output* output) {
  output->Write(types.size() == 1 ? "{\"type\":" : "{\"types\":[");
  for (const Type* type : types) {
    if (type != types.front()) output->Write(',');
    output->JsonString(type->descriptor->name());
  }
  if (types.size() > 1) output->Write(']');
  output->Write(",\"below\":");
  WriteCounts(CountNodes(nodes), output);
  output->Write(",\"children\":");
  WriteNodes(branches, output);
  output->Write("}\n");
}

const char* DotColor(const Node& node) {
  if (node.error) return "red";
  switch (LookOf(node.status).severity) {
    case Severity::kFault:
      return "red";
    case Severity::kOdd:
      return "orange";
    case Severity::kWaiting:
      return "blue";
    case Severity::kGood:
      return "darkgreen";
    case Severity::kNone:
      break;
  }
  return "gray";
}

// A box of Graphviz; `label` has its lines parted by line feeds.
void WriteBox(int id, const std::string& label, const char* color,
              Output* output) {
  output->Write("  n");
  output->Number(id);
  output->Write(" [label=\"");
  for (const char c : label) {
    if (c == '"' || c == '\\') output->Write('\\');
    output->Write(c == '\n' ? std::string_view("\\n")
                            : std::string_view(&c, 1));
  }
  output->Write("\", color=");
  output->Write(color);
  output->Write("];\n");
}

void WriteBoxes(const std::vector<Branch>& branches, int parent, int* ids,
                Output* output) {
  for (const Branch& branch : branches) {
    const Node& node = *branch.node;
    const int id = ++*ids;
    std::string label = LabelOf(node);
    if (const std::string place = PlaceOf(node); !place.empty()) {
      label += '\n' + place;
    }
    if (node.has_status) label += '\n' + LookOf(node.status).words;
    if (node.error) label += "\nin error";
    WriteBox(id, label, DotColor(node), output);
    output->Write("  n");
    output->Number(parent);
    output->Write(" -> n");
    output->Number(id);
    output->Write(";\n");
    WriteBoxes(branch.branches, id, ids, output);
  }
}

void PrintDot(const std::string& type, const std::vector<Node>& nodes,
              const std::vector<Branch>& branches, Output* output) {
  output->Write(
      "digraph tarn {\n  rankdir=LR;\n  node [shape=box, style=rounded];\n");
  WriteBox(0, type + '\n' + InWords(CountNodes(nodes)), "black", output);
  int ids = 0;
  WriteBoxes(branches, 0, &ids, output);
  output->Write("}\n");
}

// The types that hold nodes. What a list of top nodes could be among others
// comes first: it is what one has most often.
std::vector<const Type*> Candidates(Schema* schema) {
  std::vector<const Type*> types{&schema->Find("ModsConfigured")};
  for (const auto* message : schema->Messages()) {
    const Type* type = &schema->Table(*message);
    if (type != types.front() && HoldsNodes(*message)) types.push_back(type);
  }
  return types;
}

// Why nothing is drawn of a message whose type nobody named.
void Refuse(const InputOptions& options, const std::vector<const Type*>& types,
            const std::vector<const Type*>& verdict, const Record& record) {
  if (!verdict.empty()) {
    Complain(Place(options, record, 0) + "these bytes are " + NamesOf(verdict) +
             ", without nodes; see --type");
    return;
  }
  const Candidate best = Rank(types, record.bytes).front();
  if (best.evidence.accepted) {
    Complain(Place(options, record, 0) +
             "no type explains these bytes well: see tarn guess and --type");
    return;
  }
  const Damage damage = Assess(*best.type, record.bytes, record.offset);
  Complain(Place(options, record, damage.offset) +
           (damage.path.empty() ? "" : damage.path + ": ") + damage.reason +
           " (read as " + best.type->descriptor->full_name() + "; see --type)");
}

// The types that a message whose type nobody named can be, of those that hold
// nodes; none where that cannot be told, which is then on stderr.
std::vector<const Type*> TypesOf(const InputOptions& options,
                                 const std::vector<const Type*>& types,
                                 const std::vector<const Type*>& all,
                                 const Record& record) {
  if (record.bytes.empty()) return types;
  const std::vector<const Type*> verdict = Verdict(Rank(all, record.bytes));
  std::vector<const Type*> found;
  for (const Type* type : verdict) {
    if (HoldsNodes(*type->descriptor)) found.push_back(type);
  }
  if (found.empty()) Refuse(options, types, verdict, record);
  return found;
}

std::set<int32_t> Statuses(const std::vector<std::string>& names) {
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

// A heading for a message of one of the types.
std::string Heading(const std::vector<const Type*>& types,
                    const Record& record) {
  return types.size() > 1 && record.bytes.empty() ? "Empty message"
                                                  : NamesOf(types);
}

// Draws a message that is the same in each of the types.
ExitCode Draw(const Options& options, const std::vector<const Type*>& types,
              const Record& record, Output* output) {
  const auto message = ParseRecord(options.input, *types.front(), record);
  if (message == nullptr) return kMalformed;
  const std::vector<Node> nodes = NodesOf(*message);
  const std::vector<Branch> branches =
      Select(nodes, options.depth, Statuses(options.only));
  const std::string name = Heading(types, record);
  if (options.json) {
    PrintJson(types, nodes, branches, output);
  } else if (options.dot) {
    PrintDot(name, nodes, branches, output);
  } else {
    if (record.number > 1) output->Write('\n');
    TextTree(output).Print(name, nodes, branches);
  }
  return kFine;
}

// Draws what was written as text or JSON, if its names leave one type.
ExitCode DrawWritten(const Options& options, const Record& record,
                     Output* output) {
  std::vector<const Type*> types;
  for (const Written& message : *record.written) types.push_back(message.type);
  if (types.size() > 1 && !record.bytes.empty()) {
    throw Failure(kUsage, Place(options.input, record, 0) + "this can be " +
                              NamesOf(types) + ": say with --type which it is");
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
                  "Type of the message; found out when it is not given")
      ->type_name("TYPE");
  line.app()
      .add_option("--only", options.only,
                  "Draw only nodes of these statuses, and what is above them: "
                  "comm_error,power_outage")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->type_name("STATUS,...");
  line.app()
      .add_option("--depth", options.depth, "Levels to draw")
      ->check(WholeNumber(1, INT_MAX))
      ->type_name("N");
  auto* dot = line.app().add_flag("--dot", options.dot, "For Graphviz");
  line.app()
      .add_flag("--json", options.json, "For other programs")
      ->excludes(dot);
  line.Color(&options.output);
  line.Parse();

  Schema schema;
  Statuses(options.only);
  const Type* type = nullptr;
  if (!options.type.empty()) {
    type = &schema.Find(options.type);
    if (!HoldsNodes(*type->descriptor)) {
      throw Failure(kUsage, type->descriptor->full_name() + " holds no nodes");
    }
  }
  Output output(options.output.color);
  const std::vector<const Type*> types =
      type != nullptr ? std::vector<const Type*>{type} : Candidates(&schema);
  const std::vector<const Type*> all = AllTypes(&schema);
  const ExitCode status =
      ForEachRecord(options.input, types, [&](const Record& record) {
        if (type != nullptr) {
          return Draw(options, types, record, &output);
        }
        if (record.written != nullptr) {
          return DrawWritten(options, record, &output);
        }
        const auto found = TypesOf(options.input, types, all, record);
        if (found.empty()) return kMalformed;
        return Draw(options, found, record, &output);
      });
  output.Flush();
  return status;
}

}  // namespace tarn::tool
