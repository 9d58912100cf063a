// Selects the nodes that a tree shows.
#include "tree.h"

#include <utility>

#include "node_name.h"
#include "status_words.h"

namespace tarn::tool {
namespace {

class Selector {
 public:
  explicit Selector(const Selection& selection) : selection_(selection) {}

  // Where nodes are.
  struct Level {
    size_t above;  // how many levels
    int depth;     // how many levels can be shown, from here if `inside`
    bool inside;   // of what is to be shown
  };

  std::vector<Branch> Select(const std::vector<Node>& nodes,
                             const Level& level) const {
    std::vector<Branch> branches;
    if (level.inside && level.depth == 0) return branches;
    if (level.inside && !Chooses()) branches.reserve(nodes.size());
    for (size_t i = 0; i < nodes.size(); ++i) {
      const Node& node = nodes[i];
      const int place = static_cast<int>(i);
      if (!level.inside && !IsOnTheWay(place, level.above)) continue;
      const bool named = !level.inside && IsNamed(node, level.above);
      const bool inside = level.inside || named;
      Branch branch{&node, place, inside && IsChosen(node), {}};
      branch.branches = Select(
          node.children,
          {level.above + 1, inside ? level.depth - 1 : level.depth, inside});
      if (named || branch.selected || !branch.branches.empty()) {
        branches.push_back(std::move(branch));
      }
    }
    return branches;
  }

 private:
  bool Chooses() const {
    return selection_.errors || !selection_.statuses.empty();
  }
  bool IsChosen(const Node& node) const {
    if (selection_.errors) return !IsWell(node);
    return selection_.statuses.empty() || !node.broken.empty() ||
           (node.has_status && selection_.statuses.count(node.status) != 0);
  }
  bool IsOnTheWay(int place, size_t above) const {
    return selection_.at.empty() || selection_.at[above] == place;
  }
  // Of a node on the way: whether the way ends there.
  bool IsNamed(const Node& node, size_t above) const {
    return selection_.at.empty() ? node.uuid == selection_.uuid
                                 : above + 1 == selection_.at.size();
  }

  const Selection& selection_;
};

size_t CountSelected(const std::vector<Branch>& branches) {
  size_t count = 0;
  for (const Branch& branch : branches) {
    count += (branch.selected ? 1 : 0) + CountSelected(branch.branches);
  }
  return count;
}

}  // namespace

std::vector<Branch> SelectBranches(const std::vector<Node>& nodes,
                                   const Selection& selection) {
  const bool all = selection.at.empty() && selection.uuid.empty();
  return Selector(selection).Select(nodes, {0, selection.depth, all});
}

std::string RemarkOn(const std::vector<Node>& nodes, const Selection& selection,
                     const std::vector<Branch>& shown) {
  if (nodes.empty() || (!selection.errors && selection.statuses.empty())) {
    return "";
  }
  Selection deep = selection;
  deep.depth = INT_MAX;
  const size_t all = CountSelected(SelectBranches(nodes, deep));
  const size_t left_out = all - CountSelected(shown);
  if (left_out > 0) {
    return std::to_string(left_out) +
           (left_out == 1 ? " such node is" : " such nodes are") +
           " deeper than --depth " + std::to_string(selection.depth) + ".";
  }
  if (all > 0) return "";
  const bool part = !selection.at.empty() || !selection.uuid.empty();
  return (selection.errors ? "All nodes" : "None of the nodes") +
         std::string(part ? " of this part" : "") +
         (selection.errors ? " are well." : " has such a status.");
}

std::string AddressInWords(const Node& node) {
  constexpr std::pair<const char*, const char*> kWords[] = {
      {"networkId", "network"}, {"linearAddr", "chain"}, {"nodeAddr", "node"},
      {"assyAddr", "place"},    {"assyId", "assembly"},
  };
  std::string place;
  for (const auto& [field, value] : AddressOf(node.message)) {
    std::string word = field;
    for (const auto& [name, better] : kWords) {
      if (field == name) word = better;
    }
    if (!place.empty()) place += ", ";
    place += word + ' ' + Clipped(value);
  }
  return place;
}

}  // namespace tarn::tool
