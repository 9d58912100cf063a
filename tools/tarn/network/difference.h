// How two messages of a type differ in meaning.
#ifndef TOOLS_TARN_DIFFERENCE_H_
#define TOOLS_TARN_DIFFERENCE_H_

#include <google/protobuf/message.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "json_writer.h"
#include "node_name.h"
#include "nodes.h"
#include "value_text.h"

namespace tarn::tool {

// What is above a node: a node, or the field of the message that holds the top
// nodes. Both are empty where the message is the node.
struct NodeParent {
  NodeName node;
  std::string field;
};

struct Difference {
  enum Change {
    kAdded,
    kRemoved,
    kMoved,      // a node, from one parent to another
    kChanged,    // a value
    kReordered,  // entries of a list that have a key
    kResized,    // a list of lists of nodes
  };
  using Text = std::function<void(const TextSink& write)>;

  Change change = kChanged;
  // The node that the difference is about, on the side that has it; null if it
  // is about none.
  const NodeName* node = nullptr;
  // Of what has changed within the node or the message.
  std::string_view path = {};
  // What has changed are the unknown fields of the message that `path` names.
  bool unknown_fields = false;
  // Write values in the text format. Null where there is none.
  Text before = {};
  Text after = {};
  // Of a node that came, went or moved: its parents.
  std::optional<NodeParent> from = {};
  std::optional<NodeParent> to = {};
  // The nodes that were added or removed together with this one.
  Counts along = {};
  // Of a list that was resized.
  int size_before = 0;
  int size_after = 0;
};

// Reports what differs: first fields outside of nodes, then nodes that were
// removed and that were added, then the others from the top down. There is no
// report if and only if both messages have the same canonical bytes once the
// lists of nodes are ordered by kind and uuid; nodes of one kind and uuid, or
// without a uuid, keep their order. Nodes are matched as node_match.h says.
// Entries of lists that have a key, such as the `id` of a Product, are matched
// by it, and other entries by position. Pass phrases are masked.
void Compare(const google::protobuf::Message& before,
             const google::protobuf::Message& after, bool show_secrets,
             const std::function<void(const Difference&)>& report);

// Prints a difference as a line for people, or as a JSON object. `mask_values`:
// no value is shown, since a pass phrase can be in any of them.
void PrintDifference(const Difference& difference, bool mask_values,
                     Output* output);
void WriteDifference(const Difference& difference, bool mask_values,
                     JsonWriter* json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_DIFFERENCE_H_
