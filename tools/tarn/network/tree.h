// The nodes of a message as a tree: which of them are shown, and the tree as
// text, JSON or a drawing for Graphviz.
#ifndef TOOLS_TARN_TREE_H_
#define TOOLS_TARN_TREE_H_

#include <climits>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "json_writer.h"
#include "nodes.h"
#include "output.h"

namespace tarn::tool {

// A node that is shown, with those below it that are shown too.
struct Branch {
  const Node* node;
  int place;      // among the siblings, from 0
  bool selected;  // false: shown only because of a node below it
  std::vector<Branch> branches;
};

// Which nodes are shown, with all that are above them. Each member that is set
// leaves nodes out.
struct Selection {
  std::vector<int> at;  // only the node at these places, and what is below it
  std::string uuid;     // only nodes with this uuid, and what is below them
  int depth = INT_MAX;  // levels; with `at` or `uuid` from that node down
  std::set<int32_t> statuses;  // only nodes with one of them; empty: with any
  bool errors = false;         // only nodes that are not well
  // A node where the message breaks off is never left out for its status.
};

// The node that `at` or `uuid` names is always shown; no branches: there is
// none.
std::vector<Branch> SelectBranches(const std::vector<Node>& nodes,
                                   const Selection& selection);

// What is to be said of a selection by status or error: that it has no nodes,
// or how many are deeper than those that are shown. May be empty.
std::string RemarkOn(const std::vector<Node>& nodes, const Selection& selection,
                     const std::vector<Branch>& shown);

// "chain 4, node 54, place 1 of assembly 3": what is set of the address of a
// node. Long texts are cut off.
std::string AddressInWords(const Node& node);

// A message that is drawn: all of its nodes are counted, and the branches are
// shown.
struct Tree {
  std::string heading;  // what the message is called
  uint64_t record = 0;  // its number in a stream; 0: the only one
  std::vector<Node> nodes;
  std::vector<Branch> branches;
  std::string remark;  // on the branches; may be empty
  // Where and why the message breaks off outside of all nodes; else empty.
  std::string broken;
  bool paths = false;  // whether text has the path of each node
};

void PrintTreeText(const Tree& tree, Output* output);
void PrintTreeDot(const Tree& tree, Output* output);

// Writes the members "below" and "children" of the object of a message.
void WriteTree(const Tree& tree, JsonWriter* json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_TREE_H_
