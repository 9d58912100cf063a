// The nodes above a node, up to the top.
#ifndef TOOLS_TARN_NODE_WAY_H_
#define TOOLS_TARN_NODE_WAY_H_

#include <string>
#include <unordered_map>
#include <vector>

#include "node_item.h"
#include "node_match.h"
#include "node_name.h"

namespace tarn::tool {

NodeName NameOfItem(const NodeItem& item);

// A node, and all that are above it from the top down.
struct Step {
  const NodeItem* item;
  int place;
};
using Way = std::vector<Step>;

std::string PathOf(const Way& way);

// The nodes above the last one of a way, the nearest first.
std::vector<NodeName> NodesAbove(const Way& way);

// The nodes of the message before that have moved, with their ways there.
using Moved = std::unordered_map<const NodeItem*, Way>;
Moved MovedIn(const NodeMatch& match);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_NODE_WAY_H_
