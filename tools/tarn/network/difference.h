// How two messages of a type differ in meaning.
#ifndef TOOLS_TARN_DIFFERENCE_H_
#define TOOLS_TARN_DIFFERENCE_H_

#include <google/protobuf/message.h>

#include <functional>
#include <string>
#include <string_view>

#include "nodes.h"
#include "value_text.h"

namespace tarn::tool {

// How a node is called. Long texts are clipped.
struct NodeName {
  std::string kind;  // as ChildTypes names its members; empty: no kind
  std::string name;
  std::string uuid;
  // For people, where the name alone might not tell it from others.
  std::string label;
};

struct Difference {
  enum Change { kAdded, kRemoved, kMoved, kChanged };
  using Text = std::function<void(const TextSink& write)>;

  Change change;
  // The node that it is about, on the side where it is found; null: none.
  const NodeName* node = nullptr;
  // Of what has changed within the node or the message; may be empty where the
  // node itself came, went or moved.
  std::string_view path;
  // Write values, or for a move the nodes above. Null where there is none.
  Text before;
  Text after;
  // Nodes that came or went together with this one.
  Counts along;
};

// Reports what differs: first what is no node, then nodes that went and that
// came, then the others from the top down. There is no report if and only if
// both messages have the same canonical bytes once the lists of nodes are
// ordered by kind and uuid; nodes of one kind and uuid, or without a uuid, keep
// their order. Nodes are matched as node_match.h says. Entries of lists that
// have a key, such as the `id` of a Product, are matched by it, and other
// entries by position. Pass phrases are masked.
void Compare(const google::protobuf::Message& before,
             const google::protobuf::Message& after, bool show_secrets,
             const std::function<void(const Difference&)>& report);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_DIFFERENCE_H_
