// The tree as lines of text, with the status and the address of each node.
#include <algorithm>

#include "node_name.h"
#include "status_words.h"
#include "tree.h"

namespace tarn::tool {
namespace {

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

  // Computes the widths of the columns.
  void Measure(const std::vector<Branch>& branches, size_t depth) {
    for (const Branch& branch : branches) {
      const Node& node = *branch.node;
      label_width_ =
          std::max(label_width_,
                   3 * (depth + 1) + Width(LabelOf(node.kind, node.message)));
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

  // The line of a node ends with what is below it, or else with its address. An
  // address beside nodes below has a line of its own.
  void PrintNode(const Branch& branch, const std::string& prefix,
                 const std::string& below) {
    const Node& node = *branch.node;
    const std::string label = LabelOf(node.kind, node.message);
    const std::string counts = InWords(CountNodes(node.children));
    const std::string place = AddressInWords(node);
    const std::string& rest = counts.empty() ? place : counts;
    out_.Painted(Color::kDim, prefix);
    out_.Painted(branch.selected ? Color::kNone : Color::kDim, label);
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

  // Prints how many nodes have each status, the worst first.
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

}  // namespace

void PrintTreeText(const std::string& heading, const std::vector<Node>& nodes,
                   const std::vector<Branch>& branches, Output* output) {
  TextTree(output).Print(heading, nodes, branches);
}

}  // namespace tarn::tool
