// Selects the nodes that a tree shows.
#include "tree.h"

#include <utility>

#include "node_name.h"

namespace tarn::tool {

std::vector<Branch> SelectBranches(const std::vector<Node>& nodes, int depth,
                                   const std::set<int32_t>& statuses) {
  std::vector<Branch> branches;
  if (depth == 0) return branches;
  if (statuses.empty()) branches.reserve(nodes.size());
  for (const Node& node : nodes) {
    Branch branch;
    branch.node = &node;
    branch.selected = statuses.empty() ||
                      (node.has_status && statuses.count(node.status) != 0);
    branch.branches = SelectBranches(node.children, depth - 1, statuses);
    if (branch.selected || !branch.branches.empty()) {
      branches.push_back(std::move(branch));
    }
  }
  return branches;
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
