// The nodes of a message as a tree: which of them are shown, and the tree as
// text, JSON or a drawing for Graphviz.
#ifndef TOOLS_TARN_TREE_H_
#define TOOLS_TARN_TREE_H_

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
  bool selected;  // false: shown only because of a node below it
  std::vector<Branch> branches;
};

// The nodes of these statuses down to a depth, and all that are above them. No
// status selects all nodes.
std::vector<Branch> SelectBranches(const std::vector<Node>& nodes, int depth,
                                   const std::set<int32_t>& statuses);

// "chain 4, node 54, place 1 of assembly 3": what is set of the address of a
// node. Long texts are cut off.
std::string AddressInWords(const Node& node);

// Each form counts all nodes, and shows the branches. `heading` is what the
// message is called.
void PrintTreeText(const std::string& heading, const std::vector<Node>& nodes,
                   const std::vector<Branch>& branches, Output* output);
void PrintTreeDot(const std::string& heading, const std::vector<Node>& nodes,
                  const std::vector<Branch>& branches, Output* output);

// Writes the members "below" and "children" of the object of a message.
void WriteTree(const std::vector<Node>& nodes,
               const std::vector<Branch>& branches, JsonWriter* json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_TREE_H_
