// The tree as lines of text, with the status and the address of each node.
#include <algorithm>

#include "node_name.h"
#include "status_words.h"
#include "tree.h"

namespace tarn::tool {
namespace {

class TextTree {
 public:
  TextTree(const Tree& tree, Output* output)
      : tree_(tree), start_(RecordStart(tree.record)), out_(*output) {}

  void Print() {
    Measure(tree_.branches, "");
    LimitLabels();
    MeasureLabels(tree_.branches, 1);
    out_.WrapLines(Output::kHanging);
    out_.Write(start_);
    out_.Painted(Color::kBold, tree_.heading);
    const std::string counts = InWords(CountNodes(tree_.nodes));
    out_.Write(": ");
    out_.Write(counts.empty() ? "no nodes" : counts);
    out_.Write('\n');
    out_.ClipLines(true);
    PrintBranches(tree_.branches, "", {}, tree_.broken);
    out_.ClipLines(false);
    if (!tree_.remark.empty()) out_.Write(start_ + tree_.remark + '\n');
    PrintTotals(tree_.nodes);
    // In a stream, once is enough.
    if (clipped_ && tree_.record <= 1) {
      out_.Write("Lines that end in … are longer; | cat shows them whole\n");
    }
    out_.WrapLines(std::string_view::npos);
  }

 private:
  // Where a node is drawn: the lines before it, and its path.
  struct Place {
    std::string path;
    size_t depth = 0;
  };

  static std::string StatusOf(const Node& node) {
    return node.has_status ? LookOf(node.status).words : "";
  }
  static size_t IndentOf(size_t depth) { return 3 * depth; }

  // The kind and the name, as much as there is room for. Names that a terminal
  // would cut off are whole elsewhere.
  std::string Label(const Node& node, size_t depth) const {
    size_t room = label_limit_;
    if (room != std::string::npos) {
      room = RoomAfter(
          room, IndentOf(depth) + Width(KindWord(node.kind)) + kAroundName);
    }
    return LabelOf(node.kind, node.message, room);
  }

  // Computes the widths of the columns other than that of the labels.
  void Measure(const std::vector<Branch>& branches, const std::string& above) {
    for (const Branch& branch : branches) {
      const Node& node = *branch.node;
      status_width_ = std::max(status_width_, StatusOf(node).size());
      errors_ = errors_ || node.error;
      std::string path = above;
      if (tree_.paths) AppendPlace(branch.place, &path);
      path_width_ = std::max(path_width_, path.size());
      Measure(branch.branches, path);
    }
  }

  // Leaves a fifth of the line for what comes after the status.
  void LimitLabels() {
    const size_t columns = out_.columns();
    label_limit_ = RoomAfter(columns, start_.size() + path_width_ + 2 +
                                          status_width_ + 5 + columns / 5);
  }

  void MeasureLabels(const std::vector<Branch>& branches, size_t depth) {
    for (const Branch& branch : branches) {
      // A longer name has no effect on the other lines.
      const size_t width =
          std::min(Width(Label(*branch.node, depth)), kNameColumns);
      label_width_ = std::max(label_width_, IndentOf(depth) + width);
      MeasureLabels(branch.branches, depth + 1);
    }
  }

  void PrintBranches(const std::vector<Branch>& branches,
                     const std::string& prefix, const Place& above,
                     const std::string& broken) {
    for (const Branch& branch : branches) {
      const bool last = &branch == &branches.back() && broken.empty();
      const std::string below = prefix + (last ? "   " : "│  ");
      Place place{above.path, above.depth + 1};
      if (tree_.paths) AppendPlace(branch.place, &place.path);
      PrintNode(branch, prefix + (last ? "└─ " : "├─ "), below, place);
      PrintBranches(branch.branches, below, place, branch.node->broken);
    }
    if (broken.empty()) return;
    BeginLine("");
    out_.Painted(Color::kDim, prefix + "└─ ");
    out_.Painted(Color::kRed, broken);
    out_.Write('\n');
  }

  // `path`: of the node that the line is of; empty where it goes on.
  void BeginLine(const std::string& path) {
    out_.Write(start_);
    if (!tree_.paths) return;
    out_.Write(path);
    out_.Spaces(path_width_ - path.size() + 2);
  }

  // The line of a node ends with what is below it, or else with its address. An
  // address beside nodes below has a line of its own.
  void PrintNode(const Branch& branch, const std::string& prefix,
                 const std::string& below, const Place& place) {
    const Node& node = *branch.node;
    const std::string label = Label(node, place.depth);
    const std::string counts = InWords(CountNodes(node.children));
    const std::string address = AddressInWords(node);
    const std::string& rest = counts.empty() ? address : counts;
    BeginLine(place.path);
    out_.Painted(Color::kDim, prefix);
    out_.Painted(branch.selected ? Color::kNone : Color::kDim, label);
    const std::string status = StatusOf(node);
    if (!status.empty() || node.error || !rest.empty()) {
      out_.SpacesUpTo(IndentOf(place.depth) + Width(label), label_width_);
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
      NoteWidth(label_width_ + (errors_ ? 2 : 0) + 3 + status_width_, rest);
    }
    out_.Write('\n');
    if (counts.empty() || address.empty()) return;
    BeginLine("");
    out_.Painted(
        Color::kDim,
        below +
            (branch.branches.empty() && node.broken.empty() ? "   " : "│  "));
    out_.Write(address);
    out_.Write('\n');
    NoteWidth(IndentOf(place.depth + 1), address);
  }

  // Notes whether the terminal cuts a text off that is in this column of the
  // drawing.
  void NoteWidth(size_t column, std::string_view text) {
    const size_t path = tree_.paths ? path_width_ + 2 : 0;
    clipped_ = clipped_ ||
               start_.size() + path + column + Width(text) > out_.columns();
  }

  // Prints how many nodes have each status, the worst first.
  void PrintTotals(const std::vector<Node>& nodes) {
    const auto [tally, errors] = TotalsOf(nodes);
    if (errors == 0 && tally.empty()) return;
    out_.Write(start_);
    if (errors > 0) {
      out_.Number(errors);
      out_.Write(' ');
      out_.Painted(Color::kRed, "with an error flag (!)");
      if (!tally.empty()) out_.Write("; status: ");
    }
    PrintTally(tally, &out_);
    out_.Write('\n');
  }

  static constexpr size_t kAroundName = 5;  // a blank, quotes, and a mark

  const Tree& tree_;
  const std::string start_;
  Output& out_;
  size_t label_limit_ = 0;
  size_t label_width_ = 0;
  size_t status_width_ = 0;
  size_t path_width_ = 0;
  bool errors_ = false;   // whether the column of error flags is there
  bool clipped_ = false;  // whether a line is longer than the terminal is wide
};

}  // namespace

void PrintTreeText(const Tree& tree, Output* output) {
  TextTree(tree, output).Print();
}

}  // namespace tarn::tool
