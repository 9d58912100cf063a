// How two messages of a type differ in meaning.
#ifndef TOOLS_TARN_DIFFERENCE_H_
#define TOOLS_TARN_DIFFERENCE_H_

#include <google/protobuf/message.h>

#include <string>
#include <vector>

#include "nodes.h"

namespace inspector {

struct Difference {
  enum Change { kAdded, kRemoved, kMoved, kChanged };

  Change change;
  // The node that it is about, on the side where it is found; null: none.
  const Node* node = nullptr;
  // Of what has changed within the node or the message; may be empty where the
  // node itself came, went or moved.
  std::string path;
  // Values, or for a move the nodes above. Empty where there is none.
  std::string before;
  std::string after;
  // Nodes that came or went together with this one.
  Counts along;
};

// The two messages with their nodes, which differences refer to.
struct Pair {
  Pair(const google::protobuf::Message& a, const google::protobuf::Message& b)
      : before(a),
        after(b),
        nodes_before(NodesOf(a)),
        nodes_after(NodesOf(b)) {}
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  const google::protobuf::Message& before;
  const google::protobuf::Message& after;
  const std::vector<Node> nodes_before;
  const std::vector<Node> nodes_after;
};

// What differs, from the top down. Nodes are matched by kind and uuid wherever
// they are; their order does not count. Entries of lists that have a key, such
// as the `id` of a Product, are matched by it, and other entries by position.
// Pass phrases are masked.
std::vector<Difference> Compare(const Pair& pair, bool show_secrets);

// A node for people, where its label alone might not tell it from others.
std::string NameOf(const Node& node);

}  // namespace inspector

#endif  // TOOLS_TARN_DIFFERENCE_H_
